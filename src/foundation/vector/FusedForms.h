#pragma once

#include <cstdint>

#include "foundation/vector/VectorPrimitives.h"

// Chains of multiply-adds over whole planes, in one call. Each is bit for bit what the chain of
// single operations of the same variant gives, and keeps in registers what the chain would store
// and load again for every step.
//
// Files compiled for one instruction set include this header, so it holds no inline code.
namespace vorun {

/// A matrix of sums over several rows of input. For each bin b and channel c, first over the taps
/// t, then over the elements i of a run:
///
///   out[b * outStride + c] +=
///       rows[t][b * binStride + i] * weights[t * tapStride + i * weightStride + c]
///
/// With a `start`, sums begin at start[c] and not at what stands in `out`; with a `last`, last[c]
/// is added to each at the end. The first bin goes without the first `lead` elements of each run,
/// the last one without the last `trail`; with a lead, `rows` point to the first element that
/// enters.
///
/// Strides count floats. No array needs an alignment, and `out` overlaps no other array.
struct RunProducts {
    /// One pointer a tap, to the first bin's run.
    const float* const* rows;
    const float* weights;
    std::int64_t tapStride;
    /// At least 1.
    std::int64_t weightStride;
    std::int64_t binStride;
    std::int64_t outStride;
    float* out;
    /// `channels` floats, or null.
    const float* start;
    std::int32_t taps;
    std::int32_t run;
    std::int32_t bins;
    std::int32_t channels;
    /// Below `run`. One bin has not both; the lead of several is at most binStride.
    std::int32_t lead;
    std::int32_t trail;
    /// `channels` floats, or null.
    const float* last;
};

/// The same channel by channel, where all runs are whole:
///
///   out[b * outStride + c] += rows[t][b * binStride + i * channels + c] *
///                             weights[t * tapStride + i * weightStride + c]
///
/// where a run has `run` elements of `channels` floats each.
using ChannelProducts = RunProducts;

/// Bins from `begin` on, up to but not including `end`.
struct BinRange {
    std::int32_t begin;
    std::int32_t end;
};

/// Sums with bins side by side, for channels that lie anywhere, over columns as transposeBins()
/// gives them. Element i of a run is read from column k = (firstColumn + i) % columnCount, `shift`
/// = (firstColumn + i) / columnCount bins further on. First over the taps t, then over a run:
///
///   out[c][b * outStride] = sums[c][b * outStride] + columns[t][k * pitch + b + shift] *
///                                                    weights[t * tapStride + i * weightStride + c]
///
/// and so on. The sums of the first `started` channels begin at start[c] instead. With a `last`,
/// last[c] is added to each sum at the end.
///
/// A run has `groups` groups of `group` elements, and group g enters the bins of entered[g] alone.
/// The columns are not read for others, and their pointers may well lie before the first float.
struct ColumnProducts {
    /// For each tap, the first bin in column 0.
    const float* const* columns;
    std::int64_t pitch;
    const float* weights;
    std::int64_t tapStride;
    std::int64_t weightStride;
    /// One pointer a channel, to its first bin. A channel's sums may be its out; nothing else may
    /// overlap. Those of channels that are started are not read.
    const float* const* sums;
    float* const* out;
    std::int64_t outStride;
    /// `started` floats.
    const float* start;
    /// A range within the bins for each group. Neither end is above that of the group before.
    const BinRange* entered;
    std::int32_t taps;
    std::int32_t columnCount;
    std::int32_t firstColumn;
    std::int32_t groups;
    std::int32_t group;
    std::int32_t bins;
    std::int32_t channels;
    /// At most `channels`.
    std::int32_t started;
    /// `channels` floats, or null.
    const float* last;
};

/// Activations in one pass, each the chain that its layer states; pDst may be pSrc.
/// max(x, 0) + slope * min(x, 0).
IppStatus activateLeakyRelu(const float* pSrc, float* pDst, std::int32_t len, float slope);
/// max(x, 0) + (exp(min(x, 0)) - 1).
IppStatus activateElu(const float* pSrc, float* pDst, std::int32_t len);
/// exp(c) / (exp(c) + 1) with c = x clamped to -10 to 10; a NaN counts as -10.
IppStatus activateSigmoid(const float* pSrc, float* pDst, std::int32_t len);
/// x / 6 + 0.5 clamped to 0 to 1; a NaN gives 0.
IppStatus activateHardSigmoid(const float* pSrc, float* pDst, std::int32_t len);
/// ln(exp(x) + 1).
IppStatus activateSoftplus(const float* pSrc, float* pDst, std::int32_t len);

/// Two sums of products at once, each as ippsDotProd_64f gives it: pResult[0] of pSrc1 with pSrc2,
/// pResult[1] of pSrc3 with pSrc4.
IppStatus dotProductPair_64f(const double* pSrc1, const double* pSrc2, const double* pSrc3,
                             const double* pSrc4, std::int32_t len, double* pResult);

/// sqrt(re^2 + im^2) as std::hypot gives it: no overflow on the way, and infinite beside a NaN if
/// the other part is. At most 1 ULP.
IppStatus hypotRow(const Ipp32fc* pSrc, float* pDst, std::int32_t len);

/// Repeats a row of `len` floats for each of `bins` bins, one behind the other.
IppStatus repeatRow(const float* pSrc, std::int32_t len, float* pDst, std::int32_t bins);
/// Adds a row of `len` floats to each of `bins` bins of pSrcBins, as ippsAdd_32f adds it to one;
/// pDst may be pSrcBins.
IppStatus addRowToBins(const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,
                       std::int32_t bins);

/// The same with ippsMul_32f.
IppStatus multiplyBinsByRow(const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,
                            std::int32_t bins);

/// Copies `bins` rows of `len` floats to rows that lie `dstStride` floats apart; no array overlaps.
IppStatus spreadRows(const float* pSrc, std::int32_t len, float* pDst, std::int64_t dstStride,
                     std::int32_t bins);

IppStatus addRunProducts(const RunProducts& product);
IppStatus addChannelProducts(const ChannelProducts& product);
IppStatus addColumnProducts(const ColumnProducts& product);

/// Bins of `width` floats, column by column: pDst[i % width * pitch + i / width] = pSrc[i]. `len`
/// need not be a multiple of `width`; `pitch` is at least len / width, rounded up.
IppStatus transposeBins(const float* pSrc, std::int32_t len, std::int32_t width, float* pDst,
                        std::int64_t pitch);

}  // namespace vorun
