#include "restoration/MaskShaping.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "foundation/vector/CheckedCall.h"
#include "restoration/BinBlocks.h"

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

void bend(float* magnitudes, std::int32_t bins, float exponent) {
    // A neutral exponent multiplies by the power 0, which is 1 whatever the base.
    if (exponent < 1.0f) {
        raiseSmallValues(magnitudes, bins, exponent - 1.0f);
    } else if (exponent != 1.0f) {
        lowerSmallValues(magnitudes, bins, exponent - 1.0f);
    }
}

/**
 * Whether all bins are real, zero or positive, and far enough from the ends of the floats that
 * their squares are normal: the root of the rounded square is then the bin itself to the last bit,
 * and the phase is +0. Masks of networks that know magnitudes only are of this kind.
 */
bool areTheirMagnitudes(const Ipp32fc* mask, std::int32_t bins) {
    constexpr auto lowest = std::bit_cast<std::uint32_t>(0x1p-63f);
    constexpr auto limit = std::bit_cast<std::uint32_t>(0x1p63f);
    std::uint32_t others = 0;
    for (std::int32_t bin = 0; bin < bins; ++bin) {
        const auto re = std::bit_cast<std::uint32_t>(mask[bin].re);
        const auto im = std::bit_cast<std::uint32_t>(mask[bin].im);
        const bool isPositive = re - lowest < limit - lowest;
        others |= im | (isPositive ? 0U : re);
    }
    return others == 0;
}

void reshapeBlock(const Ipp32fc* mask, Ipp32fc* shaped, std::int32_t bins, float exponent) {
    std::array<float, blockBins> magnitudes;
    if (areTheirMagnitudes(mask, bins)) {
        std::transform(mask, mask + bins, magnitudes.begin(), [](Ipp32fc bin) { return bin.re; });
        bend(magnitudes.data(), bins, exponent);
        // The product is what the sine of 0 leaves of each.
        std::transform(magnitudes.begin(), magnitudes.begin() + bins, shaped, [](float m) {
            return Ipp32fc{m, m * 0.0f};
        });
        return;
    }
    std::array<float, blockBins> phases;
    checkStatus(ippsPhase_32fc(mask, phases.data(), bins));
    checkStatus(ippsMagnitude_32fc(mask, magnitudes.data(), bins));
    bend(magnitudes.data(), bins, exponent);
    checkStatus(ippsPolarToCart_32fc(magnitudes.data(), phases.data(), shaped, bins));
}

}  // namespace

float maskExponent(float sensitivity) {
    const double product = static_cast<double>(sensitivity * 0.0075f);
    return static_cast<float>(std::pow(2.718281828459045, product));
}

void reshapeRow(const Ipp32fc* mask, Ipp32fc* shaped, std::int32_t bins, float exponent) {
    inBlocks(bins, [&](std::int32_t first, std::int32_t count) {
        reshapeBlock(mask + first, shaped + first, count, exponent);
    });
}

ComplexSignal32 reshapeMask(const ComplexSignal32& mask, float sensitivity, MaskExtent extent) {
    const float exponent = maskExponent(sensitivity);
    const std::int32_t bins = mask.length();
    ComplexSignal32 shaped(mask.channels(), bins);
    for (std::int32_t channel = 0; bins > 0 && channel < mask.channels(); ++channel) {
        const Ipp32fc* from = mask.readData(channel);
        Ipp32fc* to = shaped.channelData(channel);
        const std::int32_t bent = channel < extent.channels ? std::clamp(extent.bins, 0, bins) : 0;
        reshapeRow(from, to, bent, exponent);
        reshapeRow(from + bent, to + bent, bins - bent, 1.0f);
    }
    return shaped;
}

}  // namespace vorun
