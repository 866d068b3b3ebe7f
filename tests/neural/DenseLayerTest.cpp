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
using testing::IsEmpty;
using writer::ElementType;
using writer::LayerType;
using writer::ModelWriter;
using writer::TensorBlock;

/** Adding one to it in single precision changes nothing. */
constexpr float big = 16777216.0F;

class DenseLayerTest : public test::SingleLayerTest {
  protected:
    void loadDense(const TensorBlock& weights, const TensorBlock& bias = {}) {
        ModelWriter file;
        file.addTwoTensors("layer", "input", LayerType::dense, weights, bias);
        load(file);
    }
};

TEST_F(DenseLayerTest, EachOutputBinSumsAllInputBinsWithItsOwnWeights) {
    loadDense({{3, 3, 1}, {1, 10, 100, 2, 20, 200, 3, 30, 300}});
    EXPECT_THAT(run({1, 3, 1}, {4, 5, 6}), ElementsAre(654, 1308, 1962));
}

TEST_F(DenseLayerTest, ChannelsHaveWeightsOfTheirOwnAndAreNotMixed) {
    // [output bin][input bin][channel]
    loadDense({{2, 2, 2}, {1, 2, 10, 20, 3, 4, 30, 40}});
    EXPECT_THAT(run({1, 2, 2}, {1, 100, 2, 200}),
                ElementsAre(1 + 20, 200 + 4000, 3 + 60, 400 + 8000));
}

TEST_F(DenseLayerTest, DiagonalWeightsScaleEachBinAlone) {
    loadDense({{3, 3, 1}, {2, 0, 0, 0, 3, 0, 0, 0, 5}});
    EXPECT_THAT(run({1, 3, 1}, {1, 10, 100}), ElementsAre(2, 30, 500));
}

TEST_F(DenseLayerTest, BiasIsAddedForEachBinAndChannelOfEveryFrame) {
    loadDense({{2, 2, 2}, std::vector<float>(8, 0.0F)}, {{2, 2}, {1, 2, 3, 4}});
    EXPECT_THAT(run({2, 2, 2}, std::vector<float>(8, 9.0F)), ElementsAre(1, 2, 3, 4, 1, 2, 3, 4));
}

TEST_F(DenseLayerTest, BiasOfVolumeZeroIsNone) {
    loadDense({{1, 1, 1}, {2}}, {{4, 0}, {}});
    EXPECT_THAT(runValue(3), ElementsAre(6));
}

TEST_F(DenseLayerTest, BiasComesAfterTheSum) {
    // 1 + big would round to big, and big - big to zero.
    loadDense({{2, 2, 1}, {1, 1, 1, 1}}, {{2}, {1, 1}});
    EXPECT_THAT(run({1, 2, 1}, {big, -big}), ElementsAre(1, 1));
}

TEST_F(DenseLayerTest, InputBinsAreSummedInAscendingOrder) {
    loadDense({{3, 3, 1}, std::vector<float>(9, 1.0F)});
    EXPECT_THAT(run({1, 3, 1}, {1, big, -big}), ElementsAre(0, 0, 0));
    EXPECT_THAT(run({1, 3, 1}, {-big, big, 1}), ElementsAre(1, 1, 1));
}

TEST_F(DenseLayerTest, SeveralFramesGoOutAsOneTensorOfTheSameShape) {
    loadDense({{2, 2, 1}, {0, 1, 1, 0}});
    EXPECT_THAT(run({3, 2, 1}, {1, 2, 3, 4, 5, 6}), ElementsAre(2, 1, 4, 3, 6, 5));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({3, 2, 1})));
    EXPECT_THAT(log_, ElementsAre("after tensor"));
}

TEST_F(DenseLayerTest, TwoFramesAtOnceGiveWhatTheyGiveOneByOne) {
    loadDense({{2, 2, 1}, {0.1F, 0.2F, 0.3F, 0.4F}}, {{2}, {0.5F, 0.6F}});
    std::vector<float> oneByOne = run({1, 2, 1}, {0.7F, -0.8F});
    const std::vector<float> second = run({1, 2, 1}, {-0.9F, 1.1F});
    oneByOne.insert(oneByOne.end(), second.begin(), second.end());
    EXPECT_EQ(run({2, 2, 1}, {0.7F, -0.8F, -0.9F, 1.1F}), oneByOne);
}

TEST_F(DenseLayerTest, EarlierFramesAndResetsLeaveNoTrace) {
    loadDense({{1, 1, 1}, {2}});
    EXPECT_THAT(runValue(INFINITY), ElementsAre(INFINITY));
    EXPECT_THAT(runValue(3), ElementsAre(6));
    model_.Reset();
    EXPECT_THAT(runValue(3), ElementsAre(6));
}

