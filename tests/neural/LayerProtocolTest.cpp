#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatLayer;
using test::FloatTensor;
using test::makeTensor;
using test::RecordingLayer;
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;

using Shape = std::vector<std::int32_t>;

TEST(BaseLayer, PropagationCallsTheSecondConsumerAlthoughTheFirstReturnedTrue) {
    std::vector<std::string> log;
    RecordingLayer first("first", log, true);
    RecordingLayer second("second", log, false);
    FloatLayer feeder;
    feeder.consumers = {&first, &second};
    EXPECT_TRUE(feeder.PropagateToConsumers(countingTensor({1, 1, 1}), &feeder));
    EXPECT_THAT(log, ElementsAre("first tensor", "second tensor"));
    EXPECT_EQ(second.lastSource, &feeder);
}

TEST(BaseLayer, PropagationIsFalseWithoutConsumersAndWhenAllReturnFalse) {
    std::vector<std::string> log;
    RecordingLayer consumer("consumer", log, false);
    FloatLayer feeder;
    EXPECT_FALSE(feeder.PropagateToConsumers(countingTensor({1, 1, 1}), &feeder));
    feeder.consumers = {&consumer};
    EXPECT_FALSE(feeder.PropagateToConsumers(countingTensor({1, 1, 1}), &feeder));
}

TEST(BaseLayer, AddTensorOfTheBaseDoesNothing) {
    std::vector<std::string> log;
    RecordingLayer consumer("consumer", log, true);
    FloatLayer layer;
    layer.consumers = {&consumer};
    EXPECT_FALSE(layer.AddTensor(countingTensor({1, 1, 1}), nullptr));
    EXPECT_THAT(log, IsEmpty());
}

TEST(BaseLayer, TickReachesEveryConsumerInOrderAndGoesOnDepthFirst) {
    std::vector<std::string> log;
    RecordingLayer first("first", log);
    RecordingLayer behindFirst("behind first", log);
    RecordingLayer second("second", log);
    FloatLayer feeder;
    feeder.consumers = {&first, &second};
    first.consumers = {&behindFirst};
    feeder.SkipFrame();
    EXPECT_THAT(log, ElementsAre("first tick", "behind first tick", "second tick"));
}

TEST(BaseLayer, LatencyIsTheLargestOfTheConsumersAndNeverBelowZero) {
    std::vector<std::string> log;
    RecordingLayer first("first", log);
    RecordingLayer second("second", log);
    FloatLayer feeder;
    EXPECT_EQ(feeder.GetLatency(1), 0);
    feeder.consumers = {&first, &second};
    first.ownLatency = -5;
    second.ownLatency = -2;
    EXPECT_EQ(feeder.GetLatency(1), 0);
    first.ownLatency = 4;
    second.ownLatency = 3;
    EXPECT_EQ(feeder.GetLatency(2), 8);
}

TEST(BaseLayer, LatencyBeyond32BitsRaises) {
    EXPECT_EQ(latencyFrames(std::numeric_limits<std::int32_t>::max()),
              std::numeric_limits<std::int32_t>::max());
    EXPECT_THROW(latencyFrames(std::int64_t{1} << 31), std::runtime_error);
    EXPECT_THROW(latencyFrames(-(std::int64_t{1} << 31) - 1), std::runtime_error);
}

TEST(InputLayer, HandsOnTheVeryTensorWithItselfAsSource) {
    std::vector<std::string> log;
    RecordingLayer consumer("consumer", log, true);
    InputLayer<float> input;
    input.consumers = {&consumer};
    const FloatTensor tensor = countingTensor({1, 2, 1});
    EXPECT_TRUE(input.AddTensor(tensor, nullptr));
    EXPECT_EQ(consumer.lastInput, &tensor);
    EXPECT_EQ(consumer.lastSource, &input);
    EXPECT_EQ(input.layerType, 0);
}

TEST(OutputLayer, KeepsASharedCopyAndReturnsTrue) {
    OutputLayer<float> output;
    const FloatTensor tensor = countingTensor({1, 2, 1});
    EXPECT_TRUE(output.AddTensor(tensor, nullptr));
    ASSERT_EQ(output.results.size(), 1U);
    EXPECT_EQ(output.results.front().readData(), tensor.readData());
    EXPECT_EQ(output.layerType, 1);
}

TEST(OutputLayer, TakingFromAnEmptyListGivesAnEmptyTensor) {
    OutputLayer<float> output;
    const FloatTensor result = output.TakeResult();
    EXPECT_EQ(result.rank(), 0);
    EXPECT_FALSE(result.hasStorage());
}

