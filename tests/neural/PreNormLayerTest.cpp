#include <bit>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "neural/SingleLayerTest.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatTensor;
using test::makeTensor;
using test::RecordingLayer;
using test::Shape;
using test::valuesOf;
using testing::ElementsAre;
using testing::FloatEq;
using writer::ElementType;
using writer::ModelWriter;
using writer::TensorBlock;

/** 1 / 1e-12, both as singles: the gain where the window's level is zero. */
constexpr float gainOfSilence = 999999995904.0F;

class PreNormLayerTest : public test::SingleLayerTest {
  protected:
    void loadWeights(const TensorBlock& weights) {
        ModelWriter file;
        file.addPreNorm("layer", "input", weights);
        load(file);
    }
    void loadWeights(const std::vector<float>& weights) {
        loadWeights(TensorBlock{{static_cast<std::int32_t>(weights.size())}, weights});
    }
    /** What the window's weighted level was at a frame of that one value. */
    float levelAt(float value) { return value / runValue(value).front(); }
};

TEST_F(PreNormLayerTest, OneWeightDividesEachFrameByItsOwnLevel) {
    loadWeights({1});
    EXPECT_THAT(run({1, 2, 2}, {3, -3, 3, -3}), ElementsAre(1, -1, 1, -1));
    EXPECT_THAT(run({1, 4, 1}, {8, 0, 0, 0}),
                ElementsAre(FloatEq(2), 0, 0, 0));  // Level 8 / sqrt(4).
}

TEST_F(PreNormLayerTest, LevelOfAConstantFrameIsItsMagnitude) {
    loadWeights({1});
    EXPECT_THAT(run({1, 3, 3}, std::vector<float>(9, -0.25F)), testing::Each(FloatEq(-1)));
    EXPECT_THAT(runValue(-7), ElementsAre(FloatEq(-1)));
}

TEST_F(PreNormLayerTest, LevelIsTakenOverBinsAndChannelsTogether) {
    loadWeights({1});
    // Squares 4, 16, 36 and 144 have the mean 50.
    const float gain = 1.0F / std::sqrt(50.0F);
    EXPECT_THAT(run({1, 2, 2}, {2, 4, 6, 12}), ElementsAre(FloatEq(2 * gain), FloatEq(4 * gain),
                                                           FloatEq(6 * gain), FloatEq(12 * gain)));
}

TEST_F(PreNormLayerTest, LevelIsRoundedToSinglePrecisionAtEveryStep) {
    loadWeights({1});
    // 3 / 1.41421354 is 2.12132038 and rounds up to 0x4007C3B7, where 3 / sqrt(2) rounds down. Its
    // reciprocal is 0x3EF15BEE, and three times that 0x3FB504F2, one below what doubles would give.
    EXPECT_EQ(std::bit_cast<std::uint32_t>(run({1, 2, 1}, {3, 0}).front()), 0x3FB504F2U);
}

TEST_F(PreNormLayerTest, WeightZeroMeetsTheCurrentFrameAndTheOthersFollowOldestFirst) {
    loadWeights({1000, 1, 10, 100});
    for (const float value : {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}) {
        runValue(value);
    }
    // Frame 5 stands in ring element 1, frames 2 and 3 behind it and frame 4 at the start.
    EXPECT_FLOAT_EQ(levelAt(6), 6000 + 3 + 40 + 500);
    EXPECT_FLOAT_EQ(levelAt(7), 7000 + 4 + 50 + 600);
    EXPECT_FLOAT_EQ(levelAt(8), 8000 + 5 + 60 + 700);
    EXPECT_FLOAT_EQ(levelAt(9), 9000 + 6 + 70 + 800);
}

TEST_F(PreNormLayerTest, FirstFrameFillsTheWholeRingWithItsLevel) {
    loadWeights({1000, 1, 10, 100});
    EXPECT_FLOAT_EQ(levelAt(2), 2222);
    EXPECT_FLOAT_EQ(levelAt(3), 3000 + 2 + 20 + 200);
    EXPECT_FLOAT_EQ(levelAt(4), 4000 + 2 + 20 + 300);
    EXPECT_FLOAT_EQ(levelAt(5), 5000 + 2 + 30 + 400);
    EXPECT_FLOAT_EQ(levelAt(6), 6000 + 3 + 40 + 500);
}

