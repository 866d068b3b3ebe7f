#include "restoration/MaskShaping.h"

#include <algorithm>
#include <cmath>

#include "restoration/PolarForm.h"

namespace vorun {

namespace {

/** Keeps the power finite where its base is 0. */
constexpr float baseGuard = 1e-12f;
constexpr float pi = 3.1415927f;

void raiseSmallValues(float* magnitudes, std::int32_t bins, float power) {
    for (std::int32_t bin = 0; bin < bins; ++bin) {
        const float m = magnitudes[bin];
        magnitudes[bin] = m * std::pow(m + baseGuard, power);
    }
}

void lowerSmallValues(float* magnitudes, std::int32_t bins, float power) {
    for (std::int32_t bin = 0; bin < bins; ++bin) {
        const float m = magnitudes[bin];
        magnitudes[bin] = m * std::pow(0.5f - std::cos(m * pi) * 0.5f + baseGuard, power);
    }
}

}  // namespace

float maskExponent(float sensitivity) {
    const double product = static_cast<double>(sensitivity * 0.0075f);
    return static_cast<float>(std::pow(2.718281828459045, product));
}

ComplexSignal32 reshapeMask(const ComplexSignal32& mask, float sensitivity, MaskExtent extent) {
    const Signal32 phase = phaseOf(mask);
    Signal32 magnitude = magnitudeOf(mask);
    const float exponent = maskExponent(sensitivity);
    // A neutral exponent multiplies by the power 0, which is 1 whatever the base.
    if (exponent == 1.0f) {
        return fromPolar(magnitude, phase);
    }
    const auto bend = exponent < 1.0f ? raiseSmallValues : lowerSmallValues;
    const std::int32_t bins = std::min(extent.bins, magnitude.length());
    const std::int32_t channels = std::min(extent.channels, magnitude.channels());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        bend(magnitude.channelData(channel), bins, exponent - 1.0f);
    }
    return fromPolar(magnitude, phase);
}

}  // namespace vorun
