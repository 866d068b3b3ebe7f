#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/FloatBits.h"
#include "foundation/VectorVariant.h"
#include "neural/Dice.h"
#include "neural/TransposedLayerTest.h"
#include "neural/TransposedRing.h"

// Transposed convolutions of planes that are wide enough to be summed by column, against the
// definition over the ring.

namespace vorun {
namespace {

using test::Dice;
using test::FloatTensor;
using test::TransposedLayerTest;
using test::TransposedRing;
using writer::TransposedConvRecord;

class TransposedColumns : public TransposedLayerTest, public testing::WithParamInterface<int> {
  protected:
    void SetUp() override { forceIndexOrSkip(GetParam()); }
    void TearDown() override { dispatch::forceIndex(dispatch::undetectedIndex); }

    static FloatTensor randomFrame(Dice& dice, std::int32_t height, std::int32_t channels) {
        return test::makeTensor({1, height, channels}, dice.values(height * channels));
    }
    /** Of all these calls. */
    std::vector<std::vector<float>> framesAfter(const std::vector<FloatTensor>& stream) {
        recorder_.values.clear();
        for (const FloatTensor& frame : stream) {
            layer().AddTensor(frame, nullptr);
        }
        return recorder_.values;
    }
    using TransposedLayerTest::framesAfter;

    /** One call of random values; what happens must be what the ring says. */
    void expectRing(TransposedRing& ring, Dice& dice, const test::Shape& shape) {
        FloatTensor input(shape);
        const std::vector<float> values = dice.values(input.volume());
        std::copy(values.begin(), values.end(), input.data());
        std::vector<TransposedRing::Frame> expected;
        bool throws = false;
        try {
            ring.add(input, expected);
        } catch (const std::runtime_error&) {
            throws = true;
        }
        recorder_.values.clear();
        if (throws) {
            EXPECT_THROW(layer().AddTensor(input, nullptr), std::runtime_error);
        } else {
            EXPECT_NO_THROW(layer().AddTensor(input, nullptr));
        }
        ASSERT_EQ(recorder_.values.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            expectFrame(recorder_.values[i], expected[i]);
        }
    }

