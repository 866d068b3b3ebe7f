#pragma once

#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

// The one list of dispatched operations. It drives the declarations of every variant
// (VectorVariants.h), the tables and the public definitions (VectorDispatch.cpp).
//
// Each row is X(name, (parameters), (arguments), precondition). The precondition is an expression
// over the parameters that gives the status of the call's arguments; a variant runs only if it is
// 0, and so never looks at pointers and lengths itself.
//
// NOLINTBEGIN(bugprone-macro-parentheses): the rows hold parameter lists.
#define VORUN_VECTOR_OPERATIONS(X)                                                                \
    X(ippsCopy_8u, (const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len),              \
      (pSrc, pDst, len), checkArrays(len, pSrc, pDst))                                            \
    X(ippsSet_32f, (float val, float* pDst, std::int32_t len), (val, pDst, len),                  \
      checkArrays(len, pDst))                                                                     \
    X(ippsSet_32fc, (Ipp32fc val, Ipp32fc * pDst, std::int32_t len), (val, pDst, len),            \
      checkArrays(len, pDst))                                                                     \
    X(ippsZero_32f, (float* pDst, std::int32_t len), (pDst, len), checkArrays(len, pDst))         \
    VORUN_VECTOR_ARITHMETIC(X)                                                                    \
    VORUN_VECTOR_COMPLEX(X)                                                                       \
    VORUN_VECTOR_THRESHOLDS(X)                                                                    \
    VORUN_VECTOR_REDUCTIONS(X)                                                                    \
    X(ippsExp_32f, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),         \
      checkArrays(len, pSrc, pDst))                                                               \
    X(ippsLn_32f, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),          \
      checkArrays(len, pSrc, pDst))                                                               \
    X(ippsConvert_32f64f, (const float* pSrc, double* pDst, std::int32_t len), (pSrc, pDst, len), \
      checkArrays(len, pSrc, pDst))                                                               \
    X(ippsConvert_64f32f, (const double* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len), \
      checkArrays(len, pSrc, pDst))                                                               \
    X(ippsFFTFwd_RToCCS_32f,                                                                      \
      (const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec, unsigned char* pWork),     \
      (pSrc, pDst, pSpec, pWork), checkTransform(pSrc, pDst, pSpec, pWork))                       \
    X(ippsFFTInv_CCSToR_32f,                                                                      \
      (const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec, unsigned char* pWork),     \
      (pSrc, pDst, pSpec, pWork), checkTransform(pSrc, pDst, pSpec, pWork))                       \
    X(addRunProducts, (const RunProducts& product), (product), checkRuns(product))                \
    X(addChannelProducts, (const ChannelProducts& product), (product), checkProducts(product))    \
    X(addColumnProducts, (const ColumnProducts& product), (product), checkColumns(product))       \
    X(transposeBins,                                                                              \
      (const float* pSrc, std::int32_t len, std::int32_t width, float* pDst, std::int64_t pitch), \
      (pSrc, len, width, pDst, pitch), checkArrays(std::min(len, width), pSrc, pDst))             \
    X(dotProductPair_64f,                                                                         \
      (const double* pSrc1, const double* pSrc2, const double* pSrc3, const double* pSrc4,        \
       std::int32_t len, double* pResult),                                                        \
      (pSrc1, pSrc2, pSrc3, pSrc4, len, pResult),                                                 \
      checkArrays(len, pSrc1, pSrc2, pSrc3, pSrc4, pResult))                                      \
    X(repeatRow, (const float* pSrc, std::int32_t len, float* pDst, std::int32_t bins),           \
      (pSrc, len, pDst, bins), checkArrays(std::min(len, bins), pSrc, pDst))                      \
    X(spreadRows,                                                                                 \
      (const float* pSrc, std::int32_t len, float* pDst, std::int64_t dstStride,                  \
       std::int32_t bins),                                                                        \
      (pSrc, len, pDst, dstStride, bins), checkArrays(std::min(len, bins), pSrc, pDst))           \
    X(addRowToBins,                                                                               \
      (const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,                   \
       std::int32_t bins),                                                                        \
      (pSrc, len, pSrcBins, pDst, bins), checkArrays(std::min(len, bins), pSrc, pSrcBins, pDst))  \
    X(multiplyBinsByRow,                                                                          \
      (const float* pSrc, std::int32_t len, const float* pSrcBins, float* pDst,                   \
       std::int32_t bins),                                                                        \
      (pSrc, len, pSrcBins, pDst, bins), checkArrays(std::min(len, bins), pSrc, pSrcBins, pDst))  \
    X(hypotRow, (const Ipp32fc* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),          \
      checkArrays(len, pSrc, pDst))                                                               \
    VORUN_VECTOR_ACTIVATIONS(X)

