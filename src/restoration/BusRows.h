#pragma once

#include <cstdint>
#include <span>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/*
 * The mix of one channel, a few bins of all buses at a time, so that no sum on the way leaves the
 * first-level cache. With M(i) the buses, g the gains, S() the shaping of masks and q the residual:
 *
 *     mask mode      mix = sum of g(i) S(M(i)) + g(q) S(1 - sum of S(M(i)))
 *     spectrum mode  mix = sum of g(i) M(i) + g(q) (D - sum of M(i))
 *
 * Sums run from bus 0 on. The residual is formed before the gains, so that turning a stem down does
 * not move it there.
 */

/** What the live values of one bus ask for. */
struct BusLevel {
    float gain = 1.0f;
    float exponent = 1.0f;  ///< As maskExponent() gives it; spectra are not shaped.
};

/** One channel of one bus. */
struct BusRow {
    const Ipp32fc* bins = nullptr;
    BusLevel level;
};

/** Mask mode; `mix` overlaps no bus. At least one bus. */
void mixMasks(std::span<const BusRow> buses, BusLevel residual, Ipp32fc* mix, std::int32_t bins);

/** Spectrum mode, with D the bins of the dry frame. As mixMasks(). */
void mixSpectra(std::span<const BusRow> buses, BusLevel residual, const Ipp32fc* dry, Ipp32fc* mix,
                std::int32_t bins);

}  // namespace vorun
