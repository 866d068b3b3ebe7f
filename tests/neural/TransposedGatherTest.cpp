#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/layers/TransposedGather.h"

namespace vorun {
namespace {

using test::makeTensor;
using testing::ElementsAre;

using Gather = TransposedGather<float>;

/** A kernel one bin high. */
TransposedSizes sizesOf(std::int32_t frames, std::int32_t in, std::int32_t out) {
    TransposedSizes sizes;
    sizes.frames = frames;
    sizes.height = 1;
    sizes.outChannels = out;
    sizes.inChannels = in;
    return sizes;
}

Gather gatherOf(const TransposedSizes& sizes, const std::vector<float>& weights,
                std::int32_t timeStride) {
    const Tensor<float> kernel =
        makeTensor({sizes.frames, sizes.height, sizes.outChannels, sizes.inChannels}, weights);
    return {TransposedWeights<float>(kernel, sizes, Gather::narrowChannels(sizes)), Tensor<float>(),
            sizes, timeStride};
}

TEST(TransposedGather, SuitsFewInputChannelsAndDepthwiseKernels) {
    EXPECT_TRUE(Gather::suits(sizesOf(3, 1, 64), 1, 64));
    EXPECT_TRUE(Gather::suits(sizesOf(3, 16, 2), 1, 2));
    EXPECT_FALSE(Gather::suits(sizesOf(3, 17, 2), 1, 2));
    TransposedSizes depthwise = sizesOf(3, 40, 1);
    depthwise.depthwise = true;
    EXPECT_TRUE(Gather::suits(depthwise, 1, 40));
    EXPECT_FALSE(Gather::suits(depthwise, 1, 41));
}

TEST(TransposedGather, LeavesChannelsThatNoKernelFeedsAndFramesThatNoTapReachesToTheRing) {
    EXPECT_FALSE(Gather::suits(sizesOf(3, 2, 2), 1, 3));
    EXPECT_TRUE(Gather::suits(sizesOf(3, 2, 2), 3, 2));
    EXPECT_FALSE(Gather::suits(sizesOf(3, 2, 2), 4, 2));
}

TEST(TransposedGather, IsActiveFromItsStartAndAfterAReset) {
    Gather gather = gatherOf(sizesOf(2, 1, 1), {1, 10}, 1);
    EXPECT_FALSE(gather.isActive());
    gather.Reset();
    EXPECT_FALSE(gather.isActive());
    gather.Start(20);
    EXPECT_TRUE(gather.isActive());
    gather.Stop();
    EXPECT_FALSE(gather.isActive());
    gather.Reset();
    EXPECT_TRUE(gather.isActive());
    EXPECT_EQ(gather.height(), 20);
}

TEST(TransposedGather, StaysInactiveWhereItsFramesWouldTakeTooMuch) {
    constexpr std::int32_t frames = 128;
    constexpr std::int32_t channels = 16;
    Gather gather =
        gatherOf(sizesOf(frames, channels, 1), std::vector<float>(frames * channels), 1);
    gather.Start(2049);
    EXPECT_FALSE(gather.isActive());
    gather.Start(2048);
    EXPECT_TRUE(gather.isActive());
    gather.Start(0);
    EXPECT_FALSE(gather.isActive());
}

/** Digits tell which frame met which tap. A start for more bins leaves nothing behind. */
TEST(TransposedGather, EachOutputFrameMeetsTheTapsThatReachIt) {
    Gather gather = gatherOf(sizesOf(5, 1, 1), {1, 10, 100, 1000, 10000}, 2);
    gather.Start(16);
    gather.Start(1);
    std::vector<float> released;
    for (const float value : {1.0F, 2.0F, 3.0F, 4.0F}) {
        gather.SetFrame(&value);
        for (const std::int32_t index : {0, 1}) {
            gather.Write(index, &released.emplace_back());
        }
        gather.CompleteFrame();
    }
    EXPECT_THAT(released, ElementsAre(1, 10, 102, 1020, 10203, 2030, 20304, 3040));
}

TEST(TransposedGather, RemembersAsManyFramesAsItsTapsReach) {
    // Few bins are kept as they come, many of them turned round.
    for (const std::int32_t height : {1, 16}) {
        Gather gather = gatherOf(sizesOf(5, 2, 1), std::vector<float>(10), 2);
        gather.Start(height);
        const auto volume = static_cast<std::size_t>(2 * height);
        std::vector<float> frame(volume);
        for (std::int32_t count = 0; count < 5; ++count) {
            EXPECT_EQ(gather.remembered(), std::min(count, 2));
            for (std::size_t i = 0; i < volume; ++i) {
                frame[i] = static_cast<float>(100 * count) + static_cast<float>(i);
            }
            gather.SetFrame(frame.data());
            gather.CompleteFrame();
        }
        std::vector<float> remembered(volume);
        gather.CopyRemembered(1, remembered.data());
        EXPECT_EQ(remembered, frame);
        gather.CopyRemembered(2, remembered.data());
        EXPECT_EQ(remembered.front(), 300.0F);
        EXPECT_EQ(remembered.back(), 300.0F + static_cast<float>(volume - 1));
    }
}

TEST(TransposedGather, AFrameThatWasNotCompletedIsReplaced) {
    Gather gather = gatherOf(sizesOf(2, 1, 1), {1, 10}, 1);
    gather.Start(1);
    for (const float value : {5.0F, 7.0F}) {
        gather.SetFrame(&value);
    }
    gather.CompleteFrame();
    const float next = 1.0F;
    gather.SetFrame(&next);
    float sum = 0.0F;
    gather.Write(0, &sum);
    EXPECT_EQ(sum, 71.0F);
}

}  // namespace
}  // namespace vorun
