// The chains of single operations that the activations stand for, over blocks on the stack.
#include <algorithm>
#include <cstdint>

#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

namespace {

constexpr std::int32_t blockLength = 128;

/// Calls body(source, target, scratch, count) for one block after the other.
template <class Body>
IppStatus inBlocks(const float* source, float* target, std::int32_t len, Body body) {
    float scratch[blockLength];
    float input[blockLength];
    for (std::int32_t i = 0; i < len; i += blockLength) {
        const std::int32_t count = std::min(blockLength, len - i);
        // A copy, since the chains write the target before they have done with the source.
        std::copy_n(source + i, count, input);
        body(input, target + i, scratch, count);
        if (len - i <= blockLength) {
            break;
        }
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus activateLeakyRelu(const float* pSrc, float* pDst, std::int32_t len, float slope) {
    return inBlocks(pSrc, pDst, len, [=](const float* x, float* o, float* s, std::int32_t n) {
        plain::ippsThreshold_LTVal_32f(x, o, n, 0.0f, 0.0f);
        plain::ippsThreshold_GTVal_32f(x, s, n, 0.0f, 0.0f);
        plain::ippsAddProductC_32f(s, slope, o, n);
    });
}

IppStatus activateElu(const float* pSrc, float* pDst, std::int32_t len) {
    return inBlocks(pSrc, pDst, len, [](const float* x, float* o, float* s, std::int32_t n) {
        plain::ippsThreshold_GTVal_32f(x, o, n, 0.0f, 0.0f);
        plain::ippsExp_32f(o, s, n);
        plain::ippsSubC_32f(s, 1.0f, o, n);
        plain::ippsThreshold_LTVal_32f(x, s, n, 0.0f, 0.0f);
        plain::ippsAdd_32f(s, o, o, n);
    });
}

IppStatus activateSigmoid(const float* pSrc, float* pDst, std::int32_t len) {
    return inBlocks(pSrc, pDst, len, [](const float* x, float* o, float* s, std::int32_t n) {
        plain::ippsThreshold_LTValGTVal_32f(x, o, n, -10.0f, -10.0f, 10.0f, 10.0f);
        plain::ippsExp_32f(o, s, n);
        plain::ippsAddC_32f(s, 1.0f, o, n);
        plain::ippsDiv_32f(o, s, o, n);
    });
}

IppStatus activateHardSigmoid(const float* pSrc, float* pDst, std::int32_t len) {
    return inBlocks(pSrc, pDst, len, [](const float* x, float* o, float* s, std::int32_t n) {
        plain::ippsMulC_32f(x, 1.0f / 6.0f, o, n);
        plain::ippsAddC_32f(o, 0.5f, s, n);
        plain::ippsThreshold_LTValGTVal_32f(s, o, n, 0.0f, 0.0f, 1.0f, 1.0f);
    });
}

IppStatus activateSoftplus(const float* pSrc, float* pDst, std::int32_t len) {
    return inBlocks(pSrc, pDst, len, [](const float* x, float* o, float* /*s*/, std::int32_t n) {
        plain::ippsExp_32f(x, o, n);
        plain::ippsAddC_32f(o, 1.0f, o, n);
        plain::ippsLn_32f(o, o, n);
    });
}

}  // namespace vorun::plain
