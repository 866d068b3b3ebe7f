#pragma once

#include <cstdint>

#include "audio/Signal32.h"

namespace vorun {

/**
 * Hann window of `length` samples, the same in each channel:
 *
 *     w[n] = 0.5 - 0.5 * cos(2 * pi * (n + 0.5) / length)
 *
 * computed in double precision. The half-sample offset makes it symmetric without a zero at either
 * end, so that it may be divided by, and keeps w[n] + w[n + length / 2] = 1 for an even length.
 * Source: F. J. Harris, "On the Use of Windows for Harmonic Analysis with the Discrete Fourier
 * Transform", Proceedings of the IEEE 66(1), 1978.
 */
Signal32 hannWindow(std::int32_t channels, std::int32_t length);

/** Square root of hannWindow(), taken in double precision: applied twice it weights by Hann. */
Signal32 sqrtHannWindow(std::int32_t channels, std::int32_t length);

}  // namespace vorun