#define VORUN_VECTOR_ACTIVATIONS(X)                                                               \
    X(activateLeakyRelu, (const float* pSrc, float* pDst, std::int32_t len, float slope),         \
      (pSrc, pDst, len, slope), checkArrays(len, pSrc, pDst))                                     \
    X(activateElu, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),         \
      checkArrays(len, pSrc, pDst))                                                               \
    X(activateSigmoid, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),     \
      checkArrays(len, pSrc, pDst))                                                               \
    X(activateHardSigmoid, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len), \
      checkArrays(len, pSrc, pDst))                                                               \
    X(activateSoftplus, (const float* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),    \
      checkArrays(len, pSrc, pDst))

#define VORUN_VECTOR_ARITHMETIC(X)                                                           \
    X(ippsAdd_32f, (const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len),  \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                       \
    X(ippsSub_32f, (const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len),  \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                       \
    X(ippsMul_32f, (const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len),  \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                       \
    X(ippsDiv_32f, (const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len),  \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                       \
    X(ippsAddC_32f, (const float* pSrc, float val, float* pDst, std::int32_t len),           \
      (pSrc, val, pDst, len), checkArrays(len, pSrc, pDst))                                  \
    X(ippsSubC_32f, (const float* pSrc, float val, float* pDst, std::int32_t len),           \
      (pSrc, val, pDst, len), checkArrays(len, pSrc, pDst))                                  \
    X(ippsMulC_32f, (const float* pSrc, float val, float* pDst, std::int32_t len),           \
      (pSrc, val, pDst, len), checkArrays(len, pSrc, pDst))                                  \
    X(ippsAddProduct_32f,                                                                    \
      (const float* pSrc1, const float* pSrc2, float* pSrcDst, std::int32_t len),            \
      (pSrc1, pSrc2, pSrcDst, len), checkArrays(len, pSrc1, pSrc2, pSrcDst))                 \
    X(ippsAddProductC_32f, (const float* pSrc, float val, float* pSrcDst, std::int32_t len), \
      (pSrc, val, pSrcDst, len), checkArrays(len, pSrc, pSrcDst))

#define VORUN_VECTOR_COMPLEX(X)                                                                    \
    X(ippsAdd_32fc, (const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len), \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                             \
    X(ippsSub_32fc, (const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len), \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                             \
    X(ippsMul_32fc, (const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len), \
      (pSrc1, pSrc2, pDst, len), checkArrays(len, pSrc1, pSrc2, pDst))                             \
    X(ippsMulC_32fc, (const Ipp32fc* pSrc, Ipp32fc val, Ipp32fc* pDst, std::int32_t len),          \
      (pSrc, val, pDst, len), checkArrays(len, pSrc, pDst))                                        \
    X(ippsMagnitude_32fc, (const Ipp32fc* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len), \
      checkArrays(len, pSrc, pDst))                                                                \
    X(ippsPhase_32fc, (const Ipp32fc* pSrc, float* pDst, std::int32_t len), (pSrc, pDst, len),     \
      checkArrays(len, pSrc, pDst))                                                                \
    X(ippsPolarToCart_32fc,                                                                        \
      (const float* pSrcMagn, const float* pSrcPhase, Ipp32fc* pDst, std::int32_t len),            \
      (pSrcMagn, pSrcPhase, pDst, len), checkArrays(len, pSrcMagn, pSrcPhase, pDst))

#define VORUN_VECTOR_THRESHOLDS(X)                                                     \
    X(ippsThreshold_LTVal_32f,                                                         \
      (const float* pSrc, float* pDst, std::int32_t len, float level, float value),    \
      (pSrc, pDst, len, level, value), checkArrays(len, pSrc, pDst))                   \
    X(ippsThreshold_GTVal_32f,                                                         \
      (const float* pSrc, float* pDst, std::int32_t len, float level, float value),    \
      (pSrc, pDst, len, level, value), checkArrays(len, pSrc, pDst))                   \
    X(ippsThreshold_LTValGTVal_32f,                                                    \
      (const float* pSrc, float* pDst, std::int32_t len, float levelLT, float valueLT, \
       float levelGT, float valueGT),                                                  \
      (pSrc, pDst, len, levelLT, valueLT, levelGT, valueGT),                           \
      checkLevels(checkArrays(len, pSrc, pDst), levelLT, levelGT))

#define VORUN_VECTOR_REDUCTIONS(X)                                                                 \
    X(ippsNorm_L2_32f, (const float* pSrc, std::int32_t len, float* pResult),                      \
      (pSrc, len, pResult), checkArrays(len, pSrc, pResult))                                       \
    X(ippsDotProd_32f, (const float* pSrc1, const float* pSrc2, std::int32_t len, float* pResult), \
      (pSrc1, pSrc2, len, pResult), checkArrays(len, pSrc1, pSrc2, pResult))                       \
    X(ippsDotProd_64f,                                                                             \
      (const double* pSrc1, const double* pSrc2, std::int32_t len, double* pResult),               \
      (pSrc1, pSrc2, len, pResult), checkArrays(len, pSrc1, pSrc2, pResult))
// NOLINTEND(bugprone-macro-parentheses)