TEST_F(PreNormLayerTest, LevelOfTheFrameBeforeCanBeTheWholeWindow) {
    loadWeights({0, 0, 1});
    runValue(2);
    EXPECT_THAT(runValue(6), ElementsAre(3));
    EXPECT_THAT(runValue(3), ElementsAre(0.5F));
}

TEST_F(PreNormLayerTest, SilenceAsTheFirstFrameStaysSilenceAndLeavesLevelsOfZero) {
    loadWeights({0, 1});
    EXPECT_THAT(run({1, 2, 1}, {0, 0}), ElementsAre(0, 0));
    // The only weighted level is that of the silent frame.
    EXPECT_THAT(run({1, 2, 1}, {1, -2}), ElementsAre(gainOfSilence, -2 * gainOfSilence));
}

TEST_F(PreNormLayerTest, SilenceAfterLoudFramesStaysSilenceAndCountsInTheWindow) {
    loadWeights({1, 1});
    runValue(4);
    EXPECT_THAT(runValue(0), ElementsAre(0));
    EXPECT_THAT(runValue(8), ElementsAre(1));
}

TEST_F(PreNormLayerTest, FloorIsAddedAfterTheTwoPartsOfTheRing) {
    loadWeights({1, -1});
    // Added to either part alone, it would vanish and leave a division by zero.
    EXPECT_THAT(runValue(1), ElementsAre(gainOfSilence));
    EXPECT_THAT(runValue(1), ElementsAre(gainOfSilence));
    EXPECT_THAT(runValue(1), ElementsAre(gainOfSilence));
}

TEST_F(PreNormLayerTest, GainOfOneCopiesTheFrame) {
    loadWeights({0, 1});
    runValue(1);
    const std::vector<float> values{0.1F, -1e-40F, -0.0F, 1e15F};
    const std::vector<float> result = run({1, 4, 1}, values);
    EXPECT_EQ(result, values);
    EXPECT_TRUE(std::signbit(result[2]));
}

TEST_F(PreNormLayerTest, GainOfZeroFillsZerosEvenInPlaceOfInfinity) {
    loadWeights({1});
    const std::vector<float> result = run({1, 3, 1}, {INFINITY, -5, -INFINITY});
    EXPECT_THAT(result, ElementsAre(0, 0, 0));
    EXPECT_FALSE(std::signbit(result[1]));
    EXPECT_THAT(runValue(3), ElementsAre(FloatEq(1)));
}

TEST_F(PreNormLayerTest, WeightOfZeroDoesNotHideAnInfiniteLevel) {
    loadWeights({0, 1});
    runValue(1);
    EXPECT_TRUE(std::isnan(runValue(INFINITY).front()));
}

TEST_F(PreNormLayerTest, SquaresBeyondSinglePrecisionGiveAnInfiniteLevel) {
    loadWeights({1});
    EXPECT_THAT(run({1, 2, 1}, {1e30F, 1}), ElementsAre(0, 0));
}

TEST_F(PreNormLayerTest, NaNLeavesWithTheWindow) {
    loadWeights({1, 1, 1});
    runValue(1);
    EXPECT_TRUE(std::isnan(runValue(NAN).front()));
    EXPECT_TRUE(std::isnan(runValue(1).front()));
    EXPECT_TRUE(std::isnan(runValue(1).front()));
    EXPECT_THAT(runValue(3), ElementsAre(FloatEq(0.6F)));
}

TEST_F(PreNormLayerTest, ResetLetsTheNextFrameFillTheRingAgain) {
    loadWeights({1000, 1, 10, 100});
    runValue(9);
    runValue(NAN);
    model_.Reset();
    EXPECT_FLOAT_EQ(levelAt(2), 2222);
    EXPECT_FLOAT_EQ(levelAt(3), 3222);
}

TEST_F(PreNormLayerTest, ResetBeforeTheFirstFrameChangesNothing) {
    loadWeights({1, 1});
    model_.Reset();
    EXPECT_FLOAT_EQ(levelAt(2), 4);
}

