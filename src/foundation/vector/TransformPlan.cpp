#include "foundation/vector/TransformPlan.h"

#include <cmath>
#include <limits>
#include <new>

#include "foundation/vector/RootTable.h"

namespace vorun {

namespace {

using transform::RootTable;

constexpr std::int64_t factorBytes = sizeof(Ipp32fc);
// The factors begin behind the record, on a 64-byte boundary.
constexpr std::int64_t recordBytes = 64;
static_assert(sizeof(IppsFFTSpec_R_32f) <= recordBytes);

constexpr std::int64_t passFactorCount(std::int32_t order) {
    std::int64_t count = 0;
    if (order > 0) {
        for (std::int64_t n = std::int64_t{1} << transform::passOrder(order); n >= 4; n /= 4) {
            count += n / 4 * 3;
        }
    }
    return count;
}

constexpr std::int64_t pairFactorCount(std::int32_t order) {
    return order < 2 ? 0 : (std::int64_t{1} << (order - 2)) + 1;
}

constexpr std::int64_t specBytes(std::int32_t order) {
    return transform::alignmentSlack + recordBytes +
           (passFactorCount(order) + pairFactorCount(order)) * factorBytes;
}

constexpr std::int64_t initBytes(std::int32_t order) {
    if (order < transform::initBufferFromOrder) {
        return 0;
    }
    return transform::alignmentSlack +
           RootTable::storedCount(order) * std::int64_t{sizeof(RootTable::Point)};
}

constexpr std::int64_t workBytes(std::int32_t order) {
    const std::int64_t count = transform::workCount(order);
    return count == 0 ? 0 : transform::alignmentSlack + count * factorBytes;
}

// The allocator adds 72 bytes to each of them.
constexpr std::int64_t largestBlock = std::numeric_limits<std::int32_t>::max() - 72;
static_assert(specBytes(transform::largestOrder) <= largestBlock);
static_assert(initBytes(transform::largestOrder) <= largestBlock);
static_assert(workBytes(transform::largestOrder) <= largestBlock);

IppStatus checkKind(std::int32_t order, std::int32_t flag) {
    if (order < 0 || order > transform::largestOrder) {
        return ippStsFftOrderErr;
    }
    switch (flag) {
        case ippFftDivideForward:
        case ippFftDivideInverse:
        case ippFftDivideBoth:
        case ippFftDivideNeither:
            return ippStsNoErr;
        default:
            return ippStsFftFlagErr;
    }
}

void setScales(IppsFFTSpec_R_32f& plan, std::int32_t flag) {
    const double length = std::ldexp(1.0, plan.order);
    const auto inverseLength = static_cast<float>(1.0 / length);
    const auto inverseRoot = static_cast<float>(1.0 / std::sqrt(length));
    plan.forwardScale = flag == ippFftDivideForward ? inverseLength : 1.0f;
    plan.inverseScale = flag == ippFftDivideInverse ? inverseLength : 1.0f;
    if (flag == ippFftDivideBoth) {
        plan.forwardScale = inverseRoot;
        plan.inverseScale = inverseRoot;
    }
}

void fillFactors(std::int32_t order, const RootTable& roots, Ipp32fc* passFactors,
                 Ipp32fc* pairFactors) {
    if (order == 0) {
        return;
    }
    const std::int64_t length = std::int64_t{1} << order;
    for (std::int64_t n = std::int64_t{1} << transform::passOrder(order); n >= 4; n /= 4) {
        const std::int64_t step = length / n;
        for (std::int64_t p = 0; p < n / 4; ++p) {
            for (std::int64_t power = 1; power <= 3; ++power) {
                *passFactors++ = roots.root(power * p * step);
            }
        }
    }
    for (std::int64_t k = 0; k < pairFactorCount(order); ++k) {
        pairFactors[k] = roots.root(k);
    }
}

}  // namespace

IppStatus ippsFFTGetSize_R_32f(std::int32_t order, std::int32_t flag, std::int32_t /*hint*/,
                               std::int32_t* pSpecSize, std::int32_t* pInitSize,
                               std::int32_t* pWorkSize) {
    if (pSpecSize == nullptr || pInitSize == nullptr || pWorkSize == nullptr) {
        return ippStsNullPtrErr;
    }
    const IppStatus status = checkKind(order, flag);
    if (status == ippStsNoErr) {
        *pSpecSize = static_cast<std::int32_t>(specBytes(order));
        *pInitSize = static_cast<std::int32_t>(initBytes(order));
        *pWorkSize = static_cast<std::int32_t>(workBytes(order));
    }
    return status;
}

IppStatus ippsFFTInit_R_32f(IppsFFTSpec_R_32f** ppSpec, std::int32_t order, std::int32_t flag,
                            std::int32_t /*hint*/, unsigned char* pSpecMem,
                            unsigned char* pInitBuf) {
    if (ppSpec == nullptr || pSpecMem == nullptr) {
        return ippStsNullPtrErr;
    }
    const IppStatus status = checkKind(order, flag);
    if (status != ippStsNoErr) {
        return status;
    }
    RootTable::Point* eighth = nullptr;
    if (order >= transform::initBufferFromOrder) {
        if (pInitBuf == nullptr) {
            return ippStsNullPtrErr;
        }
        eighth = new (transform::alignUp(pInitBuf))
            RootTable::Point[static_cast<std::size_t>(RootTable::storedCount(order))];
    }

    unsigned char* const start = transform::alignUp(pSpecMem);
    const std::int64_t factorCount = passFactorCount(order) + pairFactorCount(order);
    auto* const factors = new (start + recordBytes) Ipp32fc[static_cast<std::size_t>(factorCount)];
    Ipp32fc* const pairFactors = factors + passFactorCount(order);
    auto* const plan = new (start) IppsFFTSpec_R_32f{};
    plan->magic = transform::planMagic;
    plan->order = order;
    plan->passFactors = factors;
    plan->pairFactors = pairFactors;
    setScales(*plan, flag);
    fillFactors(order, RootTable(order, eighth), factors, pairFactors);
    *ppSpec = plan;
    return ippStsNoErr;
}

IppStatus checkTransform(const float* pSrc, const float* pDst, const IppsFFTSpec_R_32f* pSpec,
                         const unsigned char* pWork) {
    if (pSrc == nullptr || pDst == nullptr || pSpec == nullptr) {
        return ippStsNullPtrErr;
    }
    if (pSpec->magic != transform::planMagic) {
        return ippStsContextMatchErr;
    }
    if (pWork == nullptr && transform::workCount(pSpec->order) > 0) {
        return ippStsNullPtrErr;
    }
    return ippStsNoErr;
}

}  // namespace vorun
