#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
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
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

/** Joins three branches: two channels of the input each, picked out of six. */
NeuralModel<float> threeBranches(std::int8_t operation, const std::vector<std::string>& inputs) {
    ModelWriter file;
    for (int branch = 0; branch < 3; ++branch) {
        std::vector<float> pick(12, 0.0F);
        pick[static_cast<std::size_t>(4 * branch)] = 1.0F;
        pick[static_cast<std::size_t>(4 * branch + 3)] = 1.0F;
        file.addConv(std::string(1, static_cast<char>('a' + branch)), "input",
                     convRecord({1, 1, 6, 2}, pick));
    }
    file.addArithmetic("join", inputs, operation).setOutputSource("join");
    return loadedModel(file);
}

/** What the operation makes of (2, 8), (3, 4) and (5, 16). */
std::vector<float> folded(std::int8_t operation, const std::vector<std::string>& inputs) {
    NeuralModel<float> model = threeBranches(operation, inputs);
    return valuesOf(evaluate(model, makeTensor({1, 1, 6}, {2, 8, 3, 4, 5, 16})));
}

TEST(ArithmeticLayer, CodeZeroMultiplies) {
    EXPECT_THAT(folded(0, {"a", "b"}), ElementsAre(6, 32));
    EXPECT_THAT(folded(0, {"a", "b", "c"}), ElementsAre(30, 512));
}

TEST(ArithmeticLayer, CodeOneDividesTheLaterInputByTheResult) {
    EXPECT_THAT(folded(1, {"a", "b"}), ElementsAre(1.5F, 0.5F));
    EXPECT_THAT(folded(1, {"a", "b", "c"}), ElementsAre(5.0F / 1.5F, 32));
}

TEST(ArithmeticLayer, CodeTwoAdds) {
    EXPECT_THAT(folded(2, {"a", "b"}), ElementsAre(5, 12));
    EXPECT_THAT(folded(2, {"a", "b", "c"}), ElementsAre(10, 28));
}

TEST(ArithmeticLayer, CodeThreeSubtractsTheResultFromTheLaterInput) {
    EXPECT_THAT(folded(3, {"a", "b"}), ElementsAre(1, -4));
    EXPECT_THAT(folded(3, {"a", "b", "c"}), ElementsAre(4, 20));
}

TEST(ArithmeticLayer, AnyOtherCodePassesTheFirstInput) {
    for (const int code : {-128, -1, 4, 7, 127}) {
        EXPECT_THAT(folded(static_cast<std::int8_t>(code), {"a", "b", "c"}), ElementsAre(2, 8))
            << code;
    }
}

TEST(ArithmeticLayer, OrderIsThatOfTheRecord) {
    EXPECT_THAT(folded(3, {"b", "a"}), ElementsAre(-1, 4));
    EXPECT_THAT(folded(1, {"c", "a"}), ElementsAre(0.4F, 0.5F));
}

TEST(ArithmeticLayer, OneInputPassesThrough) {
    EXPECT_THAT(folded(3, {"c"}), ElementsAre(5, 16));
}

TEST(ArithmeticLayer, ZeroInTheFirstInputDividesToInfinitiesAndNotANumber) {
    NeuralModel<float> model = threeBranches(1, {"a", "b"});
    const FloatTensor positive = evaluate(model, makeTensor({1, 1, 6}, {0, 0, 3, -4, 0, 0}));
    EXPECT_EQ(positive.readData()[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(positive.readData()[1], -std::numeric_limits<float>::infinity());
    const FloatTensor none = evaluate(model, makeTensor({1, 1, 6}, {0, 1, 0, 1, 0, 0}));
    EXPECT_TRUE(std::isnan(none.readData()[0]));
    EXPECT_EQ(none.readData()[1], 1.0F);
}

/** A branch two frames late beside the input itself. */
NeuralModel<float> lateBranch() {
    ConvRecord late = uniformConv({1, 1, 1, 1}, 1.0F);
    late.lookahead = 2;
    ModelWriter file;
    file.addConv("late", "input", late)
        .addArithmetic("join", {"input", "late"}, 2)
        .setOutputSource("join");
    return loadedModel(file);
}

TEST(ArithmeticLayer, FramesWaitForADelayedBranchAndStayOffsetByItsDelay) {
    NeuralModel<float> model = lateBranch();
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {1})).shape(), IsEmpty());
    EXPECT_THAT(evaluate(model, makeTensor({1, 1, 1}, {20})).shape(), IsEmpty());
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {300}))), ElementsAre(301));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {4000}))), ElementsAre(4020));
}

TEST(ArithmeticLayer, ResetDropsTheWaitingFrames) {
    NeuralModel<float> model = lateBranch();
    evaluate(model, makeTensor({1, 1, 1}, {1}));
    model.Reset();
    evaluate(model, makeTensor({1, 1, 1}, {20}));
    evaluate(model, makeTensor({1, 1, 1}, {300}));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {4000}))), ElementsAre(4020));
}

TEST(ArithmeticLayer, TickAndLatencyPassThrough) {
    NeuralModel<float> model = lateBranch();
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

TEST(ArithmeticLayer, ResultDoesNotWriteIntoTheFramesOfOtherConsumers) {
    ModelWriter file;
    file.addConv("double", "input", convRecord({1, 1, 1, 1}, {2}))
        .addArithmetic("sum", {"double", "input"}, 2)
        .addArithmetic("product", {"double", "sum"}, 0)
        .setOutputSource("product");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {5}))), ElementsAre(150));
}

TEST(ArithmeticLayer, ShapeIsThatOfTheFirstInputAndLargerOnesAreCut) {
    ModelWriter file;
    file.addConv("mono", "input", convRecord({1, 1, 2, 1}, {1, 1}))
        .addArithmetic("join", {"mono", "input"}, 2)
        .setOutputSource("join");
    NeuralModel<float> model = loadedModel(file);
    const FloatTensor result = evaluate(model, makeTensor({1, 2, 2}, {1, 2, 3, 4}));
    EXPECT_EQ(result.shape(), (Shape{1, 2, 1}));
    EXPECT_THAT(valuesOf(result), ElementsAre(3 + 1, 7 + 2));
}

TEST(ArithmeticLayer, InputSmallerThanTheFirstIsRefusedUnlessNoStepReadsIt) {
    for (const int code : {0, 1, 2, 3, 9}) {
        ModelWriter file;
        file.addConv("mono", "input", convRecord({1, 1, 2, 1}, {1, 1}))
            .addArithmetic("join", {"input", "mono"}, static_cast<std::int8_t>(code))
            .setOutputSource("join");
        NeuralModel<float> model = loadedModel(file);
        if (code == 9) {
            EXPECT_NO_THROW(evaluate(model, countingTensor({1, 2, 2})));
        } else {
            EXPECT_THROW(evaluate(model, countingTensor({1, 2, 2})), std::runtime_error);
        }
    }
}

TEST(ArithmeticLayer, FramesWithoutElementsPass) {
    for (const int code : {0, 1, 2, 3, 4}) {
        ModelWriter file;
        file.addConcat("copy", {"input"})
            .addArithmetic("join", {"input", "copy"}, static_cast<std::int8_t>(code))
            .setOutputSource("join");
        NeuralModel<float> model = loadedModel(file);
        EXPECT_EQ(evaluate(model, FloatTensor({2, 0, 3})).shape(), (Shape{2, 0, 3}));
    }
}

}  // namespace
}  // namespace vorun
