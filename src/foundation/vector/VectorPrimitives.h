#pragma once

// The array operations on which all sample arithmetic stands.
//
// Conventions of the whole family:
//  - Every operation returns a status: 0 for success, negative for an error, positive for a warning
//    after complete results. Null pointers are looked for first (-8), then a length below 1 (-6);
//    nothing is written when either is found. Callers go through checkedCall (CheckedCall.h).
//  - Lengths count elements: complex numbers for 32fc, bytes for 8u.
//  - No array needs an alignment beyond that of its element. The destination may be one of the
//    sources of the same element type; partial overlap is not allowed.
//  - Operations keep no state and may run on any number of threads at once. A plan of the transform
//    may be shared as well, but each thread needs a work buffer of its own.
//  - "Exact" below means the correctly rounded result of each single operation, in the order
//    written; other operations state their largest error. ULP counts floats next to the exact
//    value.
//
// Files compiled for one instruction set include this header, so it holds no inline code and no
// header that would bring some.
#include <cstdint>

namespace vorun {

using IppStatus = std::int32_t;

inline constexpr IppStatus ippStsNoErr = 0;
inline constexpr IppStatus ippStsDivByZero = 2;
inline constexpr IppStatus ippStsLnZeroArg = 7;
inline constexpr IppStatus ippStsLnNegArg = 8;
inline constexpr IppStatus ippStsSizeErr = -6;
inline constexpr IppStatus ippStsNullPtrErr = -8;
inline constexpr IppStatus ippStsContextMatchErr = -13;
inline constexpr IppStatus ippStsFftOrderErr = -17;
inline constexpr IppStatus ippStsFftFlagErr = -18;
inline constexpr IppStatus ippStsThresholdErr = -19;

/// An interleaved complex number.
struct Ipp32fc {
    float re;
    float im;
};

// ---- Memory and texts ----

/// `len` bytes on a 64-byte boundary, to be given back with ippsFree. Null for a `len` below 1, for
/// one within 72 bytes of the largest int32, and when memory is exhausted.
unsigned char* ippsMalloc_8u(std::int32_t len);

/// Gives back a block of ippsMalloc_8u. Null is ignored.
void ippsFree(void* pointer);

/// The text of a status, "name: sentence"; the text of the unknown status code for any other value.
/// Never null; the text lives as long as the program.
const char* ippGetStatusString(IppStatus status);

// ---- Copy and fill ----

IppStatus ippsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len);
IppStatus ippsSet_32f(float val, float* pDst, std::int32_t len);
IppStatus ippsSet_32fc(Ipp32fc val, Ipp32fc* pDst, std::int32_t len);
/// Clears all bits.
IppStatus ippsZero_32f(float* pDst, std::int32_t len);

// ---- Arithmetic, exact ----

/// pDst[i] = pSrc1[i] + pSrc2[i].
IppStatus ippsAdd_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len);
/// pDst[i] = pSrc2[i] - pSrc1[i]: the subtrahend comes first.
IppStatus ippsSub_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len);
/// pDst[i] = pSrc1[i] * pSrc2[i].
IppStatus ippsMul_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len);
/// pDst[i] = pSrc2[i] / pSrc1[i]: the divisor comes first. At most 1 ULP. A zero divisor of either
/// sign gives the infinity of the dividend's sign, or a NaN for a zero or NaN dividend, and the
/// status ippStsDivByZero once all elements are done.
IppStatus ippsDiv_32f(const float* pSrc1, const float* pSrc2, float* pDst, std::int32_t len);
/// pDst[i] = pSrc[i] + val; a plain copy for a `val` of 0.
IppStatus ippsAddC_32f(const float* pSrc, float val, float* pDst, std::int32_t len);
/// pDst[i] = pSrc[i] - val; a plain copy for a `val` of 0.
IppStatus ippsSubC_32f(const float* pSrc, float val, float* pDst, std::int32_t len);
/// pDst[i] = pSrc[i] * val; a plain copy for a `val` of 1, zeros whatever the source for one of 0.
IppStatus ippsMulC_32f(const float* pSrc, float val, float* pDst, std::int32_t len);
/// pSrcDst[i] += pSrc1[i] * pSrc2[i]. The product is rounded before the sum, but for dispatch
/// indices 4 and 5, which round once.
IppStatus ippsAddProduct_32f(const float* pSrc1, const float* pSrc2, float* pSrcDst,
                             std::int32_t len);
/// pSrcDst[i] += pSrc[i] * val, rounded as in ippsAddProduct_32f.
IppStatus ippsAddProductC_32f(const float* pSrc, float val, float* pSrcDst, std::int32_t len);

// ---- Complex arithmetic, exact ----

IppStatus ippsAdd_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len);
/// pDst[i] = pSrc2[i] - pSrc1[i].
IppStatus ippsSub_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len);
/// Real part a.re * b.re - a.im * b.im, imaginary part a.re * b.im + a.im * b.re.
IppStatus ippsMul_32fc(const Ipp32fc* pSrc1, const Ipp32fc* pSrc2, Ipp32fc* pDst, std::int32_t len);
IppStatus ippsMulC_32fc(const Ipp32fc* pSrc, Ipp32fc val, Ipp32fc* pDst, std::int32_t len);

// ---- Polar form ----

