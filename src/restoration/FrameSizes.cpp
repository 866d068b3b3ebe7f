#include "restoration/FrameSizes.h"

#include <cmath>

namespace vorun {

namespace {

/**
 * No rate of audio calls for more: it is the longest transform that a file can state, 64 times
 * over. A damaged rate could otherwise make a small file take gigabytes.
 */
constexpr double longestTransform = 1048576.0;

double scaled(std::int32_t size, std::int32_t scaleLog2) {
    return std::nearbyint(static_cast<double>(size) * std::pow(2.0, scaleLog2));
}

}  // namespace

std::optional<std::int32_t> frameScaleLog2(double hostRate, double modelRate) {
    const double ratio = hostRate / modelRate;
    if (!(ratio > 0.0) || !std::isfinite(ratio)) {
        return std::nullopt;
    }
    // Taken from the exponent: a quotient of rounded logarithms misses some powers of two.
    int exponent = 0;
    return std::frexp(ratio, &exponent) == 0.5 ? exponent - 1 : exponent;
}

std::optional<FrameSizes> scaleFrameSizes(const FrameSizes& model, std::int32_t scaleLog2) {
    const double fftSize = scaled(model.fftSize, scaleLog2);
    const double windowSize = scaled(model.windowSize, scaleLog2);
    const double hopSize = scaled(model.hopSize, scaleLog2);
    const bool canBeFramed = hopSize >= 1.0 && windowSize >= 2.0 * hopSize &&
                             windowSize <= fftSize && fftSize <= longestTransform &&
                             std::fmod(fftSize, 2.0) == 0.0;
    if (!canBeFramed) {
        return std::nullopt;
    }
    return FrameSizes{static_cast<std::int32_t>(fftSize), static_cast<std::int32_t>(windowSize),
                      static_cast<std::int32_t>(hopSize)};
}

}  // namespace vorun
