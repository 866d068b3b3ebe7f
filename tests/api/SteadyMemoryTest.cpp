#include <cstddef>
#include <gtest/gtest.h>
#include <vector>

#include "api/AllocationMeter.h"
#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr int frames = 10000;

class SteadyMemory : public testing::TestWithParam<int> {
  protected:
    void SetUp() override {
        if (!meter::isAvailable()) {
            GTEST_SKIP() << "nothing counts the heap here";
        }
    }
};

TEST_P(SteadyMemory, OfAProcessorIsFlatOverTenThousandFrames) {
    const int hop = GetParam();
    const TemporaryModel file(livelyMasks(frameHeader(16, 16, hop, 2, 2, 2), 3, 3));
    ApiProcessor processor(file.path(), 2, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar block = whiteNoise(2, hop, 4);
    Planar target = silence(2, hop);
    std::size_t settled = 0;
    for (int i = 0; i < frames; ++i) {
        processor.push(block);
        if (processor.pending() >= hop) {
            ASSERT_TRUE(processor.tryPull(target, hop));
        }
        if (i == 100) {
            settled = meter::liveBytes();
        }
    }
    EXPECT_LE(meter::liveBytes(), settled + 512);
}

INSTANTIATE_TEST_SUITE_P(BothWindowSchemes, SteadyMemory, testing::Values(8, 4));

TEST(SteadyTensorMemory, IsFlatOverTenThousandFrames) {
    if (!meter::isAvailable()) {
        GTEST_SKIP() << "nothing counts the heap here";
    }
    const TemporaryModel file(livelyMasks(frameHeader(16, 16, 8), 3, 3));
    ApiModel model(file.path());
    const TensorValues input{{1, 9, 1}, std::vector<float>(9, 0.5F)};
    std::size_t settled = 0;
    for (int i = 0; i < frames; ++i) {
        model.add(input);
        if (i == 100) {
            settled = meter::liveBytes();
        }
    }
    EXPECT_LE(meter::liveBytes(), settled + 512);
}

TEST(ReleasedMemory, IsAllThatWasTaken) {
    if (!meter::isAvailable()) {
        GTEST_SKIP() << "nothing counts the heap here";
    }
    const TemporaryModel file(livelyMasks(frameHeader(16, 16, 8, 2, 2, 2), 3, 3));
    const Planar block = whiteNoise(2, 100, 4);
    const auto useOnce = [&] {
        ApiProcessor processor(file.path(), 2, 48000.0);
        ApiProcessor separator(std::vector{file.path(), file.path()}, 2, 48000.0);
        ApiModel model(file.path());
        processor.push(block);
        separator.push(block);
        model.run({{1, 9, 2}, std::vector<float>(18, 0.5F)});
    };
    useOnce();
    const std::size_t before = meter::liveBytes();
    for (int i = 0; i < 50; ++i) {
        useOnce();
    }
    EXPECT_LE(meter::liveBytes(), before + 512);
}

TEST(DroppedStreams, GrowOnlyTheirPendingQueueAndAResetFreesIt) {
    if (!meter::isAvailable()) {
        GTEST_SKIP() << "nothing counts the heap here";
    }
    const TemporaryModel file(livelyMasks(frameHeader(16, 16, 8), 3));
    ApiProcessor processor(file.path(), 1, 48000.0);
    const Planar block = whiteNoise(1, 8, 4);
    for (int i = 0; i < 10; ++i) {
        processor.push(block);
    }
    processor.reset();
    const std::size_t empty = meter::liveBytes();
    for (int i = 0; i < 5000; ++i) {
        processor.push(block);
    }
    EXPECT_GT(meter::liveBytes(), empty + 5000 * 8 * sizeof(float));
    processor.reset();
    EXPECT_LE(meter::liveBytes(), empty + 4096);
}

}  // namespace
}  // namespace vorun::apitest