/// sqrt(re * re + im * im). At most 1 ULP where the sum of squares is a normal float; otherwise it
/// is formed in float and so overflows to infinity and loses bits below 1.1754944e-38.
IppStatus ippsMagnitude_32fc(const Ipp32fc* pSrc, float* pDst, std::int32_t len);
/// atan2(im, re) in radians. At most 2 ULP.
IppStatus ippsPhase_32fc(const Ipp32fc* pSrc, float* pDst, std::int32_t len);
/// magnitude * (cos(phase) + j sin(phase)), the phase in radians. At most 2 ULP for each part, for
/// phases up to 10^4.
IppStatus ippsPolarToCart_32fc(const float* pSrcMagn, const float* pSrcPhase, Ipp32fc* pDst,
                               std::int32_t len);

// ---- Exponential and logarithm ----

/// exp(x), infinity on overflow. At most 1 ULP.
IppStatus ippsExp_32f(const float* pSrc, float* pDst, std::int32_t len);
/// Natural logarithm. At most 1 ULP. Zeros give minus infinity and negatives a NaN; the status is
/// ippStsLnZeroArg if there was a zero, else ippStsLnNegArg if there was a negative.
IppStatus ippsLn_32f(const float* pSrc, float* pDst, std::int32_t len);

// ---- Thresholds, exact ----

/// (level <= x) ? x : value, so that a NaN becomes `value`.
IppStatus ippsThreshold_LTVal_32f(const float* pSrc, float* pDst, std::int32_t len, float level,
                                  float value);
/// (level < x) ? value : x, so that a NaN passes through.
IppStatus ippsThreshold_GTVal_32f(const float* pSrc, float* pDst, std::int32_t len, float level,
                                  float value);
/// `valueLT` below `levelLT`, else `valueGT` above `levelGT`, else x. A NaN becomes `valueLT`.
/// ippStsThresholdErr, and nothing written, if `levelLT` is above `levelGT`.
IppStatus ippsThreshold_LTValGTVal_32f(const float* pSrc, float* pDst, std::int32_t len,
                                       float levelLT, float valueLT, float levelGT, float valueGT);

// ---- Reductions ----
// The order of summation is not fixed. Error at most len epsilons times the sum of the absolute
// values of the terms (of the sum of squares, for the norm).

/// sqrt(sum of x * x), summed in float.
IppStatus ippsNorm_L2_32f(const float* pSrc, std::int32_t len, float* pResult);
/// Sum of the products, in float.
IppStatus ippsDotProd_32f(const float* pSrc1, const float* pSrc2, std::int32_t len, float* pResult);
/// Sum of the products, in double.
IppStatus ippsDotProd_64f(const double* pSrc1, const double* pSrc2, std::int32_t len,
                          double* pResult);

// ---- Conversion, exact ----

IppStatus ippsConvert_32f64f(const float* pSrc, double* pDst, std::int32_t len);
/// Clamps to the largest float of either sign, infinities included, then rounds. A NaN stays one.
IppStatus ippsConvert_64f32f(const double* pSrc, float* pDst, std::int32_t len);

// ---- Real transform ----
//
// Length N = 2^order. The spectrum is in the CCS layout: N / 2 + 1 interleaved complex bins, bin k
// at floats 2k and 2k + 1, with zero imaginary parts in bins 0 and N / 2. A length of 1 has one
// bin.
//   Forward: X[k] = sum over n of x[n] * exp(-2 pi j k n / N).
//   Inverse: the same sum over the Hermitian extension of the bins, with exp(+2 pi j k n / N).
// Error of either direction, as the Euclidean norm of the difference relative to that of the
// result: at most 1 + order / 8 float epsilons.

/// A plan, inside the memory that its owner handed to ippsFFTInit_R_32f; read-only from then on.
struct IppsFFTSpec_R_32f;

/// Who divides: 1 the forward transform by N, 2 the inverse by N, 4 both by sqrt(N), 8 neither.
inline constexpr std::int32_t ippFftDivideForward = 1;
inline constexpr std::int32_t ippFftDivideInverse = 2;
inline constexpr std::int32_t ippFftDivideBoth = 4;
inline constexpr std::int32_t ippFftDivideNeither = 8;
/// Favour speed. A hint changes no result.
inline constexpr std::int32_t ippHintFast = 1;

/// The bytes that a plan needs: of its own, during set-up, and as scratch of each transform. Any of
/// them may be 0. ippStsFftOrderErr unless 0 <= order <= 29, ippStsFftFlagErr for another flag.
IppStatus ippsFFTGetSize_R_32f(std::int32_t order, std::int32_t flag, std::int32_t hint,
                               std::int32_t* pSpecSize, std::int32_t* pInitSize,
                               std::int32_t* pWorkSize);

/// Builds a plan inside `pSpecMem`, which may lie on any boundary and must outlive it. `pInitBuf`
/// is used during the call only; it may be null below order 11.
IppStatus ippsFFTInit_R_32f(IppsFFTSpec_R_32f** ppSpec, std::int32_t order, std::int32_t flag,
                            std::int32_t hint, unsigned char* pSpecMem, unsigned char* pInitBuf);

/// Reads N floats and writes N + 2 (2 for a length of 1). Inverse: ippsFFTInv_CCSToR_32f.
/// The arrays are different ones. `pWork` may be null only if its reported size is 0.
/// ippStsContextMatchErr if `pSpec` is no plan of a real transform.
IppStatus ippsFFTFwd_RToCCS_32f(const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec,
                                unsigned char* pWork);

/// Reads N + 2 floats and writes N; the imaginary parts of bins 0 and N / 2 are not read. Otherwise
/// as ippsFFTFwd_RToCCS_32f.
IppStatus ippsFFTInv_CCSToR_32f(const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec,
                                unsigned char* pWork);

}  // namespace vorun