  private:
    static void expectFrame(const std::vector<float>& actual,
                            const TransposedRing::Frame& expected) {
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t i = 0; i < actual.size(); ++i) {
            ASSERT_LE(std::fabs(static_cast<double>(actual[i]) - expected[i].value),
                      expected[i].singleErrorBound())
                << "value " << i;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(AllIndices, TransposedColumns, testing::Range(0, dispatch::indexCount),
                         nameOfIndex);

std::int32_t outChannelsOf(std::uint32_t seed, Dice& dice) {
    constexpr std::array<std::int32_t, 25> counts = {
        1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 20, 28, 29, 32, 33, 40, 39, 0};
    const std::int32_t count = counts.at(seed % counts.size());
    return count == 0 ? dice.roll(1, 40) : count;
}

TransposedConvRecord randomRecord(std::uint32_t seed) {
    Dice dice(seed);
    TransposedConvRecord record;
    const bool depthwise = dice.roll(0, 5) == 0;
    const std::int32_t in =
        dice.roll(0, 1) == 0 ? dice.roll(depthwise ? 2 : 1, 5) : dice.roll(4, 40);
    const std::int32_t out = depthwise ? 1 : outChannelsOf(seed, dice);
    record.weights.shape = {dice.roll(1, 4), dice.roll(1, 7), out, in};
    record.weights.values =
        dice.values(record.weights.shape[0] * record.weights.shape[1] * out * in);
    // A kernel of one channel stays an ordinary one only in front of one.
    const std::int32_t beyond = out > 1 ? std::max(dice.roll(-3, 2), 0) : 0;
    record.outChannels = static_cast<std::int16_t>((depthwise ? in : out) + beyond);
    if (dice.roll(0, 1) == 0) {
        record.bias = {{record.outChannels}, dice.values(record.outChannels)};
    }
    record.timeStride = static_cast<std::int8_t>(dice.roll(0, 1) == 0 ? 1 : dice.roll(2, 4));
    record.heightStride = static_cast<std::int8_t>(dice.roll(1, 4));
    record.lookahead = static_cast<std::int8_t>(dice.roll(-1, 5));
    return record;
}

std::int32_t randomHeight(Dice& dice) {
    return dice.roll(0, 1) == 0 ? dice.roll(15, 17) : dice.roll(16, 50);
}

TEST_P(TransposedColumns, AreTheSumsOfTheDefinition) {
    for (std::uint32_t seed = 1; seed <= 100 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TransposedConvRecord record = randomRecord(seed);
        load(record);
        TransposedRing ring(record);
        Dice dice(seed);
        const test::Shape shape = {1, randomHeight(dice), record.weights.shape[3]};
        for (int i = 0; i < 7 && !HasFatalFailure(); ++i) {
            expectRing(ring, dice, shape);
        }
    }
}

/** A frame without bins makes the ring serve from there on, until the next reset. */
TEST_P(TransposedColumns, GatheredFramesEqualThoseOfTheRing) {
    for (std::uint32_t seed = 501; seed <= 600 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        TransposedConvRecord record = randomRecord(seed);
        record.lookahead = 0;
        load(record);
        Dice dice(seed);
        const std::int32_t in = record.weights.shape[3];
        const FloatTensor first = randomFrame(dice, dice.roll(15, 50), in);
        FloatTensor silence(first.shape());
        silence.Zero();
        std::vector<FloatTensor> stream;
        for (int i = 0; i < 9; ++i) {
            stream.push_back(i == 5 ? FloatTensor({1, 0, in})
                                    : randomFrame(dice, first.dim(1), in));
        }
        layer().AddTensor(first, nullptr);
        layer().AddTensor(FloatTensor({1, 0, in}), nullptr);
        for (int i = 0; i < 6; ++i) {
            layer().AddTensor(silence, nullptr);
        }
        const auto ofTheRing = framesAfter(stream);
        layer().ResetState();
        const auto gathered = framesAfter(stream);
        ASSERT_EQ(gathered.size(), ofTheRing.size());
        for (std::size_t i = 0; i < gathered.size(); ++i) {
            ASSERT_TRUE(sameBits(gathered[i], ofTheRing[i])) << "frame " << i;
        }
    }
}

/** Silence times such a weight would not be a number. */
TEST_P(TransposedColumns, TapsThatNoFrameHasReachedYetCountForNothing) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const std::int32_t channels : {1, 3, 16, 18}) {
        std::vector<float> weights(static_cast<std::size_t>(6 * channels), 1.0F);
        std::fill(weights.begin() + 2 * channels, weights.end(), infinite);
        load(test::transposedRecord({3, 1, channels, 2}, weights));
        const auto size = static_cast<std::size_t>(20 * channels);
        EXPECT_EQ(framesAfter({1, 20, 2}, std::vector<float>(40, 1.0F)),
                  std::vector(1, std::vector<float>(size, 2.0F)));
        EXPECT_EQ(framesAfter({1, 20, 2}, std::vector<float>(40, 1.0F)),
                  std::vector(1, std::vector<float>(size, infinite)));
    }
}

/** No bin of a kernel of one bin reaches the odd ones, nor does an infinite weight. */
TEST_P(TransposedColumns, BinsThatNoKernelBinReachesHoldTheBias) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const std::int32_t channels : {1, 3, 16, 18}) {
        const auto count = static_cast<std::size_t>(channels);
        TransposedConvRecord record =
            test::transposedRecord({1, 1, channels, 1}, std::vector<float>(count, infinite),
                                   std::vector<float>(count, 0.5F));
        record.heightStride = 2;
        load(record);
        for (int i = 0; i < 2; ++i) {
            const auto frames = framesAfter({1, 17, 1}, std::vector<float>(17, 1.0F));
            ASSERT_EQ(frames.size(), 1U);
            for (std::size_t v = 0; v < 34 * count; ++v) {
                ASSERT_EQ(frames[0].at(v), v / count % 2 == 0 ? infinite : 0.5F) << v;
            }
        }
    }
}

TEST_P(TransposedColumns, AnyNumberOfFramesACallAndResets) {
    for (std::uint32_t seed = 201; seed <= 240 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TransposedConvRecord record = randomRecord(seed);
        load(record);
        TransposedRing ring(record);
        Dice dice(seed);
        const std::int32_t height = randomHeight(dice);
        for (int i = 0; i < 8 && !HasFatalFailure(); ++i) {
            if (dice.roll(0, 2) == 0) {
                layer().ResetState();
                ring.reset();
            }
            expectRing(ring, dice, {dice.roll(0, 3), height, record.weights.shape[3]});
        }
    }
}

/** Lower frames leave sums behind theirs in the rows; those of 15 bins have no columns. */
TEST_P(TransposedColumns, OtherHeightsThanTheFirst) {
    for (std::uint32_t seed = 301; seed <= 350 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TransposedConvRecord record = randomRecord(seed);
        load(record);
        TransposedRing ring(record);
        Dice dice(seed);
        const std::int32_t height = dice.roll(14, 24);
        for (int i = 0; i < 12 && !HasFatalFailure(); ++i) {
            const bool isOther = i > 0 && dice.roll(0, 2) == 0;
            expectRing(ring, dice,
                       {1, isOther ? dice.roll(0, 26) : height, record.weights.shape[3]});
        }
    }
}

