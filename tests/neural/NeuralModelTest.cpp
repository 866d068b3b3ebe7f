#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/NeuralModel.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatLayer;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::makeTensor;
using test::RecordingLayer;
using test::valuesOf;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

/** Sums the last `taps` frames of a single bin, after `lookahead` frames. */
ConvRecord summingConv(std::int32_t taps, std::int8_t lookahead = 0) {
    ConvRecord record;
    record.weights = {{taps, 1, 1, 1}, std::vector<float>(static_cast<std::size_t>(taps), 1.0F)};
    record.lookahead = lookahead;
    return record;
}

FloatTensor oneValue(float value) {
    return makeTensor({1, 1, 1}, {value});
}

TEST(NeuralModel, DefaultModelPassesTensorsThrough) {
    NeuralModel<float> model;
    const FloatTensor result = evaluate(model, countingTensor({2, 3, 2}));
    EXPECT_EQ(result.shape(), (Shape{2, 3, 2}));
    EXPECT_THAT(valuesOf(result), testing::ElementsAreArray(valuesOf(countingTensor({2, 3, 2}))));
}

TEST(NeuralModel, DefaultModelHoldsTheTwoEndsAndZeroValues) {
    const NeuralModel<float> model;
    ASSERT_EQ(model.layers.size(), 2U);
    EXPECT_EQ(layerNamed(model, "input"), model.input);
    EXPECT_EQ(layerNamed(model, "output"), model.output);
    EXPECT_THAT(model.input->consumers, ElementsAre(model.output.get()));
    EXPECT_EQ(model.output->layerType, 1);
    EXPECT_EQ(model.latency, 0);
    EXPECT_EQ(model.sampleRate, 0.0);
    EXPECT_TRUE(model.busNames.empty());
    EXPECT_TRUE(model.enabled);
}

TEST(NeuralModel, ResetOfADefaultModelLeavesBothEntriesAndDropsWaitingResults) {
    NeuralModel<float> model;
    model.input->AddTensor(oneValue(1), nullptr);
    model.Reset();
    EXPECT_EQ(model.layers.size(), 2U);
    EXPECT_EQ(model.output->TakeResult().rank(), 0);
    EXPECT_EQ(evaluate(model, oneValue(1)).rank(), 3);
}

TEST(NeuralModel, ResetWalksTheNamesInAscendingByteOrder) {
    NeuralModel<float> model;
    std::vector<std::string> log;
    for (const std::string name : {"b", "\xC3\xA4", "B", "ab", "a"}) {
        const std::shared_ptr<FloatLayer> layer = std::make_shared<RecordingLayer>(name, log);
        model.layers[name] = layer;
    }
    model.Reset();
    EXPECT_THAT(log, ElementsAre("B reset", "a reset", "ab reset", "b reset", "\xC3\xA4 reset"));
}

TEST(NeuralModel, ResetRaisesBadVariantAccessForTheSecondAlternative) {
    NeuralModel<float> model;
    model.layers["middle"] = std::make_shared<ReservedLayer>();
    EXPECT_THROW(model.Reset(), std::bad_variant_access);
}

TEST(NeuralModel, ForkFinishesTheFirstSubtreeBeforeTheSecondConsumer) {
    NeuralModel<float> model;
    std::vector<std::string> log;
    RecordingLayer first("first", log);
    RecordingLayer behindFirst("behind first", log);
    RecordingLayer second("second", log);
    first.consumers = {&behindFirst};
    model.input->consumers = {&first, &second};
    model.input->AddTensor(oneValue(1), nullptr);
    EXPECT_THAT(log, ElementsAre("first tensor", "behind first tensor", "second tensor"));
}

TEST(NeuralModel, ConvolutionCallsItsConsumersOncePerFrameAndAnActivationOnce) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(1)).addActivation("relu", "input", LayerType::relu);
    NeuralModel<float> model = loadedModel(file);
    std::vector<std::string> log;
    RecordingLayer behindConv("conv", log);
    RecordingLayer behindRelu("relu", log);
    layerNamed(model, "conv")->consumers.push_back(&behindConv);
    layerNamed(model, "relu")->consumers.push_back(&behindRelu);
    model.input->AddTensor(countingTensor({2, 1, 1}), nullptr);
    EXPECT_THAT(log, ElementsAre("conv tensor", "conv tensor", "relu tensor"));
    EXPECT_EQ(behindConv.lastSource, layerNamed(model, "conv").get());
}

TEST(NeuralModel, ConsumersStandInTheOrderOfTheFile) {
    ModelWriter file;
    file.addActivation("z", "input", LayerType::relu)
        .addActivation("a", "input", LayerType::relu)
        .addActivation("m", "z", LayerType::relu)
        .setOutputSource("input");
    const NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(model.input->consumers,
                ElementsAre(layerNamed(model, "z").get(), layerNamed(model, "a").get(),
                            model.output.get()));
    EXPECT_THAT(layerNamed(model, "z")->consumers, ElementsAre(layerNamed(model, "m").get()));
}

