#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::convRecord;
using test::countingTensor;
using test::evaluate;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::makeTensor;
using test::RecordingLayer;
using test::uniformConv;
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

/** Scales a channel into as many channels as there are factors. */
ConvRecord scaled(const std::vector<float>& factors) {
    return convRecord({1, 1, 1, static_cast<std::int32_t>(factors.size())}, factors);
}

/** Two and three channels of a mono input, joined. */
ModelWriter twoAndThree() {
    ModelWriter file;
    file.addConv("two", "input", scaled({1, 2}))
        .addConv("three", "input", scaled({10, 20, 30}))
        .addConcat("join", {"two", "three"})
        .setOutputSource("join");
    return file;
}

/** The input beside a copy of itself that is that many frames late. */
NeuralModel<float> besideLateBranch(std::int8_t frames) {
    ConvRecord late = uniformConv({1, 1, 1, 1}, 1.0F);
    late.lookahead = frames;
    ModelWriter file;
    file.addConv("late", "input", late)
        .addConcat("join", {"input", "late"})
        .setOutputSource("join");
    return loadedModel(file);
}

/** Joins those of "input" and "low", which holds every other bin of it. */
NeuralModel<float> withLowBranch(const std::vector<std::string>& inputs) {
    ConvRecord halved = uniformConv({1, 1, 1, 1}, 1.0F);
    halved.heightStride = 2;
    ModelWriter file;
    file.addConv("low", "input", halved).addConcat("join", inputs).setOutputSource("join");
    return loadedModel(file);
}

TEST(ConcatLayer, PutsTheFirstInputsChannelsFirstInEachBin) {
    NeuralModel<float> model = loadedModel(twoAndThree());
    const FloatTensor result = evaluate(model, makeTensor({1, 2, 1}, {1, 4}));
    EXPECT_EQ(result.shape(), (Shape{1, 2, 5}));
    EXPECT_THAT(valuesOf(result), ElementsAre(1, 2, 10, 20, 30, 4, 8, 40, 80, 120));
}

TEST(ConcatLayer, OrderIsThatOfTheRecordNotOfArrival) {
    ModelWriter file = twoAndThree();
    file.addConcat("reversed", {"three", "two"}).setOutputSource("reversed");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {1}))),
                ElementsAre(10, 20, 30, 1, 2));
}

TEST(ConcatLayer, EachFrameOfACallIsJoinedAlone) {
    NeuralModel<float> model = loadedModel(twoAndThree());
    const FloatTensor result = evaluate(model, makeTensor({3, 1, 1}, {1, 2, 3}));
    EXPECT_EQ(result.shape(), (Shape{3, 1, 5}));
    EXPECT_THAT(valuesOf(result),
                ElementsAre(1, 2, 10, 20, 30, 2, 4, 20, 40, 60, 3, 6, 30, 60, 90));
}

TEST(ConcatLayer, OneInputPassesThrough) {
    ModelWriter file;
    file.addConcat("join", {"input"}).setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 2}, {3, 4}))), ElementsAre(3, 4));
}

TEST(ConcatLayer, DelayedBranchHoldsTheOthersBack) {
    NeuralModel<float> model = besideLateBranch(2);
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {1})).shape(), IsEmpty());
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {2})).shape(), IsEmpty());
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {3}))), ElementsAre(1, 3));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {4}))), ElementsAre(2, 4));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {5}))), ElementsAre(3, 5));
}

TEST(ConcatLayer, ResetDropsTheWaitingFrames) {
    NeuralModel<float> model = besideLateBranch(1);
    evaluate(model, makeTensor({1, 1, 1}, {9}));
    model.Reset();
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {1})).shape(), IsEmpty());
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {2}))), ElementsAre(1, 2));
}

TEST(ConcatLayer, TickAndLatencyPassThrough) {
    NeuralModel<float> model = loadedModel(twoAndThree());
    std::vector<std::string> log;
    RecordingLayer consumer("consumer", log);
    consumer.ownLatency = 3;
    const auto join = layerNamed(model, "join");
    join->consumers.push_back(&consumer);
    join->SkipFrame();
    EXPECT_THAT(log, ElementsAre("consumer tick"));
    EXPECT_EQ(join->GetLatency(2), 6);
    EXPECT_EQ(join->layerType, 0);
}

TEST(ConcatLayer, HeightIsThatOfTheFirstInput) {
    NeuralModel<float> model = withLowBranch({"low", "input"});
    const FloatTensor result = evaluate(model, makeTensor({1, 4, 1}, {1, 2, 3, 4}));
    EXPECT_EQ(result.shape(), (Shape{1, 2, 2}));
    EXPECT_THAT(valuesOf(result), ElementsAre(1, 1, 3, 2));
}

TEST(ConcatLayer, InputLowerThanTheFirstIsRefusedAndTheLayerStaysUsable) {
    NeuralModel<float> model = withLowBranch({"input", "low"});
    EXPECT_THROW(evaluate(model, countingTensor({1, 4, 1})), std::runtime_error);
    model.Reset();
    EXPECT_THROW(evaluate(model, countingTensor({1, 4, 1})), std::runtime_error);
}

TEST(ConcatLayer, FramesWithoutBinsOrChannelsJoin) {
    ModelWriter file;
    file.addActivation("relu", "input", LayerType::relu)
        .addConcat("join", {"input", "relu"})
        .setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_EQ(evaluate(model, FloatTensor({1, 0, 3})).shape(), (Shape{1, 0, 6}));
    EXPECT_EQ(evaluate(model, FloatTensor({1, 3, 0})).shape(), (Shape{1, 3, 0}));
}

TEST(ConcatLayer, LayerNamedTwiceFeedsItsFirstQueueAlone) {
    ModelWriter file;
    file.addConcat("join", {"input", "input"}).setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {1})).shape(), IsEmpty());
    }
}

TEST(ConcatLayer, WithoutInputsLoadsAndStaysSilent) {
    ModelWriter file;
    file.addConcat("join", {}).setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {1})).shape(), IsEmpty());
}

TEST(ConcatLayer, ThreeBranchesOfManyFedChannelsJoin) {
    ModelWriter file;
    file.addActivation("a", "input", LayerType::relu)
        .addActivation("b", "input", LayerType::relu)
        .addConcat("join", {"input", "a", "b"})
        .setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    const FloatTensor result = evaluate(model, countingTensor({1, 1, 5000}));
    EXPECT_EQ(result.shape(), (Shape{1, 1, 15000}));
    EXPECT_EQ(result.readData()[14999], 5000.0F);
}

/** Joins that double the channels `count` times over. */
ModelWriter doublings(int count) {
    ModelWriter file;
    std::string previous = "input";
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        file.addActivation("r" + number, previous, LayerType::relu)
            .addConcat("j" + number, {previous, "r" + number});
        previous = "j" + number;
    }
    return file.setOutputSource(previous);
}

TEST(ConcatLayer, DoublesChannelsTwelveTimesButNotWithoutEnd) {
    NeuralModel<float> twelve = loadedModel(doublings(12));
    EXPECT_EQ(evaluate(twelve, makeTensor({1, 1, 1}, {1})).shape(), (Shape{1, 1, 4096}));
    EXPECT_EQ(evaluate(twelve, makeTensor({1, 1, 2}, {1, 2})).shape(), (Shape{1, 1, 8192}));
    NeuralModel<float> thirty = loadedModel(doublings(30));
    EXPECT_THROW(evaluate(thirty, makeTensor({1, 1, 1}, {1})), std::runtime_error);
}

}  // namespace
}  // namespace vorun
