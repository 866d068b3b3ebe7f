// The exponential, the logarithm and the operations that sum a whole array.
#include <cmath>
#include <cstddef>

#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

namespace {

// Sums term(0) to term(len - 1) in several partial sums, which run at once in a processor and lose
// less to rounding than one long chain.
template <class Sum, class Term>
Sum sumInLanes(std::int32_t len, Term term) {
    constexpr std::int32_t lanes = 8;
    Sum partial[lanes] = {};
    std::int32_t i = 0;
    for (; i < len - (lanes - 1); i += lanes) {
        for (std::int32_t lane = 0; lane < lanes; ++lane) {
            partial[lane] += term(i + lane);
        }
    }
    Sum total = 0;
    for (const Sum sum : partial) {
        total += sum;
    }
    for (; i < len; ++i) {
        total += term(i);
    }
    return total;
}

}  // namespace

IppStatus ippsExp_32f(const float* pSrc, float* pDst, std::int32_t len) {
    for (std::int32_t i = 0; i < len; ++i) {
        pDst[i] = std::exp(pSrc[i]);
    }
    return ippStsNoErr;
}

IppStatus ippsLn_32f(const float* pSrc, float* pDst, std::int32_t len) {
    bool hasZero = false;
    bool hasNegative = false;
    for (std::int32_t i = 0; i < len; ++i) {
        hasZero = hasZero || pSrc[i] == 0.0f;
        hasNegative = hasNegative || pSrc[i] < 0.0f;
        pDst[i] = std::log(pSrc[i]);
    }
    if (hasZero) {
        return ippStsLnZeroArg;
    }
    return hasNegative ? ippStsLnNegArg : ippStsNoErr;
}

IppStatus ippsNorm_L2_32f(const float* pSrc, std::int32_t len, float* pResult) {
    *pResult = std::sqrt(sumInLanes<float>(len, [=](std::int32_t i) { return pSrc[i] * pSrc[i]; }));
    return ippStsNoErr;
}

IppStatus ippsDotProd_32f(const float* pSrc1, const float* pSrc2, std::int32_t len,
                          float* pResult) {
    *pResult = sumInLanes<float>(len, [=](std::int32_t i) { return pSrc1[i] * pSrc2[i]; });
    return ippStsNoErr;
}

IppStatus ippsDotProd_64f(const double* pSrc1, const double* pSrc2, std::int32_t len,
                          double* pResult) {
    *pResult = sumInLanes<double>(len, [=](std::int32_t i) { return pSrc1[i] * pSrc2[i]; });
    return ippStsNoErr;
}

IppStatus dotProductPair_64f(const double* pSrc1, const double* pSrc2, const double* pSrc3,
                             const double* pSrc4, std::int32_t len, double* pResult) {
    plain::ippsDotProd_64f(pSrc1, pSrc2, len, pResult);
    return plain::ippsDotProd_64f(pSrc3, pSrc4, len, pResult + 1);
}

}  // namespace vorun::plain