TEST_F(PreNormLayerTest, SeveralFramesAtOnceGiveWhatTheyGiveOneByOne) {
    loadWeights({0.5F, 0.3F, 0.2F});
    const std::vector<float> stream{0.1F, 0.7F, -0.4F, 0.9F, 0.3F, -0.2F, 0.8F, 0.6F};
    std::vector<float> oneByOne;
    for (std::size_t i = 0; i < stream.size(); i += 2) {
        const std::vector<float> frame = run({1, 2, 1}, {stream[i], stream[i + 1]});
        oneByOne.insert(oneByOne.end(), frame.begin(), frame.end());
    }
    model_.Reset();
    recorder_.shapes.clear();
    EXPECT_EQ(run({4, 2, 1}, stream), oneByOne);
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({4, 2, 1})));
}

TEST_F(PreNormLayerTest, InputWithoutFramesLeavesTheStateAndStillGoesToTheConsumers) {
    loadWeights({1, 1});
    EXPECT_TRUE(layer().AddTensor(FloatTensor({0, 2, 1}), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({0, 2, 1}), Shape()));
    EXPECT_FLOAT_EQ(levelAt(2), 4);
}

TEST_F(PreNormLayerTest, FramesWithoutValuesCountAsSilence) {
    loadWeights({1, 10});
    EXPECT_FLOAT_EQ(levelAt(2), 22);
    run(FloatTensor({1, 0, 3}));
    EXPECT_FLOAT_EQ(levelAt(4), 4);
    run(FloatTensor({2, 5, 0}));
    EXPECT_FLOAT_EQ(levelAt(4), 4);
    EXPECT_FLOAT_EQ(levelAt(1), 41);
}

TEST_F(PreNormLayerTest, FirstDimensionIsTheLengthOfTheWindow) {
    loadWeights(TensorBlock{{2, 2}, {1, 10, 99, 99}});
    runValue(3);
    EXPECT_FLOAT_EQ(levelAt(5), 35);
}

TEST_F(PreNormLayerTest, AllConsumersGetTheTensorAndOneThatReachesAnOutputIsEnough) {
    loadWeights({1});
    RecordingLayer reaching("reaching", log_, true);
    layer().consumers = {&reaching, &recorder_};
    EXPECT_TRUE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
    EXPECT_THAT(log_, ElementsAre("reaching tensor", "after tensor"));
    EXPECT_EQ(recorder_.lastSource, &layer());
}

TEST_F(PreNormLayerTest, ResultsThatWaitKeepTheirValues) {
    loadWeights({0, 1});
    model_.input->AddTensor(makeTensor({1, 1, 1}, {2}), nullptr);
    model_.input->AddTensor(makeTensor({1, 1, 1}, {6}), nullptr);
    EXPECT_THAT(valuesOf(model_.output->TakeResult()), ElementsAre(1, 3));
}

TEST_F(PreNormLayerTest, TicksPassWithoutTouchingTheLevels) {
    loadWeights({1, 10});
    runValue(2);
    log_.clear();
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("after tick"));
    EXPECT_FLOAT_EQ(levelAt(4), 24);
    recorder_.ownLatency = 4;
    EXPECT_EQ(layer().GetLatency(3), 12);
}

TEST_F(PreNormLayerTest, RecordCarriesTheTypeNumberAndEndsBehindTheWeights) {
    ModelWriter file;
    file.addPreNorm("level", "input", {{1}, {1}})
        .addActivation("layer", "level", writer::LayerType::relu);
    load(file);
    EXPECT_EQ(test::layerNamed(model_, "level")->layerType, 16);
    EXPECT_THAT(run({1, 2, 1}, {-5, 5}), ElementsAre(0, 1));
}

TEST_F(PreNormLayerTest, HalfPrecisionWeightsAreExpanded) {
    loadWeights(TensorBlock{{2}, {}, ElementType::half, {0x3800, 0x4000}});
    EXPECT_FLOAT_EQ(levelAt(2), 5);
}

TEST_F(PreNormLayerTest, SteadyFramesTakeNoBlock) {
    loadWeights({1, 2, 3});
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 16, 2})), 0U);
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    model_.Reset();
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before);
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 12, 2})), 0U);
}

}  // namespace
}  // namespace vorun
