#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "FramingTestSupport.h"

namespace vorun {
namespace {

using test::Channel;
using test::Channels;
using test::FrameSizes;
using test::HookedProcessor;
using test::noise;
using test::stream;

class SpectralStream : public testing::TestWithParam<FrameSizes> {};

INSTANTIATE_TEST_SUITE_P(Sizes, SpectralStream,
                         testing::Values(FrameSizes{64, 64, 32}, FrameSizes{64, 64, 16},
                                         FrameSizes{64, 48, 12}, FrameSizes{64, 50, 25},
                                         FrameSizes{16, 15, 5}, FrameSizes{8, 2, 1},
                                         FrameSizes{8, 8, 1}, FrameSizes{4, 4, 1},
                                         FrameSizes{512, 480, 240}));

TEST_P(SpectralStream, OutputIsTheSameBitsForEveryPartition) {
    const FrameSizes sizes = GetParam();
    const Channels input = noise(2, 2503, 31);
    HookedProcessor whole(2, sizes);
    const Channels expected = stream(whole, input, {2503});
    ASSERT_FALSE(expected[0].empty());
    const auto hop = static_cast<std::size_t>(sizes.hop);
    const auto window = static_cast<std::size_t>(sizes.window);
    std::vector<std::vector<std::size_t>> partitions = {
        {1},          {2},       {3},          {5},       {7},          {13},
        {31},         {127},     {hop},        {hop + 1}, {window - 1}, {window},
        {window + 1}, {2 * hop}, {1, 0, 9, 0}, {997},     {2502},       {3, 1000, 1}};
    if (hop > 1) {
        partitions.push_back({hop - 1});
    }
    for (const auto& blocks : partitions) {
        HookedProcessor processor(2, sizes);
        EXPECT_EQ(stream(processor, input, blocks), expected) << "blocks of " << blocks.front();
    }
}

TEST_P(SpectralStream, OutputIsTheSameBitsForRandomPartitions) {
    const Channels input = noise(1, 1500, 32);
    HookedProcessor whole(1, GetParam());
    const Channels expected = stream(whole, input, {1500});
    std::mt19937 generator(33);
    for (int round = 0; round < 10; ++round) {
        std::vector<std::size_t> blocks(50);
        for (std::size_t& block : blocks) {
            block = std::uniform_int_distribution<std::size_t>(0, 90)(generator);
        }
        blocks.front() = 1;
        HookedProcessor processor(1, GetParam());
        EXPECT_EQ(stream(processor, input, blocks), expected);
    }
}

TEST_P(SpectralStream, CountsFollowTheFrames) {
    const FrameSizes sizes = GetParam();
    HookedProcessor processor(1, sizes);
    int given = 0;
    int taken = 0;
    for (int i = 0; i < 700; ++i) {
        const int count = i % 4;
        given += count;
        taken += processor.process(Signal32(1, count, 0.25F)).length();
        const int completeHops = given / sizes.hop;
        const int hops = std::max(0, completeHops - sizes.shift() - 1);
        ASSERT_EQ(taken, hops * sizes.hop) << "after " << given;
    }
}

TEST_P(SpectralStream, LatencyIsWhatTheOutputTrailsBy) {
    const FrameSizes sizes = GetParam();
    for (const int block : {1, 2, 7, sizes.hop, 2 * sizes.hop, sizes.hop + 1, 3 * sizes.hop}) {
        HookedProcessor processor(1, sizes);
        int trail = 0;
        int worst = 0;
        const int runIn = 3 * sizes.window;
        for (int given = 0; given < runIn + block * sizes.hop * 2;) {
            given += block;
            trail += block - processor.process(Signal32(1, block, 0.0F)).length();
            worst = std::max(worst, trail);
        }
        const int latency = processor.getLatency(block);
        if (block % sizes.hop == 0) {
            EXPECT_EQ(worst, latency) << block;
        } else {
            // The next sample at the latest completes the hop that is waited for.
            EXPECT_LT(worst, latency) << block;
            EXPECT_GT(worst, latency - sizes.hop) << block;
        }
        if (block == 1 && sizes.hop > 1) {
            EXPECT_EQ(worst, latency - 1);
        }
    }
}

TEST_P(SpectralStream, ResetGivesTheSameBitsAsANewProcessor) {
    const Channels input = noise(2, 1203, 34);
    HookedProcessor fresh(2, GetParam());
    const Channels expected = stream(fresh, input, {101});
    HookedProcessor used(2, GetParam());
    stream(used, noise(2, 777, 35), {50});
    used.reset();
    EXPECT_EQ(stream(used, input, {101}), expected);
}

TEST_P(SpectralStream, NanDoesNotOutliveAReset) {
    const Channels input = noise(1, 900, 36);
    HookedProcessor fresh(1, GetParam());
    const Channels expected = stream(fresh, input, {900});
    for (const float poison :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        HookedProcessor used(1, GetParam());
        used.process(Signal32(1, 555, poison));
        used.reset();
        EXPECT_EQ(stream(used, input, {900}), expected);
    }
}

TEST(SpectralFraming, NanStaysInTheFramesThatHoldIt) {
    Channels input = noise(1, 160, 37);
    input[0][20] = std::numeric_limits<float>::quiet_NaN();
    HookedProcessor processor(1, {16, 16, 8});
    const Channels output = stream(processor, input, {160});
    for (std::size_t i = 0; i < output[0].size(); ++i) {
        // Frames 2 and 3 hold sample 20; hops 1 to 3 are cut out of them.
        if (i < 8 || i >= 32) {
            ASSERT_NEAR(output[0][i], input[0][i], 1e-5F) << i;
        } else {
            ASSERT_TRUE(std::isnan(output[0][i])) << i;
        }
    }
}

TEST(SpectralFraming, AHostMayOverwriteItsBlockAfterPushingIt) {
    const Channels input = noise(1, 300, 38);
    HookedProcessor fresh(1, {16, 16, 8});
    const Channels expected = stream(fresh, input, {5});
    HookedProcessor processor(1, {16, 16, 8});
    Signal32 block(1, 5);
    Channels output;
    for (std::size_t start = 0; start < 300; start += 5) {
        std::copy_n(input[0].begin() + static_cast<std::ptrdiff_t>(start), 5, block.channelData(0));
        test::append(output, processor.process(block));
        block.fill(1e9F);
    }
    EXPECT_EQ(output, expected);
}

TEST(SpectralFraming, PushesOfHalfAWindowGiveTheFirstHopWithTheSecondPush) {
    for (const int hop : {2, 8, 512}) {
        const Channels input = noise(2, static_cast<std::size_t>(2 * hop), 39);
        const auto half = static_cast<std::size_t>(hop);
        HookedProcessor processor(2, {2 * hop, 2 * hop, hop});
        EXPECT_EQ(processor.inputQueue.pendingSamples(), hop);
        const Signal32 first = processor.process(test::toSignal(input, 0, half));
        EXPECT_EQ(first.length(), 0);
        EXPECT_EQ(first.channels(), 2);
        EXPECT_EQ(processor.frames.size(), 1U);
        const Signal32 second = processor.process(test::toSignal(input, half, half));
        ASSERT_EQ(second.length(), hop);
        for (int i = 0; i < hop; ++i) {
            EXPECT_NEAR(second.readData(1)[i], input[1][static_cast<std::size_t>(i)], 1e-5F);
        }
        EXPECT_EQ(processor.getLatency(hop), hop);
        EXPECT_EQ(processor.getLatency(1), 2 * hop);
    }
}

TEST(SpectralFraming, ABlockShorterThanTheNextFrameNeedsGivesASignalOfNoLength) {
    HookedProcessor processor(3, {16, 16, 8});
    const Signal32 none = processor.process(Signal32(3, 7, 0.0F));
    EXPECT_EQ(none.length(), 0);
    EXPECT_EQ(none.channels(), 3);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 15);
    EXPECT_EQ(processor.process(Signal32(3, 0)).channels(), 3);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 15);
}

TEST(SpectralFraming, OneLongBlockGivesAllItsHopsInOneSignal) {
    HookedProcessor processor(1, {16, 16, 8});
    EXPECT_EQ(processor.process(Signal32(1, 805, 0.0F)).length(), 99 * 8);
    EXPECT_EQ(processor.frames.size(), 1U);
}

TEST(SpectralFraming, PushesByHandleCopyNoSamples) {
    HookedProcessor processor(1, {64, 64, 32});
    const Signal32 block(1, 10, 0.5F);
    processor.process(block);
    EXPECT_EQ(block.useCount(), 2);
}

}  // namespace
}  // namespace vorun
