#include <cmath>
#include <cstring>
#include <limits>

#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

namespace {

std::size_t bytesOf(std::int64_t floats) {
    return static_cast<std::size_t>(floats) * sizeof(float);
}

// Source and target may be the same array.
void copyFloats(const float* source, float* target, std::int32_t len) {
    std::memmove(target, source, bytesOf(len));
}

float quotient(float dividend, float divisor, bool& zeroDivisor) {
    if (divisor != 0.0f) {
        return dividend / divisor;
    }
    zeroDivisor = true;
    if (dividend > 0.0f) {
        return std::numeric_limits<float>::infinity();
    }
    return dividend < 0.0f ? -std::numeric_limits<float>::infinity()
                           : std::numeric_limits<float>::quiet_NaN();
}

}  // namespace

IppStatus ippsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) {
    std::memmove(pDst, pSrc, static_cast<std::size_t>(len));
    return ippStsNoErr;
}

IppStatus ippsSet_32f(float val, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = val;
    }
    return ippStsNoErr;
}

IppStatus ippsZero_32f(float* pDst, std::int32_t len) {
    std::memset(pDst, 0, bytesOf(len));
    return ippStsNoErr;
}

IppStatus ippsAdd_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc1[i] + pSrc2[i];
    }
    return ippStsNoErr;
}

IppStatus ippsSub_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc2[i] - pSrc1[i];
    }
    return ippStsNoErr;
}

IppStatus ippsMul_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc1[i] * pSrc2[i];
    }
    return ippStsNoErr;
}

IppStatus ippsDiv_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len) {
    bool zeroDivisor = false;
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = quotient(pSrc2[i], pSrc1[i], zeroDivisor);
    }
    return zeroDivisor ? ippStsDivByZero : ippStsNoErr;
}

IppStatus ippsAddC_32f(const float* pSrc, float val, float* pDst, std::int32_t len) {
    if (val == 0.0f) {
        copyFloats(pSrc, pDst, len);
        return ippStsNoErr;
    }
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc[i] + val;
    }
    return ippStsNoErr;
}

IppStatus ippsSubC_32f(const float* pSrc, float val, float* pDst, std::int32_t len) {
    if (val == 0.0f) {
        copyFloats(pSrc, pDst, len);
        return ippStsNoErr;
    }
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc[i] - val;
    }
    return ippStsNoErr;
}

IppStatus ippsMulC_32f(const float* pSrc, float val, float* pDst, std::int32_t len) {
    if (val == 1.0f) {
        copyFloats(pSrc, pDst, len);
        return ippStsNoErr;
    }
    if (val == 0.0f) {
        return plain::ippsZero_32f(pDst, len);
    }
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = pSrc[i] * val;
    }
    return ippStsNoErr;
}

IppStatus ippsAddProduct_32f(const float* pSrc1, const float* pSrc2, float* pSrcDst,
                             std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pSrcDst[i] += pSrc1[i] * pSrc2[i];
    }
    return ippStsNoErr;
}

IppStatus ippsAddProductC_32f(const float* pSrc, float val, float* pSrcDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pSrcDst[i] += pSrc[i] * val;
    }
    return ippStsNoErr;
}

IppStatus ippsThreshold_LTVal_32f(const float* pSrc, float* pDst, std::int32_t len, float level,
                                  float value) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = level <= pSrc[i] ? pSrc[i] : value;
    }
    return ippStsNoErr;
}

IppStatus ippsThreshold_GTVal_32f(const float* pSrc, float* pDst, std::int32_t len, float level,
                                  float value) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = level < pSrc[i] ? value : pSrc[i];
    }
    return ippStsNoErr;
}

IppStatus ippsThreshold_LTValGTVal_32f(const float* pSrc, float* pDst, std::int32_t len,
                                       float levelLT, float valueLT, float levelGT, float valueGT) {
    for (std::int32_t i = 0; i < len; ++i) {
        const float x = pSrc[i];
        // A NaN is below as well: it is neither at nor above any level.
        const bool isBelow = x < levelLT || std::isnan(x);
        const float limitedAbove = x > levelGT ? valueGT : x;
        pDst[i] = isBelow ? valueLT : limitedAbove;
    }
    return ippStsNoErr;
}

IppStatus ippsConvert_32f64f(const float* pSrc, double* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = static_cast<double>(pSrc[i]);
    }
    return ippStsNoErr;
}

IppStatus ippsConvert_64f32f(const double* pSrc, float* pDst, std::int32_t len) {
    constexpr double largest = 3.402823466e+38;
    for (std::int32_t i = 0; i < len; ++i) {
        const double x = pSrc[i];
        const double limitedAbove = x > largest ? largest : x;
        pDst[i] = static_cast<float>(limitedAbove < -largest ? -largest : limitedAbove);
    }
    return ippStsNoErr;
}

}  // namespace vorun::plain