/** Most of a row's values are then met by no bin of the kernel. */
TEST_P(TransposedColumns, TheLongestStrideLeavesGaps) {
    for (const std::int32_t kernelHeight : {3, 127, 130}) {
        TransposedConvRecord record =
            test::transposedRecord({2, kernelHeight, 3, 2}, Dice(3).values(12 * kernelHeight));
        record.heightStride = 127;
        load(record);
        TransposedRing ring(record);
        Dice dice(5);
        for (int i = 0; i < 4; ++i) {
            expectRing(ring, dice, {1, 17, 2});
        }
    }
}

/** Before the first release, only rows that a tap reaches must hold a frame. */
TEST_P(TransposedColumns, TallerFramesReachIntoTheNextRows) {
    TransposedConvRecord record = test::transposedRecord({2, 3, 5, 4}, Dice(3).values(120));
    record.timeStride = 4;
    record.lookahead = 9;
    for (const std::int32_t taller : {17, 18, 30, 48, 49}) {
        load(record);
        TransposedRing ring(record);
        Dice dice(4);
        for (const std::int32_t height : {16, taller, 16, taller, 16, 16}) {
            expectRing(ring, dice, {1, height, 4});
        }
        layer().ResetState();
        ring.reset();
        for (const std::int32_t height : {taller, 16, 16, 16, 16}) {
            expectRing(ring, dice, {1, height, 4});
        }
    }
}

TEST_P(TransposedColumns, FirstFrameBelowSixteenBinsIsFollowedByTallerOnes) {
    TransposedConvRecord record = test::transposedRecord({1, 3, 5, 4}, Dice(3).values(60));
    record.timeStride = 4;
    record.lookahead = 9;
    load(record);
    TransposedRing ring(record);
    Dice dice(4);
    for (const std::int32_t height : {8, 20, 8, 8, 8}) {
        expectRing(ring, dice, {1, height, 4});
    }
}

TEST_P(TransposedColumns, FrameWithoutBinsMayComeFirst) {
    const TransposedConvRecord record =
        test::transposedRecord({2, 3, 5, 4}, Dice(3).values(120), {1, 2, 3, 4, 5});
    load(record);
    TransposedRing ring(record);
    Dice dice(4);
    for (const std::int32_t height : {0, 17, 17, 0, 17, 17}) {
        expectRing(ring, dice, {1, height, 4});
    }
}

TEST_P(TransposedColumns, KernelMayBeTallerThanThePlane) {
    for (const std::int32_t stride : {1, 2, 3}) {
        for (const std::int32_t kernelHeight : {16 * stride, 17 * stride, 35 * stride, 70}) {
            TransposedConvRecord record =
                test::transposedRecord({1, kernelHeight, 3, 1}, Dice(3).values(kernelHeight * 3));
            record.heightStride = static_cast<std::int8_t>(stride);
            load(record);
            TransposedRing ring(record);
            Dice dice(4);
            expectRing(ring, dice, {1, 17, 1});
            expectRing(ring, dice, {1, 17, 1});
        }
    }
}

/** Exact, since all sums are whole numbers: no bin and no channel is counted twice. */
TEST_P(TransposedColumns, OnesCountTheTapsThatReachABin) {
    for (const std::int32_t channels : {1, 6, 7, 12, 20}) {
        load(test::transposedRecord(
            {1, 3, channels, 8},
            std::vector<float>(static_cast<std::size_t>(24 * channels), 1.0F)));
        const auto frames = framesAfter({1, 40, 8}, std::vector<float>(320, 1.0F));
        ASSERT_EQ(frames.size(), 1U);
        for (std::int32_t bin = 0; bin < 40; ++bin) {
            for (std::int32_t channel = 0; channel < channels; ++channel) {
                const auto index = static_cast<std::size_t>(bin * channels + channel);
                EXPECT_EQ(frames[0].at(index), bin == 0 || bin == 39 ? 16.0F : 24.0F) << bin;
            }
        }
    }
}

TEST_P(TransposedColumns, TakeNoTensorBlockAfterTheFirstFrames) {
    for (std::uint32_t seed = 401; seed <= 440; ++seed) {
        TransposedConvRecord record = randomRecord(seed);
        // Frames that wait in the queue take a block each.
        record.timeStride = 1;
        load(record);
        Dice dice(seed);
        const std::int32_t height = randomHeight(dice);
        const FloatTensor frame({1, height, record.weights.shape[3]});
        EXPECT_EQ(blocksOfAFrame(frame), 0U) << "seed " << seed;
        const FloatTensor lower({1, height - 1, record.weights.shape[3]});
        EXPECT_EQ(blocksOfAFrame(lower), 0U) << "seed " << seed;
        layer().ResetState();
        EXPECT_EQ(blocksOfAFrame(frame), 0U) << "seed " << seed;
    }
}

}  // namespace
}  // namespace vorun
