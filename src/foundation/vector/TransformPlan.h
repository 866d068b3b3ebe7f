#pragma once

#include <cstdint>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

// A real transform of N samples runs as a complex one of half the length M = N / 2 over the samples
// taken in pairs, and a pass that separates (forward) or joins (inverse) the spectra of the even
// and the odd samples. generic/Transform.inc, generic/LongTransform.inc and plain/Transform.cpp
// tell how the complex one is taken apart.
//
// The tables serve every variant, whatever its registers hold, so that a plan outlives a change of
// the dispatch index. Long transforms, from `longFromOrder`, have tables of about the square root
// of their length: their M numbers are a matrix of N1 by N2, whose columns and rows are
// transformed.
struct IppsFFTSpec_R_32f {
    std::uint32_t magic;
    std::int32_t order;
    float forwardScale;
    float inverseScale;
    // The real and the imaginary part of exp(-2 pi j k / n) at 2 (n + k), for k below n and every
    // power of two n up to M / 4, or up to 2 N2 for long transforms. Where hasPassTables tells.
    const float* circles;
    // The factors of a last pass of radix W = 4, 8 or 16, which brings W interleaved transforms of
    // length M / W together: exp(-2 pi j i k / M) for i from 1 to W - 1 and k below M / W. In tiles
    // of `tileColumns` values of k, a row of real and one of imaginary parts for each i; tileRows
    // tells how many i a tile has. As `circles`, but for long transforms.
    const float* lastFactors;
    // The real and the imaginary parts of exp(-2 pi j k / N) for k from 0 to N / 4, or below N1 for
    // long transforms. For orders from 2.
    const float* pairReal;
    const float* pairImaginary;
};

namespace transform {

inline constexpr std::uint32_t planMagic = 0x56524654;
inline constexpr std::int32_t largestOrder = 29;
inline constexpr std::int32_t initBufferFromOrder = 11;
inline constexpr std::int32_t wideFromOrder = 5;
inline constexpr std::int32_t longFromOrder = 20;
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
    return order >= wideFromOrder;
}

static constexpr bool isLong(std::int32_t order) {
    return order >= longFromOrder;
}

/// N1 and N2 of a long transform, the larger and the smaller root of M.
static constexpr std::int64_t matrixRows(std::int32_t order) {
    return std::int64_t{1} << (order / 2);
}
static constexpr std::int64_t matrixColumns(std::int32_t order) {
    return std::int64_t{1} << ((order - 1) / 2);
}

/// A panel is `panelLanes` columns or rows of the matrix, which are transformed side by side, in
/// blocks as above. Floats of one part of a block, and of one of a panel, for the length n.
inline constexpr std::int64_t panelLanes = 16;
static constexpr std::int64_t panelBlockStride(std::int64_t n) {
    return n / blockCount * panelLanes + workPadding;
}
static constexpr std::int64_t panelStride(std::int32_t order) {
    return blockCount * panelBlockStride(matrixRows(order));
}

/// A long transform keeps the whole matrix between its columns and its rows; that of the longest
/// does not fit the size in which it is reported, and is kept by halves.
static constexpr std::int64_t matrixParts(std::int32_t order) {
    return order == largestOrder ? 2 : 1;
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
/// block if there are blocks; three panels, a spare block and a part of the matrix, or what the
/// plain form needs, for a long one; M numbers for those without tables.
static constexpr std::int64_t workCount(std::int32_t order) {
    if (order < 2) {
        return 0;
    }
    if (!hasPassTables(order)) {
        return 2 * pairCount(order);
    }
    if (isLong(order)) {
        const std::int64_t ours = 6 * panelStride(order) + 2 * panelBlockStride(matrixRows(order)) +
                                  2 * pairCount(order) / matrixParts(order);
        const std::int64_t plain = pairCount(order) / 2 * 3;
        return ours > plain ? ours : plain;
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
