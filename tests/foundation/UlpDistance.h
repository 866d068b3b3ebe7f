#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace vorun {

/// The same float, zero signs told apart; any NaN equals any other.
inline bool sameFloat(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::isnan(a) && std::isnan(b);
    }
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// The distance between neighbouring floats at `value`, the wider one at a power of two.
inline double ulpAt(double value) {
    const float magnitude = std::fabs(static_cast<float>(value));
    if (std::isinf(magnitude)) {
        return ulpAt(static_cast<double>(std::numeric_limits<float>::max()));
    }
    if (magnitude >= std::numeric_limits<float>::max()) {
        return std::ldexp(1.0, 104);
    }
    const float next = std::nextafter(magnitude, std::numeric_limits<float>::infinity());
    return static_cast<double>(next) - static_cast<double>(magnitude);
}

/// Whether `got` is within `ulps` of the exact value. NaN, infinities and zeros must be the same.
inline bool withinUlps(float got, double exact, double ulps) {
    const auto rounded = static_cast<float>(exact);
    if (std::isnan(exact) || std::isinf(rounded) || rounded == 0.0F) {
        return sameFloat(got, rounded) ||
               (exact != 0.0 && !std::isinf(exact) && std::isfinite(got) &&
                std::fabs(static_cast<double>(got) - exact) <= ulps * ulpAt(exact));
    }
    return std::fabs(static_cast<double>(got) - exact) <= ulps * ulpAt(exact);
}

}  // namespace vorun
