#include "foundation/vector/TransformPlan.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <new>

#include "foundation/vector/RootTable.h"

namespace vorun {

namespace {

using transform::RootTable;

constexpr std::int64_t floatBytes = sizeof(float);
// The tables begin behind the record, each on a 64-byte boundary.
constexpr std::int64_t recordBytes = 64;
static_assert(sizeof(IppsFFTSpec_R_32f) <= recordBytes);

constexpr std::int64_t wholeLines(std::int64_t floats) {
    return (floats + 15) / 16 * 16;
}

// The longest circle of the plan.
constexpr std::int64_t largestCircle(std::int32_t order) {
    return transform::isLong(order) ? 2 * transform::matrixColumns(order)
                                    : transform::pairCount(order) / 4;
}

constexpr std::int64_t circleFloats(std::int32_t order) {
    return transform::hasPassTables(order) ? 4 * largestCircle(order) : 0;
}

constexpr bool hasLastFactors(std::int32_t order) {
    return transform::hasPassTables(order) && !transform::isLong(order);
}

constexpr std::int64_t lastFactorFloats(std::int32_t order) {
    std::int64_t floats = 0;
    if (hasLastFactors(order)) {
        const std::int64_t columns = transform::pairCount(order) / 4;
        for (std::int64_t column = 0; column < columns; column += transform::tileColumns) {
            floats += 2 * transform::tileRows(order, column) * transform::tileColumns;
        }
    }
    return floats;
}

constexpr std::int64_t pairFactorCount(std::int32_t order) {
    if (transform::isLong(order)) {
        return transform::matrixRows(order);
    }
    return order < 2 ? 0 : (std::int64_t{1} << (order - 2)) + 1;
}

constexpr std::int64_t tableFloats(std::int32_t order) {
    return circleFloats(order) + lastFactorFloats(order) + 2 * wholeLines(pairFactorCount(order));
}

constexpr std::int64_t specBytes(std::int32_t order) {
    return transform::alignmentSlack + recordBytes + tableFloats(order) * floatBytes;
}

constexpr std::int64_t initBytes(std::int32_t order) {
    if (order < transform::initBufferFromOrder) {
        return 0;
    }
    // A long transform has so few roots that each is computed when it is asked for; a size of 0
    // would give no buffer where one is required.
    const std::int64_t points = transform::isLong(order) ? 1 : RootTable::storedCount(order);
    return transform::alignmentSlack + points * std::int64_t{sizeof(RootTable::Point)};
}

constexpr std::int64_t workBytes(std::int32_t order) {
    const std::int64_t count = transform::workCount(order);
    return count == 0 ? 0 : transform::alignmentSlack + count * floatBytes;
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

void fillCircles(std::int32_t order, const RootTable& roots, float* circles) {
    const std::int64_t length = std::int64_t{1} << order;
    circles[0] = 0.0f;
    circles[1] = 0.0f;
    for (std::int64_t n = 1; n <= largestCircle(order); n *= 2) {
        for (std::int64_t k = 0; k < n; ++k) {
            const Ipp32fc root = roots.root(length / n * k);
            circles[2 * (n + k)] = root.re;
            circles[2 * (n + k) + 1] = root.im;
        }
    }
}

void fillLastFactors(std::int32_t order, const RootTable& roots, float* factors) {
    constexpr std::int64_t columns = transform::tileColumns;
    const std::int64_t count = transform::pairCount(order);
    for (std::int64_t first = 0; first < count / 4; first += columns) {
        for (std::int64_t i = 1; i <= transform::tileRows(order, first); ++i) {
            for (std::int64_t column = 0; column < columns; ++column) {
                // The M-th roots are every other of the N-th.
                const Ipp32fc root = roots.root((first + column) * i % count * 2);
                factors[column] = root.re;
                factors[columns + column] = root.im;
            }
            factors += 2 * columns;
        }
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
        if (!transform::isLong(order)) {
            eighth = new (transform::alignUp(pInitBuf))
                RootTable::Point[static_cast<std::size_t>(RootTable::storedCount(order))];
        }
    }

    unsigned char* const start = transform::alignUp(pSpecMem);
    auto* const circles =
        new (start + recordBytes) float[static_cast<std::size_t>(tableFloats(order))];
    float* const lastFactors = circles + circleFloats(order);
    float* const pairReal = lastFactors + lastFactorFloats(order);
    float* const pairImaginary = pairReal + wholeLines(pairFactorCount(order));
    auto* const plan = new (start) IppsFFTSpec_R_32f{};
    plan->magic = transform::planMagic;
    plan->order = order;
    plan->circles = circles;
    plan->lastFactors = lastFactors;
    plan->pairReal = pairReal;
    plan->pairImaginary = pairImaginary;
    setScales(*plan, flag);
    const RootTable roots(order, eighth);
    if (circleFloats(order) > 0) {
        fillCircles(order, roots, circles);
    }
    if (hasLastFactors(order)) {
        fillLastFactors(order, roots, lastFactors);
    }
    for (std::int64_t k = 0; k < pairFactorCount(order); ++k) {
        const Ipp32fc factor = roots.root(k);
        pairReal[k] = factor.re;
        pairImaginary[k] = factor.im;
    }
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
