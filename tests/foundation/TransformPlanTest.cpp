#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <vector>

#include "GuardedArray.h"
#include "GuardedPlan.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

TEST(TransformPlan, SizesAreRefusedForOrdersOutsideTheirRange) {
    std::int32_t spec = -5;
    std::int32_t init = -5;
    std::int32_t work = -5;
    for (const std::int32_t order : {30, -1, 31, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &spec, &init, &work), ippStsFftOrderErr);
    }
    for (const std::int32_t flag : {3, 0, -8, 16, 9}) {
        EXPECT_EQ(ippsFFTGetSize_R_32f(5, flag, 1, &spec, &init, &work), ippStsFftFlagErr);
    }
    EXPECT_TRUE(spec == -5 && init == -5 && work == -5);
}

TEST(TransformPlan, SizesOfEveryOrderFitTheAllocator) {
    for (std::int32_t order = 0; order <= 29; ++order) {
        std::int32_t spec = 0;
        std::int32_t init = 0;
        std::int32_t work = 0;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &spec, &init, &work), 0);
        for (const std::int32_t size : {spec, init, work}) {
            EXPECT_GE(size, 0) << "order " << order;
            EXPECT_LE(size, std::numeric_limits<std::int32_t>::max() - 72) << "order " << order;
        }
        EXPECT_EQ(init > 0, order >= 11);
    }
}

TEST(TransformPlan, TablesOfTheLongestTransformsAreSmall) {
    for (std::int32_t order = 20; order <= 29; ++order) {
        std::int32_t spec = 0;
        std::int32_t init = 0;
        std::int32_t work = 0;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &spec, &init, &work), 0);
        EXPECT_LE(spec, 1 << (order / 2 + 6)) << "order " << order;
    }
}

TEST(TransformPlan, NullPointersOfTheSetUpAreRefused) {
    std::int32_t size = 0;
    EXPECT_EQ(ippsFFTGetSize_R_32f(5, 8, 1, nullptr, &size, &size), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(5, 8, 1, &size, nullptr, &size), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(5, 8, 1, &size, &size, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTGetSize_R_32f(99, 3, 1, &size, &size, nullptr), ippStsNullPtrErr);
    unsigned char memory[4096];
    IppsFFTSpec_R_32f* spec = nullptr;
    EXPECT_EQ(ippsFFTInit_R_32f(nullptr, 5, 8, 1, memory, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&spec, 5, 8, 1, nullptr, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&spec, 30, 8, 1, memory, nullptr), ippStsFftOrderErr);
    EXPECT_EQ(ippsFFTInit_R_32f(&spec, 5, 3, 1, memory, nullptr), ippStsFftFlagErr);
    EXPECT_EQ(spec, nullptr);
}

TEST(TransformPlan, InitBufferIsRequiredFromOrder11Upward) {
    for (const std::int32_t order : {10, 11, 29}) {
        std::int32_t specSize = 0;
        std::int32_t initSize = 0;
        std::int32_t workSize = 0;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &specSize, &initSize, &workSize), 0);
        std::vector<unsigned char> memory(static_cast<std::size_t>(specSize));
        IppsFFTSpec_R_32f* spec = nullptr;
        EXPECT_EQ(ippsFFTInit_R_32f(&spec, order, 8, 1, memory.data(), nullptr),
                  order >= 11 ? ippStsNullPtrErr : ippStsNoErr);
        EXPECT_EQ(spec == nullptr, order >= 11);
    }
}

TEST(TransformPlan, PlanIsAlignedTo64BytesInsideItsMemory) {
    for (std::size_t offset = 0; offset < 70; ++offset) {
        const GuardedPlan plan(3, 8, offset);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plan.get()) % 64, 0U);
    }
}

TEST(TransformPlan, HintChangesNoSize) {
    std::int32_t fast[3] = {};
    std::int32_t other[3] = {};
    ippsFFTGetSize_R_32f(12, 8, 1, &fast[0], &fast[1], &fast[2]);
    EXPECT_EQ(ippsFFTGetSize_R_32f(12, 8, 77, &other[0], &other[1], &other[2]), 0);
    EXPECT_TRUE(std::equal(std::begin(fast), std::end(fast), std::begin(other)));
}

TEST(TransformPlan, NullAndForeignPlansAreRefusedAndNothingIsWritten) {
    GuardedPlan plan(4);
    GuardedArray<float> source(18);
    GuardedArray<float> target(18);
    std::fill(source.begin(), source.end(), 1.0F);
    alignas(64) unsigned char foreign[4096] = {};
    const auto* const wrong = reinterpret_cast<const IppsFFTSpec_R_32f*>(foreign);
    for (const auto operation : {&ippsFFTFwd_RToCCS_32f, &ippsFFTInv_CCSToR_32f}) {
        EXPECT_EQ(operation(nullptr, target.data(), plan.get(), plan.work()), ippStsNullPtrErr);
        EXPECT_EQ(operation(source.data(), nullptr, plan.get(), plan.work()), ippStsNullPtrErr);
        EXPECT_EQ(operation(source.data(), target.data(), nullptr, plan.work()), ippStsNullPtrErr);
        EXPECT_EQ(operation(source.data(), target.data(), plan.get(), nullptr), ippStsNullPtrErr);
        EXPECT_EQ(operation(source.data(), target.data(), wrong, plan.work()),
                  ippStsContextMatchErr);
    }
    EXPECT_TRUE(target.isUntouched());
}

}  // namespace
}  // namespace vorun