TEST(OutputLayer, SecondTakeRightAfterAFullOneGivesAnEmptyTensor) {
    OutputLayer<float> output;
    output.AddTensor(countingTensor({1, 2, 1}), nullptr);
    EXPECT_EQ(output.TakeResult().rank(), 3);
    EXPECT_EQ(output.TakeResult().rank(), 0);
}

TEST(OutputLayer, TwoFramesComeBackAsOneTensorOldestFirstInItsOwnStorage) {
    OutputLayer<float> output;
    const FloatTensor first = makeTensor({1, 2, 1}, {1, 2});
    output.AddTensor(first, nullptr);
    output.AddTensor(makeTensor({1, 2, 1}, {3, 4}), nullptr);
    const FloatTensor result = output.TakeResult();
    EXPECT_EQ(result.shape(), (Shape{2, 2, 1}));
    EXPECT_THAT(valuesOf(result), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(result.useCount(), 1);
    EXPECT_EQ(first.useCount(), 1);
}

TEST(OutputLayer, EmptyTensorsAmongTheResultsCopyNothing) {
    OutputLayer<float> output;
    output.AddTensor(makeTensor({1, 2, 1}, {1, 2}), nullptr);
    output.AddTensor(FloatTensor(), nullptr);
    output.AddTensor(FloatTensor({0, 2, 1}), nullptr);
    output.AddTensor(makeTensor({1, 2, 1}, {3, 4}), nullptr);
    const FloatTensor result = output.TakeResult();
    EXPECT_EQ(result.shape(), (Shape{2, 2, 1}));
    EXPECT_THAT(valuesOf(result), ElementsAre(1, 2, 3, 4));
}

TEST(OutputLayer, OnlyEmptyTensorsGiveAResultOfRankThreeWithoutElements) {
    OutputLayer<float> output;
    output.AddTensor(FloatTensor(), nullptr);
    EXPECT_EQ(output.TakeResult().shape(), (Shape{0, 0, 0}));
}

TEST(OutputLayer, ShapeOfTheFirstTensorRulesAndTheRestOfTheBlockIsZero) {
    OutputLayer<float> output;
    output.AddTensor(makeTensor({1, 3, 1}, {1, 2, 3}), nullptr);
    output.AddTensor(makeTensor({1, 2, 1}, {4, 5}), nullptr);
    const FloatTensor result = output.TakeResult();
    EXPECT_EQ(result.shape(), (Shape{2, 3, 1}));
    EXPECT_THAT(valuesOf(result), ElementsAre(1, 2, 3, 4, 5, 0));
}

TEST(OutputLayer, LaterTensorsThatOverrunTheResultRaiseOnce) {
    OutputLayer<float> output;
    output.AddTensor(makeTensor({1, 1, 1}, {1}), nullptr);
    output.AddTensor(makeTensor({1, 3, 1}, {2, 3, 4}), nullptr);
    EXPECT_THROW(output.TakeResult(), std::runtime_error);
    EXPECT_EQ(output.TakeResult().rank(), 0);
}

TEST(OutputLayer, TensorsOfRankOneAndTwoRaiseWhenTheyAreJoined) {
    OutputLayer<float> output;
    output.AddTensor(makeTensor({2}, {1, 2}), nullptr);
    EXPECT_THROW(output.TakeResult(), std::runtime_error);
    output.AddTensor(makeTensor({1, 2}, {1, 2}), nullptr);
    EXPECT_THROW(output.TakeResult(), std::runtime_error);
}

TEST(OutputLayer, ResetDropsTheResults) {
    OutputLayer<float> output;
    output.AddTensor(countingTensor({1, 2, 1}), nullptr);
    output.ResetState();
    EXPECT_EQ(output.TakeResult().rank(), 0);
}

TEST(LayerSlot, SecondAlternativeReadsAsBadVariantAccess) {
    const LayerSlot<float> slot = std::make_shared<ReservedLayer>();
    try {
        layerOf<float>(slot);
        FAIL() << "no failure";
    } catch (const std::bad_variant_access& failure) {
        EXPECT_STREQ(failure.what(), "bad variant access");
    }
}

TEST(LayerSlot, UnknownNameReadsAsInvalidKey) {
    const LayerMap<float> layers;
    try {
        findLayer<float>(layers, "nobody");
        FAIL() << "no failure";
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ(failure.what(), "invalid map<K, T> key");
    }
}

}  // namespace
}  // namespace vorun
