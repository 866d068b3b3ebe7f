#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "foundation/vector/VectorDispatch.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

class VectorDispatch : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(dispatch::forceIndex(dispatch::undetectedIndex)); }
    void TearDown() override { dispatch::forceIndex(dispatch::undetectedIndex); }

    static float sumOfOneAndTwo() {
        const float one = 1.0F;
        const float two = 2.0F;
        float sum = 0.0F;
        EXPECT_EQ(ippsAdd_32f(&one, &two, &sum, 1), 0);
        return sum;
    }
};

TEST_F(VectorDispatch, FirstOperationDetectsTheIndexAndStillDoesItsWork) {
    EXPECT_EQ(dispatch::currentIndex(), -1);
    EXPECT_EQ(sumOfOneAndTwo(), 3.0F);
    EXPECT_EQ(dispatch::currentIndex(), dispatch::largestIndex());
}

TEST_F(VectorDispatch, LargestIndexIsThatOfTheProcessor) {
    EXPECT_EQ(dispatch::largestIndex(), dispatch::dispatchIndexFor(dispatch::detectCpuFeatures()));
}

TEST_F(VectorDispatch, RefusedArgumentsDoNotReachTheFirstUse) {
    EXPECT_EQ(ippsZero_32f(nullptr, 1), ippStsNullPtrErr);
    EXPECT_EQ(dispatch::currentIndex(), -1);
}

TEST_F(VectorDispatch, ForcedIndexStaysInForce) {
    for (int index = 0; index <= dispatch::largestIndex(); ++index) {
        EXPECT_TRUE(dispatch::forceIndex(index));
        EXPECT_EQ(sumOfOneAndTwo(), 3.0F);
        EXPECT_EQ(dispatch::currentIndex(), index);
    }
}

TEST_F(VectorDispatch, IndexThatTheProcessorLacksIsRefusedWithoutAChange) {
    ASSERT_TRUE(dispatch::forceIndex(0));
    for (int index = dispatch::largestIndex() + 1; index <= dispatch::indexCount; ++index) {
        EXPECT_FALSE(dispatch::forceIndex(index));
    }
    EXPECT_FALSE(dispatch::forceIndex(-2));
    EXPECT_EQ(dispatch::currentIndex(), 0);
}

TEST_F(VectorDispatch, EveryIndexHasANamedVariant) {
    for (int index = 0; index < dispatch::indexCount; ++index) {
        EXPECT_FALSE(std::string(dispatch::variantName(index)).empty());
    }
}

// For the thread sanitizer: several threads meet the undetected index at once.
TEST_F(VectorDispatch, FirstUseOnSeveralThreadsAtOnceIsSafe) {
    for (int round = 0; round < 20; ++round) {
        dispatch::forceIndex(dispatch::undetectedIndex);
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&go] {
                while (!go) {
                    std::this_thread::yield();
                }
                EXPECT_EQ(sumOfOneAndTwo(), 3.0F);
            });
        }
        go = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(dispatch::currentIndex(), dispatch::largestIndex());
    }
}

}  // namespace
}  // namespace vorun
