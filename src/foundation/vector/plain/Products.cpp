// The chains of single operations that the fused forms stand for.
#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {
namespace {

void startSums(const RunProducts& product) {
    if (product.start == nullptr) {
        return;
    }
    for (std::int64_t b = 0; b < product.bins; ++b) {
        plain::ippsMulC_32f(product.start, 1.0f, product.out + b * product.outStride,
                            product.channels);
    }
}

void addLast(const RunProducts& product) {
    for (std::int64_t b = 0; product.last != nullptr && b < product.bins; ++b) {
        float* const out = product.out + b * product.outStride;
        plain::ippsAdd_32f(product.last, out, out, product.channels);
    }
}

/// Element `i` of a run, times its weight for the channel of `out`.
void addColumn(const ColumnProducts& product, const float* columns, const float* weight,
               std::int32_t i, float* out) {
    const std::int32_t place = product.firstColumn + i;
    const float* const column =
        columns + place / product.columnCount + place % product.columnCount * product.pitch;
    const BinRange entered = product.entered[i / product.group];
    for (std::int64_t b = entered.begin; b < entered.end; ++b) {
        plain::ippsAddProduct_32f(weight, column + b, out + b * product.outStride, 1);
    }
}

}  // namespace

IppStatus addRunProducts(const RunProducts& product) {
    startSums(product);
    for (std::int32_t t = 0; t < product.taps; ++t) {
        for (std::int64_t b = 0; b < product.bins; ++b) {
            const float* w = product.weights + t * product.tapStride;
            const std::int32_t from = b == 0 ? product.lead : 0;
            const std::int32_t to =
                b == product.bins - 1 ? product.run - product.trail : product.run;
            for (std::int32_t i = from; i < to; ++i) {
                const std::int64_t place = b * product.binStride + i - product.lead;
                plain::ippsAddProductC_32f(w + i * product.weightStride, product.rows[t][place],
                                           product.out + b * product.outStride, product.channels);
            }
        }
    }
    addLast(product);
    return ippStsNoErr;
}

IppStatus repeatRow(const float* pSrc, std::int32_t len, float* pDst, std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        plain::ippsMulC_32f(pSrc, 1.0f, pDst + bin * len, len);
    }
    return ippStsNoErr;
}

IppStatus spreadRows(const float* pSrc, std::int32_t len, float* pDst, std::int64_t dstStride,
                     std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        for (std::int32_t i = 0; i < len; ++i) {
            pDst[bin * dstStride + i] = pSrc[bin * len + i];
        }
    }
    return ippStsNoErr;
}

IppStatus addRowToBins(const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,
                       std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        plain::ippsAdd_32f(pSrc, pSrcBins + bin * len, pDst + bin * len, len);
    }
    return ippStsNoErr;
}

IppStatus multiplyBinsByRow(const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,
                            std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        plain::ippsMul_32f(pSrcBins + bin * len, pSrc, pDst + bin * len, len);
    }
    return ippStsNoErr;
}

IppStatus addChannelProducts(const ChannelProducts& product) {
    startSums(product);
    for (std::int32_t t = 0; t < product.taps; ++t) {
        for (std::int64_t b = 0; b < product.bins; ++b) {
            const float* x = product.rows[t] + b * product.binStride;
            const float* w = product.weights + t * product.tapStride;
            for (std::int32_t i = 0; i < product.run; ++i) {
                plain::ippsAddProduct_32f(w, x, product.out + b * product.outStride,
                                          product.channels);
                x += product.channels;
                w += product.weightStride;
            }
        }
    }
    addLast(product);
    return ippStsNoErr;
}

IppStatus addColumnProducts(const ColumnProducts& product) {
    const std::int32_t run = product.groups * product.group;
    for (std::int32_t c = 0; c < product.channels; ++c) {
        float* const out = product.out[c];
        const bool isStarted = c < product.started;
        for (std::int64_t b = 0; b < product.bins; ++b) {
            const std::int64_t place = b * product.outStride;
            out[place] = isStarted ? product.start[c] : product.sums[c][place];
        }
        for (std::int64_t t = 0; t < product.taps; ++t) {
            const float* const w = product.weights + t * product.tapStride + c;
            for (std::int32_t i = 0; i < run; ++i) {
                addColumn(product, product.columns[t], w + i * product.weightStride, i, out);
            }
        }
        for (std::int64_t b = 0; product.last != nullptr && b < product.bins; ++b) {
            out[b * product.outStride] += product.last[c];
        }
    }
    return ippStsNoErr;
}

IppStatus transposeBins(const float* pSrc, std::int32_t len, std::int32_t width, float* pDst,
                        std::int64_t pitch) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i % width * pitch + i / width] = pSrc[i];
    }
    return ippStsNoErr;
}

}  // namespace vorun::plain
