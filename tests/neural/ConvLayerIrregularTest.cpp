#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/ConvChain.h"
#include "neural/Dice.h"
#include "neural/GraphTools.h"
#include "neural/NaiveConvolution.h"

// Streams whose frames do not all have the shape of the first, or that an exception cuts, against
// the definition over the ring.

namespace vorun {
namespace {

using test::ConvRing;
using test::Dice;
using test::difference;
using test::FloatLayer;
using test::FloatTensor;
using test::layerNamed;
using test::modelOf;
using test::NaiveConvolution;

constexpr std::int32_t regularHeight = 18;

/** Collects frames, and throws at the one of a call with number `faultAt`. */
class FaultyConsumer : public FloatLayer {
  public:
    bool AddTensor(const FloatTensor& input, const FloatLayer* /*source*/) override {
        frames.push_back(test::valuesOf(input));
        if (frames.size() == faultAt + 1) {
            throw std::runtime_error("the consumer throws");
        }
        return false;
    }

    std::vector<std::vector<float>> frames;
    std::size_t faultAt = ConvRing::noFault;
};

/** A layer beside the same layer over its ring, fed alike. */
class IrregularStream {
  public:
    explicit IrregularStream(const NaiveConvolution& conv, std::uint32_t seed = 1)
        : channels_(conv.kernelIn), dice_(seed), model_(modelOf(conv)), ring_(conv) {
        layerNamed(model_, "conv")->consumers = {&consumer_};
    }

    /** One call with random values; what happens must be the same on both sides. */
    void expectSame(const std::vector<std::int32_t>& shape,
                    std::size_t faultAt = ConvRing::noFault) {
        FloatTensor input(shape);
        const std::vector<float> values = dice_.values(input.volume());
        std::copy(values.begin(), values.end(), input.data());
        std::vector<std::vector<float>> expected;
        bool throws = false;
        try {
            ring_.add(input, expected, faultAt);
        } catch (const std::runtime_error&) {
            throws = true;
        }
        consumer_.frames.clear();
        consumer_.faultAt = faultAt;
        if (throws) {
            EXPECT_THROW(layer().AddTensor(input, nullptr), std::runtime_error);
        } else {
            EXPECT_NO_THROW(layer().AddTensor(input, nullptr));
        }
        ASSERT_EQ(consumer_.frames.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(difference(consumer_.frames[i], expected[i]), "") << "frame " << i;
        }
    }
    void expectRegular(std::int32_t frames = 9) {
        for (std::int32_t i = 0; i < frames; ++i) {
            expectSame({1, regularHeight, channels_});
        }
    }
    /** After the odd frame, with the history that it leaves, and after a reset. */
    void expectRegularAndReset() {
        expectRegular();
        reset();
        expectRegular();
    }
    void reset() {
        layer().ResetState();
        ring_.reset();
    }

  private:
    FloatLayer& layer() const { return *layerNamed(model_, "conv"); }

