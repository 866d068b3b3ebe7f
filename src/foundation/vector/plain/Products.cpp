// The chains of single operations that the fused forms stand for.
#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

IppStatus addRunProducts(const RunProducts& product) {
    for (std::int32_t t = 0; t < product.taps; ++t) {
        for (std::int64_t b = 0; b < product.bins; ++b) {
            const float* w = product.weights + t * product.tapStride;
            for (std::int32_t i = 0; i < product.run; ++i) {
                plain::ippsAddProductC_32f(w, product.rows[t][b * product.binStride + i],
                                           product.out + b * product.outStride, product.channels);
                w += product.channels;
            }
        }
    }
    return ippStsNoErr;
}

IppStatus repeatRow(const float* pSrc, std::int32_t len, float* pDst, std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        plain::ippsMulC_32f(pSrc, 1.0f, pDst + bin * len, len);
    }
    return ippStsNoErr;
}

IppStatus addRowToBins(const float* pSrc, std::int32_t len, float* pSrcDst, std::int32_t bins) {
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        plain::ippsAdd_32f(pSrc, pSrcDst + bin * len, pSrcDst + bin * len, len);
    }
    return ippStsNoErr;
}

IppStatus addChannelProducts(const ChannelProducts& product) {
    for (std::int32_t t = 0; t < product.taps; ++t) {
        for (std::int64_t b = 0; b < product.bins; ++b) {
            const float* x = product.rows[t] + b * product.binStride;
            const float* w = product.weights + t * product.tapStride;
            for (std::int32_t i = 0; i < product.run; ++i) {
                plain::ippsAddProduct_32f(w, x, product.out + b * product.outStride,
                                          product.channels);
                x += product.channels;
                w += product.channels;
            }
        }
    }
    return ippStsNoErr;
}

}  // namespace vorun::plain
