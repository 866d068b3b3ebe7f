#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

// A real transform of N samples runs as a complex one of half the length M = N / 2 over the samples
// taken in pairs, and a pass that separates (forward) or joins (inverse) the spectra of the even
// and the odd samples.
//
// The complex transform of length L runs radix-4 passes, and a last radix-2 pass if log2(L) is odd,
// to and fro between two arrays. From `quarteredFromOrder` on, one radix-4 pass cuts the M numbers
// into four quarters of L = M / 4 first: each quarter then fits a nearer cache, and the plan and
// the work buffer of the longest transform fit the signed 32-bit sizes in which they are reported.
struct IppsFFTSpec_R_32f {
    std::uint32_t magic;
    std::int32_t order;
    float forwardScale;
    float inverseScale;
    // The factors of all radix-4 passes in the order of their use: for a pass over n numbers, and
    // each p below n / 4, the p-th, 2p-th and 3p-th power of exp(-2 pi j / n).
    const Ipp32fc* passFactors;
    // exp(-2 pi j k / N) for k from 0 to N / 4.
    const Ipp32fc* pairFactors;
};

namespace transform {

inline constexpr std::uint32_t planMagic = 0x56524654;
inline constexpr std::int32_t largestOrder = 29;
inline constexpr std::int32_t initBufferFromOrder = 11;
inline constexpr std::int32_t quarteredFromOrder = 21;

/// M, the number of complex numbers that hold the samples in pairs. For orders from 1.
constexpr std::int64_t pairCount(std::int32_t order) {
    return std::int64_t{1} << (order - 1);
}

constexpr bool isQuartered(std::int32_t order) {
    return order >= quarteredFromOrder;
}

/// log2(L), for orders from 1.
constexpr std::int32_t passOrder(std::int32_t order) {
    return order - (isQuartered(order) ? 3 : 1);
}

/// Complex numbers of scratch that one transform needs.
constexpr std::int64_t workCount(std::int32_t order) {
    if (order < 2) {
        return 0;
    }
    return isQuartered(order) ? pairCount(order) / 4 * 3 : pairCount(order);
}

/// `pointer` moved up to the next 64-byte boundary. A block must hold `alignmentSlack` spare bytes.
inline constexpr std::int64_t alignmentSlack = 63;
inline unsigned char* alignUp(unsigned char* pointer) {
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    return pointer + static_cast<std::ptrdiff_t>((64 - address % 64) % 64);
}

}  // namespace transform

/// The status of a transform's arguments, before anything is written.
IppStatus checkTransform(const float* pSrc, const float* pDst, const IppsFFTSpec_R_32f* pSpec,
                         const unsigned char* pWork);

}  // namespace vorun