TEST_F(DenseLayerTest, InputWithoutFramesStillGoesToTheConsumers) {
    loadDense({{2, 2, 1}, {1, 1, 1, 1}}, {{2}, {1, 1}});
    EXPECT_TRUE(layer().AddTensor(FloatTensor({0, 2, 1}), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({0, 2, 1}), Shape()));
    EXPECT_THAT(recorder_.values, ElementsAre(IsEmpty(), IsEmpty()));
}

TEST_F(DenseLayerTest, FramesWithoutBinsOrChannelsAreNotComputedWith) {
    loadDense({{}, {}}, {{1}, {5}});
    EXPECT_TRUE(layer().AddTensor(FloatTensor({2, 0, 3}), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor({2, 3, 0}), nullptr));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({2, 0, 3}), Shape({2, 3, 0})));
}

TEST_F(DenseLayerTest, TensorsOfTheFileAreReadAsFlatArrays) {
    loadDense({{2, 1, 5}, {1, 10, 2, 20, 99, 99, 99, 99, 99, 99}}, {{3}, {100, 200, 99}});
    EXPECT_THAT(run({1, 2, 1}, {1, 2}), ElementsAre(121, 242));
}

TEST_F(DenseLayerTest, HeightAndChannelsFollowTheInputOfEachCall) {
    loadDense({{2, 2, 1}, {1, 10, 2, 20}});
    EXPECT_THAT(run({1, 2, 1}, {1, 1}), ElementsAre(11, 22));
    EXPECT_THAT(runValue(3), ElementsAre(3));
    EXPECT_THAT(run({1, 1, 4}, {1, 1, 1, 1}), ElementsAre(1, 10, 2, 20));
    EXPECT_THAT(run({1, 2, 1}, {1, 1}), ElementsAre(11, 22));
}

TEST_F(DenseLayerTest, AllConsumersGetTheTensorAndOneThatReachesAnOutputIsEnough) {
    loadDense({{1, 1, 1}, {2}});
    RecordingLayer reaching("reaching", log_, true);
    layer().consumers = {&recorder_, &reaching};
    EXPECT_TRUE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
    EXPECT_THAT(log_, ElementsAre("after tensor", "reaching tensor"));
    EXPECT_EQ(recorder_.lastInput, reaching.lastInput);
    EXPECT_EQ(recorder_.lastSource, &layer());
    layer().consumers = {&recorder_};
    EXPECT_FALSE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
}

TEST_F(DenseLayerTest, ResultsThatWaitKeepTheirValues) {
    loadDense({{1, 1, 1}, {2}});
    model_.input->AddTensor(makeTensor({1, 1, 1}, {1}), nullptr);
    model_.input->AddTensor(makeTensor({1, 1, 1}, {5}), nullptr);
    EXPECT_THAT(valuesOf(model_.output->TakeResult()), ElementsAre(2, 10));
}

TEST_F(DenseLayerTest, TicksAndLatencyPassThrough) {
    loadDense({{1, 1, 1}, {2}});
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("after tick"));
    recorder_.ownLatency = 4;
    EXPECT_EQ(layer().GetLatency(3), 12);
}

TEST_F(DenseLayerTest, RecordCarriesTheTypeNumberAndEndsBehindTheBias) {
    ModelWriter file;
    file.addTwoTensors("dense", "input", LayerType::dense, {{1, 1, 1}, {-3}}, {{1}, {1}})
        .addActivation("layer", "dense", LayerType::relu);
    load(file);
    EXPECT_EQ(test::layerNamed(model_, "dense")->layerType, 14);
    EXPECT_THAT(runValue(-2), ElementsAre(7));
    EXPECT_THAT(runValue(2), ElementsAre(0));
}

TEST_F(DenseLayerTest, HalfPrecisionTensorsAreExpanded) {
    // 0.5 and -2; 0x7C00 is an ordinary number in this format.
    loadDense({{1, 1, 2}, {}, ElementType::half, {0x3800, 0xC000}},
              {{2}, {}, ElementType::half, {0x3C00, 0x7C00}});
    EXPECT_THAT(run({1, 1, 2}, {6, 8}), ElementsAre(4, 65520));
}

TEST_F(DenseLayerTest, SteadyFramesTakeNoBlock) {
    loadDense({{4, 4, 2}, std::vector<float>(32, 1.0F)}, {{8}, std::vector<float>(8, 1.0F)});
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 4, 2})), 0U);
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 3, 2})), 0U);
}

}  // namespace
}  // namespace vorun