TEST(NeuralModel, TwoFramesAtOnceAreTwoSingleFrames) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(3))
        .addActivation("sigmoid", "conv", LayerType::sigmoid)
        .setOutputSource("sigmoid");
    NeuralModel<float> single = loadedModel(file);
    NeuralModel<float> both = loadedModel(file);
    const FloatTensor first = evaluate(single, oneValue(0.25F));
    const FloatTensor second = evaluate(single, oneValue(-0.75F));
    const FloatTensor joined = evaluate(both, makeTensor({2, 1, 1}, {0.25F, -0.75F}));
    EXPECT_EQ(joined.shape(), (Shape{2, 1, 1}));
    EXPECT_THAT(valuesOf(joined), ElementsAre(first.readData()[0], second.readData()[0]));
}

TEST(NeuralModel, LatencyOfTwoGivesEmptyResultsForTwoFrames) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(1, 2)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_EQ(model.latency, 2);
    EXPECT_EQ(evaluate(model, oneValue(1)).rank(), 0);
    EXPECT_EQ(evaluate(model, oneValue(2)).rank(), 0);
    EXPECT_THAT(valuesOf(evaluate(model, oneValue(3))), ElementsAre(3));
}

TEST(NeuralModel, ResultCanHoldMoreFramesThanOneBranchGives) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(1)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_EQ(evaluate(model, countingTensor({4, 1, 1})).shape(), (Shape{4, 1, 1}));
}

TEST(NeuralModel, LatencyScalesByTheStridesBeforeIt) {
    ConvRecord strided = summingConv(1, 3);
    strided.timeStride = 2;
    ModelWriter file;
    file.addConv("first", "input", strided)
        .addConv("second", "first", summingConv(1, 5))
        .addConv("side", "input", summingConv(1, 12))
        .setOutputSource("second");
    EXPECT_EQ(loadedModel(file).latency, 3 + 2 * 5);
}

TEST(NeuralModel, LatencyTakesTheLongestPathAlsoWhenItIsNotTheOutputs) {
    ModelWriter file;
    file.addConv("long", "input", summingConv(1, 9)).setOutputSource("input");
    EXPECT_EQ(loadedModel(file).latency, 9);
}

TEST(NeuralModel, LatencyBelowZeroCountsAsZero) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(1, -4)).setOutputSource("conv");
    EXPECT_EQ(loadedModel(file).latency, 0);
}

TEST(NeuralModel, AfterResetTheSameInputGivesTheSameOutput) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(3, 1)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    std::vector<std::vector<float>> runs[2];
    for (auto& run : runs) {
        for (const float value : {1.0F, 2.0F, 4.0F, 8.0F}) {
            run.push_back(valuesOf(evaluate(model, oneValue(value))));
        }
        model.Reset();
    }
    EXPECT_EQ(runs[0], runs[1]);
    EXPECT_THAT(runs[0][3], ElementsAre(14));
}

TEST(NeuralModel, ResetKeepsTheHeader) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(1, 2)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    model.Reset();
    EXPECT_EQ(model.latency, 2);
    EXPECT_EQ(model.fftSize, 512);
}

TEST(NeuralModel, ModelAndItsCopyShareTheirHistory) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(2)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    NeuralModel<float> copy = model;
    EXPECT_EQ(layerNamed(model, "conv"), layerNamed(copy, "conv"));
    EXPECT_EQ(copy.busNames, model.busNames);
    EXPECT_THAT(valuesOf(evaluate(model, oneValue(1))), ElementsAre(1));
    EXPECT_THAT(valuesOf(evaluate(copy, oneValue(2))), ElementsAre(3));
}

TEST(NeuralModel, GrowingVectorOfModelsKeepsThemRunning) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(2)).setOutputSource("conv");
    std::vector<NeuralModel<float>> models;
    for (int i = 0; i < 5; ++i) {
        models.push_back(loadedModel(file));
    }
    evaluate(models[0], oneValue(1));
    EXPECT_THAT(valuesOf(evaluate(models[0], oneValue(2))), ElementsAre(3));
    EXPECT_THAT(valuesOf(evaluate(models[4], oneValue(2))), ElementsAre(2));
}

TEST(NeuralModel, FailedEvaluationLeavesTheModelUsable) {
    ModelWriter file;
    file.addConv("conv", "input", summingConv(2)).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THROW(evaluate(model, makeTensor({1, 1}, {1})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, oneValue(2))), ElementsAre(2));
}

}  // namespace
}  // namespace vorun
