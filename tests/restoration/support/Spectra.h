#pragma once

#include <complex>
#include <cstdint>
#include <list>
#include <vector>

#include "audio/ComplexSignal32.h"
#include "audio/Signal32.h"

namespace vorun::test {

using Row = std::vector<std::complex<double>>;
/** A spectrum in double precision: channels of bins. */
using Grid = std::vector<Row>;

ComplexSignal32 toSpectrum(const std::vector<std::vector<Ipp32fc>>& channels);
Grid toGrid(const ComplexSignal32& signal);

/** Magnitudes between `low` and `high`, any phase; the same for the same seed. */
ComplexSignal32 randomSpectrum(std::int32_t channels, std::int32_t bins, std::uint32_t seed,
                               double low = 0.2, double high = 1.2);

/** Every bin of every channel is `value`. */
ComplexSignal32 constantSpectrum(std::int32_t channels, std::int32_t bins, Ipp32fc value);

/** Mono or interleavable noise between -0.5 and 0.5. */
Signal32 randomSamples(std::int32_t channels, std::int32_t length, std::uint32_t seed);

/** Fails where shapes differ or a part is further off than `tolerance` in either direction. */
void expectNear(const ComplexSignal32& actual, const Grid& expected, double tolerance);

/** Fails unless shapes are equal and all parts compare equal, the sign of zero aside. */
void expectSame(const ComplexSignal32& actual, const ComplexSignal32& expected);
void expectSame(const Signal32& actual, const Signal32& expected);

/**
 * The use count, once it is the expected one or patience ends: a worker lets go of its task, and
 * with it of the frame, a moment after the caller has the result.
 */
long settledUseCount(const ComplexSignal32& frame, long expected);

/** a * b, bin by bin. */
Grid product(const Grid& a, const Grid& b);
Grid sum(const Grid& a, const Grid& b);
Grid scaled(const Grid& a, double factor);
/** 1 - a, bin by bin. */
Grid complement(const Grid& a);

}  // namespace vorun::test
