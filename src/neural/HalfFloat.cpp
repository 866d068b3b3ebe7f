#include "neural/HalfFloat.h"

#include <bit>

namespace vorun {
namespace {

constexpr std::uint32_t mantissaShift = 23 - 10;
constexpr std::uint32_t exponentBias = 127 - 15;

// The mantissa m of a subnormal stands for m * 2^-24. Converting q = m << 13 to float finds its
// leading bit: b = 127 + 13 + floor(log2 m). Shifting q left by 150 - b puts that bit at place 23,
// where the mask drops it, and b - 37 = 127 - 24 + floor(log2 m) is the exponent of the value.
std::uint32_t normaliseSubnormal(std::uint32_t mantissa) {
    const std::uint32_t q = mantissa << mantissaShift;
    const std::uint32_t b = std::bit_cast<std::uint32_t>(static_cast<float>(q)) >> 23;
    return ((b - 37U) << 23) | ((q << (150U - b)) & 0x7FE000U);
}

}  // namespace

float expandHalf(std::uint16_t word) {
    const std::uint32_t bits = word;
    const std::uint32_t exponent = (bits >> 10) & 0x1FU;
    const std::uint32_t mantissa = bits & 0x3FFU;
    std::uint32_t magnitude = 0;
    if (exponent != 0) {
        magnitude = ((exponent + exponentBias) << 23) | (mantissa << mantissaShift);
    } else if (mantissa != 0) {
        magnitude = normaliseSubnormal(mantissa);
    }
    return std::bit_cast<float>(((bits & 0x8000U) << 16) | magnitude);
}

}  // namespace vorun