    std::int32_t channels_;
    Dice dice_;
    NeuralModel<float> model_;
    FaultyConsumer consumer_;
    ConvRing ring_;
};

/** All of whose channels, but for whole registers of them, are summed with bins side by side. */
NaiveConvolution convolution(std::int32_t kernelIn = 3, std::int32_t kernelOut = 5) {
    Dice dice(3);
    NaiveConvolution conv;
    conv.kernelFrames = 3;
    conv.kernelHeight = kernelIn == 1 ? 17 : 5;
    conv.timeDilation = 2;
    conv.kernelIn = kernelIn;
    conv.kernelOut = kernelOut;
    conv.weights = dice.values(3 * conv.kernelHeight * kernelIn * kernelOut);
    conv.bias = dice.values(kernelOut);
    return conv;
}

TEST(ConvIrregularStream, LowerFrameLeavesTheRestOfItsRow) {
    for (const std::int32_t height : {1, 15, 16, 17}) {
        IrregularStream stream(convolution());
        stream.expectRegular(7);
        stream.expectSame({1, height, 3});
        stream.expectRegularAndReset();
    }
}

TEST(ConvIrregularStream, TallerFrameSpillsIntoTheNextRows) {
    for (std::int32_t before = 0; before < 6; ++before) {
        IrregularStream stream(convolution());
        stream.expectRegular(before + 1);
        stream.expectSame({1, 2 * regularHeight + 1, 3});
        stream.expectRegularAndReset();
    }
}

TEST(ConvIrregularStream, FrameOfOtherChannelsShiftsItsBins) {
    for (const std::int32_t channels : {1, 2, 4, 6}) {
        IrregularStream stream(convolution());
        stream.expectRegular(6);
        stream.expectSame({1, regularHeight, channels});
        stream.expectRegularAndReset();
    }
}

/** As many values as a regular frame, arranged otherwise. */
TEST(ConvIrregularStream, FrameOfTheSameVolumeFillsItsRow) {
    IrregularStream stream(convolution());
    stream.expectRegular(4);
    stream.expectSame({1, regularHeight / 2, 6});
    stream.expectSame({1, regularHeight * 3, 1});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, DepthwiseFramesAfterOrdinaryOnes) {
    IrregularStream stream(convolution(1, 6));
    stream.expectRegular(6);
    stream.expectSame({1, regularHeight, 2});
    stream.expectSame({1, regularHeight / 6, 3});
    stream.expectSame({1, regularHeight, 6});
    stream.expectRegularAndReset();
}

/** 16 of 17 channels meet the ring, and the last one has sums that wait. */
TEST(ConvIrregularStream, DepthwiseFramesStopTheSumsOfAChannelThatIsAlone) {
    IrregularStream stream(convolution(1, 17));
    stream.expectRegular(6);
    stream.expectSame({1, regularHeight / 17, 17});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, OrdinaryFramesAfterADepthwiseOne) {
    IrregularStream stream(convolution(1, 6));
    stream.expectSame({1, regularHeight, 2});
    stream.expectRegular(3);
    stream.expectSame({1, regularHeight, 3});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, OneOutputChannelTakesDepthwiseFramesToo) {
    IrregularStream stream(convolution(1, 1));
    stream.expectSame({1, regularHeight, 2});
    stream.expectRegularAndReset();
    stream.expectSame({1, regularHeight, 2});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, FrameWithoutBinsIsSilent) {
    IrregularStream stream(convolution());
    stream.expectRegular(6);
    stream.expectSame({1, 0, 3});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, FrameWithoutBinsMayComeFirst) {
    IrregularStream stream(convolution());
    stream.expectSame({1, 0, 3});
    stream.expectRegular();
    stream.expectRegularAndReset();
    IrregularStream second(convolution());
    second.expectSame({1, 0, 3});
    second.reset();
    second.expectRegularAndReset();
}

TEST(ConvIrregularStream, TensorWithoutFramesChangesNothing) {
    IrregularStream stream(convolution());
    stream.expectRegular(3);
    stream.expectSame({0, regularHeight, 3});
    stream.expectSame({0, 2, 7});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, TensorWithoutFramesFixesTheHeightIfItComesFirst) {
    for (const std::int32_t height : {17, 18, 19}) {
        IrregularStream stream(convolution());
        stream.expectSame({0, height, 3});
        stream.expectRegularAndReset();
    }
}

TEST(ConvIrregularStream, WiderFirstFrameFixesTheChannels) {
    IrregularStream stream(convolution());
    stream.expectSame({1, regularHeight, 4});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, TooFewChannelsInTheFirstFrameRaiseForEver) {
    IrregularStream stream(convolution());
    stream.expectSame({1, regularHeight, 2});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, FrameBeyondTheRingIsAsIfItHadNotCome) {
    IrregularStream stream(convolution());
    stream.expectRegular(6);
    stream.expectSame({1, 6 * regularHeight, 3});
    stream.expectRegularAndReset();
}

TEST(ConvIrregularStream, FrameAtWhichAConsumerThrowsIsWrittenOver) {
    for (std::int32_t before = 0; before < 6; ++before) {
        IrregularStream stream(convolution());
        stream.expectRegular(before);
        stream.expectSame({1, regularHeight, 3}, 0);
        stream.expectRegularAndReset();
    }
}

TEST(ConvIrregularStream, ConsumerMayThrowInTheMidstOfACall) {
    for (std::size_t faultAt = 0; faultAt < 4; ++faultAt) {
        IrregularStream stream(convolution());
        stream.expectSame({4, regularHeight, 3}, faultAt);
        stream.expectSame({3, regularHeight, 3});
        stream.expectRegularAndReset();
    }
}

TEST(ConvIrregularStream, ResetAfterAnExceptionStartsAnew) {
    for (std::int32_t before = 0; before < 6; ++before) {
        IrregularStream stream(convolution());
        stream.expectRegular(before);
        stream.expectSame({1, regularHeight, 3}, 0);
        stream.reset();
        stream.expectRegular();
    }
}

NaiveConvolution randomConvolution(Dice& dice) {
    NaiveConvolution conv =
        convolution(dice.roll(0, 2) == 0 ? 1 : dice.roll(1, 9),
                    dice.roll(0, 4) == 0 ? dice.roll(17, 40) : dice.roll(1, 16));
    conv.kernelFrames = dice.roll(1, 4);
    conv.kernelHeight = dice.roll(0, 3) == 0 ? dice.roll(12, 20) : dice.roll(1, 6);
    conv.timeDilation = dice.roll(0, 4);
    conv.lookahead = dice.roll(-1, 3);
    conv.timeStride = dice.roll(0, 9) == 0 ? 2 : 1;
    conv.weights =
        dice.values(conv.kernelFrames * conv.kernelHeight * conv.kernelIn * conv.kernelOut);
    if (dice.roll(0, 2) == 0) {
        conv.bias.clear();
    }
    return conv;
}

/** Any of what the tests above do. */
void takeStep(Dice& dice, std::int32_t channels, IrregularStream& stream) {
    const std::int32_t step = dice.roll(0, 19);
    if (step == 0) {
        stream.reset();
    } else if (step == 1) {
        stream.expectSame({1, regularHeight, channels}, 0);
    } else if (step == 2) {
        stream.expectSame({dice.roll(0, 4), regularHeight, channels},
                          static_cast<std::size_t>(dice.roll(0, 3)));
    } else if (step == 3) {
        stream.expectSame({dice.roll(0, 2), dice.roll(0, 40), channels});
    } else if (step == 4) {
        stream.expectSame({1, dice.roll(0, 20), dice.roll(1, 6)});
    } else {
        stream.expectRegular(dice.roll(1, 3));
    }
}

TEST(ConvIrregularStream, AnythingInAnyOrder) {
    for (std::uint32_t seed = 1; seed <= 250 && !testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const NaiveConvolution conv = randomConvolution(dice);
        IrregularStream stream(conv, seed);
        if (dice.roll(0, 4) > 0) {
            stream.expectRegular(1);
        }
        for (int i = 0; i < 25; ++i) {
            takeStep(dice, conv.kernelIn, stream);
        }
    }
}

TEST(ConvIrregularStream, TakesNoTensorBlockAfterTheFirstFrame) {
    NeuralModel<float> model = modelOf(convolution());
    FaultyConsumer consumer;
    layerNamed(model, "conv")->consumers = {&consumer};
    FloatLayer& layer = *layerNamed(model, "conv");
    layer.AddTensor(FloatTensor({1, regularHeight, 3}), nullptr);
    const FloatTensor lower({1, 5, 3});
    const FloatTensor other({1, regularHeight, 2});
    const FloatTensor regular({1, regularHeight, 3});
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    for (const FloatTensor* frame : {&regular, &lower, &regular, &other, &regular}) {
        layer.AddTensor(*frame, nullptr);
        layer.AddTensor(regular, nullptr);
        layer.ResetState();
    }
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before);
}

}  // namespace
}  // namespace vorun
