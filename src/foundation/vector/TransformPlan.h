#pragma once

#include <cstdint>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

// A real transform of N samples runs as a complex one of half the length M = N / 2 over the samples
// taken in pairs, and a pass that separates (forward) or joins (inverse) the spectra of the even
// and the odd samples. generic/Transform.inc and plain/Transform.cpp tell how the complex one is
// taken apart.
//
// The tables serve every variant, whatever its registers hold, so that a plan outlives a change of
// the dispatch index. Transforms of `plainFromOrder` and longer run in the plain form everywhere:
// the tables of the others would not fit the signed 32-bit sizes in which they are reported.
struct IppsFFTSpec_R_32f {
    std::uint32_t magic;
    std::int32_t order;
    float forwardScale;
    float inverseScale;
    // The real and the imaginary part of exp(-2 pi j k / n) at 2 (n + k), for k below n and every
    // power of two n up to M / 4. Where hasPassTables tells.
    const float* circles;
    // The factors of a last pass of radix W = 4, 8 or 16, which brings W interleaved transforms of
    // length M / W together: exp(-2 pi j i k / M) for i from 1 to W - 1 and k below M / W. In tiles
    // of `tileColumns` values of k, a row of real and one of imaginary parts for each i; tileRows
    // tells how many i a tile has. As `circles`.
    const float* lastFactors;
    // The real and the imaginary parts of exp(-2 pi j k / N) for k from 0 to N / 4. For orders
    // from 2.
    const float* pairReal;
    const float* pairImaginary;
};

namespace transform {

inline constexpr std::uint32_t planMagic = 0x56524654;
inline constexpr std::int32_t largestOrder = 29;
inline constexpr std::int32_t initBufferFromOrder = 11;
inline constexpr std::int32_t wideFromOrder = 5;
inline constexpr std::int32_t plainFromOrder = 22;
inline constexpr std::int64_t tileColumns = 16;
/// From here on the first pass cuts the M numbers into blocks, whose passes then stay in the
/// nearest cache.
inline constexpr std::int32_t blockedFromOrder = 13;
inline constexpr std::int64_t blockCount = 8;
/// Spare floats behind each block and each part of a work array, so that equal places of two of
/// them do not share a cache set; one number more than M is kept there.
inline constexpr std::int64_t workPadding = 16;

// Files compiled for one instruction set include this header. Its functions have internal linkage,
// so that what is compiled there is never linked into what older processors run.

/// M, the number of complex numbers that hold the samples in pairs. For orders from 1.
static constexpr std::int64_t pairCount(std::int32_t order) {
    return std::int64_t{1} << (order - 1);
}

static constexpr bool hasPassTables(std::int32_t order) {
    return order >= wideFromOrder && order < plainFromOrder;
}

/// Pairs of rows of the tile that begins at column `column`: what the widest radix needs that has
/// this column.
static constexpr std::int64_t tileRows(std::int32_t order, std::int64_t column) {
    const std::int64_t count = pairCount(order);
    return column < count / 16 ? 15 : (column < count / 8 ? 7 : 3);
}

static constexpr bool isBlocked(std::int32_t order) {
    return order >= blockedFromOrder;
}

/// Floats from one block to the next.
static constexpr std::int64_t blockStride(std::int32_t order) {
    return pairCount(order) / blockCount + workPadding;
}

/// Floats from one part of a work array to the next.
static constexpr std::int64_t workStride(std::int32_t order) {
    return isBlocked(order) ? blockCount * blockStride(order) : pairCount(order) + workPadding;
}

/// Floats of scratch that one transform needs: two arrays of real and imaginary parts, and a spare
/// block if there are blocks; in the plain form M numbers, or three quarters of them for the
/// longest.
static constexpr std::int64_t workCount(std::int32_t order) {
    if (order < 2) {
        return 0;
    }
    if (!hasPassTables(order)) {
        return order < plainFromOrder ? 2 * pairCount(order) : pairCount(order) / 2 * 3;
    }
    return 4 * workStride(order) + (isBlocked(order) ? 2 * blockStride(order) : 0);
}

/// `pointer` moved up to the next 64-byte boundary. A block must hold `alignmentSlack` spare bytes.
inline constexpr std::int64_t alignmentSlack = 63;
static inline unsigned char* alignUp(unsigned char* pointer) {
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    return pointer + (64 - address % 64) % 64;
}

}  // namespace transform

/// The status of a transform's arguments, before anything is written.
IppStatus checkTransform(const float* pSrc, const float* pDst, const IppsFFTSpec_R_32f* pSpec,
                         const unsigned char* pWork);

}  // namespace vorun
