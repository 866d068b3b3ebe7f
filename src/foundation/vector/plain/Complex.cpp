#include <algorithm>
#include <cmath>

#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

namespace {

Ipp32fc multiply(Ipp32fc a, Ipp32fc b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// The sum overflows, and loses bits below the normal floats, as one in float; elsewhere it is exact
// until the root is taken.
float magnitude(Ipp32fc x) {
    const float sum = x.re * x.re + x.im * x.im;
    const double re = x.re;
    const double im = x.im;
    return std::sqrt(std::isnormal(sum) ? static_cast<float>(re * re + im * im) : sum);
}

}  // namespace

IppStatus ippsSet_32fc(Ipp32fc val, Ipp32fc* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = val;
    }
    return ippStsNoErr;
}

IppStatus ippsAdd_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst,
                       std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = {pSrc1[i].re + pSrc2[i].re, pSrc1[i].im + pSrc2[i].im};
    }
    return ippStsNoErr;
}

IppStatus ippsSub_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst,
                       std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = {pSrc2[i].re - pSrc1[i].re, pSrc2[i].im - pSrc1[i].im};
    }
    return ippStsNoErr;
}

IppStatus ippsMul_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst,
                       std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = multiply(pSrc1[i], pSrc2[i]);
    }
    return ippStsNoErr;
}

IppStatus ippsMulC_32fc(const Ipp32fc* pSrc, Ipp32fc val, Ipp32fc* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = multiply(pSrc[i], val);
    }
    return ippStsNoErr;
}

IppStatus ippsMagnitude_32fc(const Ipp32fc* pSrc, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = magnitude(pSrc[i]);
    }
    return ippStsNoErr;
}

IppStatus hypotRow(const Ipp32fc* pSrc, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = std::hypot(pSrc[i].re, pSrc[i].im);
    }
    return ippStsNoErr;
}

IppStatus ippsPhase_32fc(const Ipp32fc* pSrc, float* pDst, std::int32_t len) {
    // The arctangent takes its two arguments from arrays of their own, as a vector form reads them.
    constexpr std::int32_t blockLength = 128;
    float re[blockLength];
    float im[blockLength];
    for (std::int32_t rest = len; rest > 0;) {
        const std::int32_t now = std::min(rest, blockLength);
        for (std::int32_t i = 0; i < now; ++i) {
            re[i] = pSrc[i].re;
            im[i] = pSrc[i].im;
        }
        for (std::int32_t i = 0; i < now; ++i) {
            pDst[i] = std::atan2(im[i], re[i]);
        }
        pSrc += now;
        pDst += now;
        rest -= now;
    }
    return ippStsNoErr;
}

IppStatus ippsPolarToCart_32fc(const float* pSrcMagn, const float* pSrcPhase, Ipp32fc* pDst,
                               std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = {pSrcMagn[i] * std::cos(pSrcPhase[i]), pSrcMagn[i] * std::sin(pSrcPhase[i])};
    }
    return ippStsNoErr;
}

}  // namespace vorun::plain
