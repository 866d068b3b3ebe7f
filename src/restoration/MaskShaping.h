#pragma once

#include <cstdint>

#include "audio/ComplexSignal32.h"

namespace vorun {

/** How much of a mask is reshaped: channels and bins from the first on. */
struct MaskExtent {
    std::int32_t channels = 0;
    std::int32_t bins = 0;
};

/**
 * The exponent e that a sensitivity from -100 to 100 stands for: exp(0.0075 x sensitivity), about
 * 0.47 to 2.12 and exactly 1 at 0.
 */
float maskExponent(float sensitivity);

/**
 * Bends the magnitudes of a mask and keeps its phases.
 *
 * With m a magnitude and e the exponent: below 1, m becomes m x (m + 1e-12)^(e - 1), so that small
 * values rise; otherwise m x ((1 - cos(pi m)) / 2 + 1e-12)^(e - 1), so that small values fall and 1
 * stays. Magnitudes above 1 fold back through the cosine; that is wanted, masks are not clamped.
 *
 * @param extent channels and bins to bend; what lies outside makes the polar round trip alone.
 */
ComplexSignal32 reshapeMask(const ComplexSignal32& mask, float sensitivity, MaskExtent extent);

/**
 * reshapeMask() for bins of one channel, in one pass: `shaped` takes the result and may be `mask`.
 *
 * @param exponent of maskExponent(); 1 makes the polar round trip alone.
 */
void reshapeRow(const Ipp32fc* mask, Ipp32fc* shaped, std::int32_t bins, float exponent);

}  // namespace vorun
