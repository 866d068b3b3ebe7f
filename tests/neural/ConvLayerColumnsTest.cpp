#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "foundation/VectorVariant.h"
#include "neural/ConvChain.h"
#include "neural/Dice.h"
#include "neural/GraphTools.h"
#include "neural/NaiveConvolution.h"

// Convolutions of planes that are wide enough to be summed by column, bit for bit against the chain
// of single operations of the same variant, and against the definition in double.

namespace vorun {
namespace {

using test::BoundedSum;
using test::chainedFrame;
using test::Dice;
using test::difference;
using test::evaluate;
using test::FloatTensor;
using test::framesOf;
using test::modelOf;
using test::NaiveConvolution;
using test::naiveOutput;
using test::valuesOf;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr std::uint32_t seeds = 125;

VORUN_VECTOR_SUITE(ConvLayerColumns);

/** Every number that leaves 1 to 12 channels to the columns with none and one beside them. */
std::int32_t outChannelsOf(std::uint32_t seed, Dice& dice) {
    constexpr std::array<std::int32_t, 25> counts = {
        1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 20, 28, 29, 32, 33, 44, 45, 0};
    const std::int32_t count = counts.at(seed % counts.size());
    return count == 0 ? dice.roll(1, 40) : count;
}

/** Of `values`, about one in 30 becomes one of those with which arithmetic is odd. */
void sprinkle(Dice& dice, std::vector<float>& values) {
    constexpr std::array<float, 5> odd = {infinity, -infinity,
                                          std::numeric_limits<float>::quiet_NaN(), 0.0F, -0.0F};
    for (float& value : values) {
        if (dice.roll(0, 29) == 0) {
            value = odd.at(static_cast<std::size_t>(dice.roll(0, 4)));
        }
    }
}

void rollKernel(Dice& dice, NaiveConvolution& conv) {
    conv.kernelFrames = dice.roll(1, 4);
    conv.kernelHeight = dice.roll(1, 7);
    // The longer the run over a frame, the more channels are summed by column, up to 12.
    conv.channels = dice.roll(0, 2) == 0 ? dice.roll(1, 5) : dice.roll(4, 30);
    conv.kernelIn = conv.channels;
    conv.timeStride = dice.roll(0, 4) == 0 ? 2 : 1;
    conv.heightStride = dice.roll(0, 1) == 0 ? 1 : dice.roll(2, 4);
    conv.timeDilation = dice.roll(0, 9) == 0 ? 0 : dice.roll(1, 4);
    conv.lookahead = dice.roll(-1, 4);
    if (dice.roll(0, 5) == 0) {
        conv.kernelIn = 1;
        conv.kernelOut = conv.channels * dice.roll(1, 6);
    }
}

void rollValues(Dice& dice, NaiveConvolution& conv) {
    conv.weights =
        dice.values(conv.kernelFrames * conv.kernelHeight * conv.kernelIn * conv.kernelOut);
    const std::int32_t biasKind = dice.roll(0, 2);
    if (biasKind > 0) {
        conv.bias = dice.values(conv.kernelOut);
    }
    if (biasKind > 1) {
        std::fill(conv.bias.begin(), conv.bias.end(), -0.0F);
    }
    conv.stream = dice.values(dice.roll(6, 12) * conv.height * conv.channels);
    if (dice.roll(0, 3) == 0) {
        sprinkle(dice, conv.weights);
    }
    if (dice.roll(0, 5) == 0) {
        sprinkle(dice, conv.stream);
    }
}

NaiveConvolution randomConvolution(std::uint32_t seed) {
    Dice dice(seed);
    NaiveConvolution conv;
    conv.kernelOut = outChannelsOf(seed, dice);
    rollKernel(dice, conv);
    // Around the 16 output bins from which there are columns, or anything up to 70 input bins.
    const std::int32_t outHeight =
        dice.roll(0, 1) == 0 ? dice.roll(15, 17) : dice.roll(16, 70 / conv.heightStride);
    conv.height = outHeight * conv.heightStride + dice.roll(0, conv.heightStride - 1);
    if (dice.roll(0, 19) == 0) {
        conv.kernelHeight = 2 * conv.height + dice.roll(-3, 9);
        conv.kernelFrames = std::min(conv.kernelFrames, 2);
    }
    rollValues(dice, conv);
    return conv;
}

NaiveConvolution convolution(std::int32_t kernelFrames, std::int32_t kernelHeight,
                             std::int32_t channels, std::int32_t kernelOut, std::int32_t height) {
    Dice dice(5);
    NaiveConvolution conv;
    conv.kernelFrames = kernelFrames;
    conv.kernelHeight = kernelHeight;
    conv.channels = channels;
    conv.kernelIn = channels;
    conv.kernelOut = kernelOut;
    conv.height = height;
    conv.weights = dice.values(kernelFrames * kernelHeight * channels * kernelOut);
    conv.bias = dice.values(kernelOut);
    conv.stream = dice.values(12 * height * channels);
    return conv;
}

/** Whether depthwise frames are spread, which models do one at a time. */
bool takesOneAtATime(const NaiveConvolution& conv) {
    return conv.depthwise() && conv.kernelOut != conv.channels;
}

/** What the frames from `first` on give. */
std::vector<float> chainedFrames(const NaiveConvolution& conv, std::int32_t first,
                                 std::int32_t count) {
    std::vector<float> result;
    for (std::int32_t t = first; t < first + count; ++t) {
        if (conv.givesOutput(t)) {
            const std::vector<float> frame = chainedFrame(conv, t);
            result.insert(result.end(), frame.begin(), frame.end());
        }
    }
    return result;
}

/** The whole stream from its start, up to `most` frames a call. */
void expectChain(NeuralModel<float>& model, const NaiveConvolution& conv, Dice& dice,
                 std::int32_t most, std::int32_t frames) {
    for (std::int32_t t = 0; t < frames;) {
        const std::int32_t atOnce = takesOneAtATime(conv) ? 1 : dice.roll(1, most);
        const std::int32_t count = std::min(atOnce, frames - t);
        const FloatTensor result = evaluate(model, framesOf(conv, t, count));
        ASSERT_EQ(difference(valuesOf(result), chainedFrames(conv, t, count)), "")
            << "frames from " << t;
        t += count;
    }
}

void expectChain(const NaiveConvolution& conv) {
    NeuralModel<float> model = modelOf(conv);
    Dice dice(1);
    expectChain(model, conv, dice, 1, conv.frames());
}

TEST_P(ConvLayerColumns, AreTheChainOfSingleOperations) {
    for (std::uint32_t seed = 1; seed <= seeds && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        expectChain(randomConvolution(seed));
    }
}

TEST_P(ConvLayerColumns, SeveralFramesACallAreTheSame) {
    for (std::uint32_t seed = 1001; seed <= 1050 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const NaiveConvolution conv = randomConvolution(seed);
        NeuralModel<float> model = modelOf(conv);
        Dice dice(seed);
        expectChain(model, conv, dice, 5, conv.frames());
    }
}

TEST_P(ConvLayerColumns, AResetBeginsWithSilenceAgain) {
    for (std::uint32_t seed = 2001; seed <= 2040 && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const NaiveConvolution conv = randomConvolution(seed);
        NeuralModel<float> model = modelOf(conv);
        Dice dice(seed);
        // The first reset comes before any frame.
        for (const std::int32_t frames : {0, dice.roll(1, 4), dice.roll(0, 3), conv.frames()}) {
            model.Reset();
            expectChain(model, conv, dice, 2, frames);
        }
    }
}

/** Long enough that rows of sums are used over and over. */
TEST_P(ConvLayerColumns, LongStreamsStayTheSame) {
    for (const std::int32_t dilation : {1, 2, 3}) {
        NaiveConvolution conv = convolution(3, 3, 6, 6, 18);
        conv.timeDilation = dilation;
        Dice dice(9);
        conv.stream = dice.values(60 * 18 * 6);
        expectChain(conv);
    }
}

TEST_P(ConvLayerColumns, KernelMayBeTallerThanThePlane) {
    for (const std::int32_t kernelHeight : {17, 18, 33, 34, 35, 50}) {
        SCOPED_TRACE(kernelHeight);
        expectChain(convolution(2, kernelHeight, 2, 5, 17));
        expectChain(convolution(2, kernelHeight, 1, 5, 17));
        expectChain(convolution(2, kernelHeight, 1, 1, 17));
    }
}

TEST_P(ConvLayerColumns, KernelMayReachOnlyPartOfAStride) {
    for (const std::int32_t height : {64, 65, 66, 67}) {
        for (const std::int32_t kernelHeight : {1, 2, 3}) {
            NaiveConvolution conv = convolution(2, kernelHeight, 8, 4, height);
            conv.heightStride = 4;
            expectChain(conv);
        }
    }
}

TEST_P(ConvLayerColumns, HeightsAroundSixteenBins) {
    for (const std::int32_t height : {14, 15, 16, 17}) {
        for (const std::int32_t stride : {1, 2, 3}) {
            NaiveConvolution conv = convolution(2, 4, 6, 7, height * stride);
            conv.heightStride = stride;
            expectChain(conv);
            // A bin that no output bin is centred on.
            conv = convolution(2, 5, 2, 18, height * stride + stride - 1);
            conv.heightStride = stride;
            expectChain(conv);
            conv = convolution(2, 4, 1, 7, height * stride);
            conv.heightStride = stride;
            expectChain(conv);
        }
    }
}

TEST_P(ConvLayerColumns, WithoutADilationAllTapsMeetTheNewestFrame) {
    NaiveConvolution conv = convolution(3, 3, 4, 5, 20);
    conv.timeDilation = 0;
    expectChain(conv);
    conv = convolution(1, 3, 4, 5, 20);
    conv.timeDilation = 0;
    expectChain(conv);
}

TEST_P(ConvLayerColumns, ASingleTapHasNoHistoryWhateverItsDilation) {
    NaiveConvolution conv = convolution(1, 3, 4, 5, 20);
    conv.timeDilation = 4;
    expectChain(conv);
    conv.timeDilation = -3;
    expectChain(conv);
}

TEST_P(ConvLayerColumns, WideChannelCountsLeaveTheLastOnesToTheColumns) {
    for (std::int32_t channels = 1; channels <= 45; ++channels) {
        SCOPED_TRACE(channels);
        NaiveConvolution conv = convolution(2, 6, 30, channels, 17);
        conv.stream.resize(std::size_t{4} * 17 * 30);
        expectChain(conv);
    }
}

TEST_P(ConvLayerColumns, OneInputChannelFeedsAnyNumberOfThem) {
    for (std::int32_t channels = 1; channels <= 34; ++channels) {
        for (const std::int32_t height : {16, 31, 50}) {
            SCOPED_TRACE(channels);
            NaiveConvolution conv = convolution(3, 4, 1, channels, height);
            conv.timeDilation = 1 + channels % 3;
            conv.timeStride = 1 + channels % 2;
            expectChain(conv);
        }
    }
}

TEST_P(ConvLayerColumns, SilenceTimesInfinityIsNotANumberInTheFirstFrames) {
    NaiveConvolution conv = convolution(2, 1, 6, 3, 16);
    std::fill(conv.stream.begin(), conv.stream.end(), 1.0F);
    conv.timeDilation = 2;
    // Of the six input channels the first alone counts.
    std::fill(conv.weights.begin(), conv.weights.end(), 0.0F);
    std::copy_n(std::array<float, 3>{infinity, 1, 2}.begin(), 3, conv.weights.begin());
    std::copy_n(std::array<float, 3>{3, 4, 5}.begin(), 3, conv.weights.begin() + 18);
    conv.bias = {0.5F, 0.25F, 0.125F};
    NeuralModel<float> model = modelOf(conv);
    for (std::int32_t t = 0; t < 5; ++t) {
        const std::vector<float> frame = valuesOf(evaluate(model, framesOf(conv, t, 1)));
        const bool meetsSilence = t < 2;
        EXPECT_EQ(std::isnan(frame.at(0)), meetsSilence) << t;
        EXPECT_EQ(std::isinf(frame.at(0)), !meetsSilence) << t;
        EXPECT_EQ(frame.at(1), 4.25F + (meetsSilence ? 0.0F : 1.0F)) << t;
        EXPECT_EQ(frame.at(2), 5.125F + (meetsSilence ? 0.0F : 2.0F)) << t;
    }
}

/** -0 plus 0 is 0, and -0 plus -0 stays: the chain adds silence, it does not leave it out. */
TEST_P(ConvLayerColumns, SignOfAZeroBiasIsWhatSilenceLeaves) {
    NaiveConvolution conv = convolution(2, 1, 4, 2, 16);
    std::fill(conv.stream.begin(), conv.stream.end(), 0.0F);
    conv.weights = {-1, 1, -1, 1, -1, 1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1};
    conv.bias = {-0.0F, -0.0F};
    NeuralModel<float> model = modelOf(conv);
    for (std::int32_t t = 0; t < 3; ++t) {
        const std::vector<float> frame = valuesOf(evaluate(model, framesOf(conv, t, 1)));
        EXPECT_TRUE(std::signbit(frame.at(0))) << t;
        EXPECT_FALSE(std::signbit(frame.at(1))) << t;
    }
}

TEST_P(ConvLayerColumns, SumsWithoutABiasBeginAtAPositiveZero) {
    NaiveConvolution conv = convolution(2, 1, 4, 2, 16);
    std::fill(conv.stream.begin(), conv.stream.end(), 0.0F);
    std::fill(conv.weights.begin(), conv.weights.end(), -1.0F);
    conv.bias.clear();
    NeuralModel<float> model = modelOf(conv);
    for (std::int32_t t = 0; t < 3; ++t) {
        for (const float value : valuesOf(evaluate(model, framesOf(conv, t, 1)))) {
            EXPECT_FALSE(std::signbit(value)) << t;
        }
    }
}

TEST_P(ConvLayerColumns, AreWithinTheErrorOfTheDefinition) {
    for (const std::int32_t channels : {1, 2, 5, 20, 21}) {
        NaiveConvolution conv = convolution(3, 4, 3, channels, 37);
        conv.timeDilation = 2;
        conv.heightStride = 2;
        NeuralModel<float> model = modelOf(conv);
        for (std::int32_t t = 0; t < conv.frames(); ++t) {
            const std::vector<float> frame = valuesOf(evaluate(model, framesOf(conv, t, 1)));
            for (std::int32_t i = 0; i < conv.outHeight() * channels; ++i) {
                const BoundedSum expected = naiveOutput(conv, t, i / channels, i % channels);
                const auto actual = static_cast<double>(frame.at(static_cast<std::size_t>(i)));
                ASSERT_LE(std::fabs(actual - expected.value), expected.singleErrorBound())
                    << "frame " << t << " value " << i;
            }
        }
    }
}

TEST_P(ConvLayerColumns, TakeNoTensorBlockAfterTheFirstFrame) {
    for (std::uint32_t seed = 3001; seed <= 3040; ++seed) {
        const NaiveConvolution conv = randomConvolution(seed);
        NeuralModel<float> model = modelOf(conv);
        // Before the first output there is no tensor for it.
        std::int32_t settling = 1;
        while (!conv.givesOutput(settling - 1)) {
            ++settling;
        }
        for (std::int32_t t = 0; t < conv.frames(); ++t) {
            if (t == settling + 2) {
                model.Reset();
            }
            const FloatTensor input = framesOf(conv, t, 1);
            const std::uint64_t before = TensorData<float>::blocksAllocated();
            model.input->AddTensor(input, nullptr);
            if (t >= settling) {
                EXPECT_EQ(TensorData<float>::blocksAllocated(), before) << "seed " << seed;
            }
            model.output->TakeResult();
        }
    }
}

}  // namespace
}  // namespace vorun
