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
using test::loadedModel;
using test::loads;
using test::makeTensor;
using test::valuesOf;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

ConvRecord plainRecord() {
    return convRecord({1, 1, 1, 1}, {1});
}

ModelWriter fileOf(const ConvRecord& conv) {
    ModelWriter file;
    file.addConv("conv", "input", conv).setOutputSource("conv");
    return file;
}

TEST(ConvRecord, StridesBelowOneAreRefused) {
    for (const int stride : {0, -1, -128}) {
        ConvRecord conv = plainRecord();
        conv.timeStride = static_cast<std::int8_t>(stride);
        EXPECT_FALSE(loads(fileOf(conv))) << stride;
        conv = plainRecord();
        conv.heightStride = static_cast<std::int8_t>(stride);
        EXPECT_FALSE(loads(fileOf(conv))) << stride;
    }
}

TEST(ConvRecord, HistoryWithoutRowsIsRefused) {
    ConvRecord conv = convRecord({2, 1, 1, 1}, {1, 1});
    conv.timeDilation = -1;
    EXPECT_FALSE(loads(fileOf(conv)));
    EXPECT_FALSE(loads(fileOf(convRecord({0, 1, 1, 1}, {}))));
}

TEST(ConvRecord, HistoryBeyond31BitsIsRefused) {
    ConvRecord conv = convRecord({100'000'000, 0, 1, 1}, {});
    conv.timeDilation = 127;
    EXPECT_FALSE(loads(fileOf(conv)));
}

TEST(ConvRecord, KernelWithoutValuesMayNotOutgrowItsFile) {
    EXPECT_FALSE(loads(fileOf(convRecord({1'000'000, 0, 1, 1}, {}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 0, 1, 1'000'000}, {}))));
    EXPECT_TRUE(loads(fileOf(convRecord({3, 0, 1, 4}, {}))));
}

TEST(ConvRecord, WeightsOfRankOneToThreeAreRefused) {
    EXPECT_FALSE(loads(fileOf(convRecord({1}, {1}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 1}, {1}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 1, 1}, {1}))));
}

TEST(ConvRecord, WeightsOfHigherRankUseTheFirstFourDimensions) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 2, 2}, {3, 5, 7, 9})));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {1}))), ElementsAre(3, 5));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 1, 1, 2, 0}, {}))));
}

TEST(ConvRecord, EmptyWeightsLoadWhereTheyLeaveAHistoryRow) {
    ConvRecord conv = convRecord({}, {});
    EXPECT_FALSE(loads(fileOf(conv)));
    conv.timeDilation = 0;
    NeuralModel<float> model = loadedModel(fileOf(conv));
    EXPECT_EQ(evaluate(model, countingTensor({1, 2, 1})).shape(), (Shape{1, 2, 0}));
}

TEST(ConvRecord, NegativeWeightDimensionsAreRefused) {
    EXPECT_FALSE(loads(fileOf(convRecord({-1, -1, 1, 1}, {1}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 1, -1, 1}, {}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 0, -1, 1}, {}))));
}

TEST(ConvRecord, WeightsWhoseProductWrapsAreRefused) {
    EXPECT_FALSE(loads(fileOf(convRecord({65536, 65536, 1, 1}, {}))));
    EXPECT_FALSE(loads(fileOf(convRecord({1, 1, 641, 6700417}, {1}))));
}

TEST(ConvRecord, BiasShorterThanTheChannelsIsRefused) {
    ConvRecord conv = convRecord({1, 1, 1, 3}, {1, 2, 3});
    conv.bias = {{2}, {1, 2}};
    EXPECT_FALSE(loads(fileOf(conv)));
    conv.bias = {{-2}, {}};
    EXPECT_FALSE(loads(fileOf(conv)));
    conv.bias = {{0}, {}};
    EXPECT_TRUE(loads(fileOf(conv)));
}

TEST(ConvInput, FramesWithoutChannelsRaise) {
    NeuralModel<float> ordinary = loadedModel(fileOf(convRecord({1, 1, 2, 1}, {1, 1})));
    EXPECT_THROW(evaluate(ordinary, FloatTensor({1, 3, 0})), std::runtime_error);
    NeuralModel<float> depthwise = loadedModel(fileOf(plainRecord()));
    EXPECT_THROW(evaluate(depthwise, FloatTensor({1, 3, 0})), std::runtime_error);
    EXPECT_EQ(evaluate(depthwise, FloatTensor({0, 3, 0})).rank(), 0);
}

TEST(ConvInput, RanksOneAndTwoRaise) {
    NeuralModel<float> model = loadedModel(fileOf(plainRecord()));
    EXPECT_THROW(evaluate(model, countingTensor({1})), std::runtime_error);
    EXPECT_THROW(evaluate(model, countingTensor({1, 1})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1, 1}, {4}))), ElementsAre(4));
}

TEST(ConvInput, FewerChannelsThanTheKernelRaise) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 3, 1}, {1, 1, 1})));
    EXPECT_THROW(evaluate(model, countingTensor({1, 4, 2})), std::runtime_error);
}

TEST(ConvInput, MoreChannelsThanTheKernelUseTheFirst) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 2, 1}, {1, 10})));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 3}, {1, 2, 3, 4, 5, 6}))),
                ElementsAre(21, 54));
}

TEST(ConvInput, DepthwiseChannelsBelowTheInputsReadTheFramesAsAFlatArray) {
    // Three channels into two: a ring row holds two values a bin, taken from the input's start.
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 2}, {1, 1})));
    EXPECT_THAT(valuesOf(evaluate(model, countingTensor({1, 2, 3}))), ElementsAre(1, 2, 3, 4));
}

TEST(ConvInput, DepthwiseChannelsThatAreNoMultipleRaiseBeforeReadingBeyondTheInput) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 3}, {1, 1, 1})));
    EXPECT_THROW(evaluate(model, countingTensor({1, 4, 2})), std::runtime_error);
    // Inside a longer input the first rows exist, and are computed.
    NeuralModel<float> longer = loadedModel(fileOf(convRecord({1, 1, 1, 3}, {1, 1, 1})));
    EXPECT_THROW(evaluate(longer, countingTensor({2, 1, 2})), std::runtime_error);
    EXPECT_THAT(valuesOf(longer.output->TakeResult()), ElementsAre(1, 2, 3));
}

TEST(ConvInput, RepeatedChannelsMayLeaveTheRestOfARowAlone) {
    // Two channels into five: each is repeated twice, so a bin after the first starts one early.
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 5}, {1, 1, 1, 1, 1})));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 2}, {1, 2, 3, 4}))),
                ElementsAre(1, 1, 2, 2, 3, 3, 4, 4, 0, 0));
}

TEST(ConvInput, LowerHeightLeavesTheRestOfTheRingRowAsItWas) {
    NeuralModel<float> model = loadedModel(fileOf(plainRecord()));
    evaluate(model, makeTensor({1, 3, 1}, {1, 2, 3}));
    const FloatTensor result = evaluate(model, makeTensor({1, 2, 1}, {8, 9}));
    EXPECT_THAT(valuesOf(result), ElementsAre(8, 9, 3));
}

TEST(ConvInput, GreaterHeightSpillsIntoTheNextRowsInsideTheRing) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({3, 1, 1, 1}, {100, 10, 1})));
    evaluate(model, makeTensor({1, 2, 1}, {1, 2}));
    // Into the rows of frames 1 and 2; frame 2 then overwrites its own.
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 4, 1}, {3, 4, 5, 6}))),
                ElementsAre(500 + 10 + 3, 600 + 20 + 4));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 1}, {7, 8}))), ElementsAre(137, 248));
}

TEST(ConvInput, GreaterHeightThatWouldPassTheEndOfTheRingRaisesAndLeavesTheStreamAlone) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({2, 1, 1, 1}, {10, 1})));
    evaluate(model, makeTensor({1, 2, 1}, {1, 2}));
    EXPECT_THROW(evaluate(model, countingTensor({1, 3, 1})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 1}, {3, 4}))), ElementsAre(13, 24));
}

TEST(ConvInput, GreaterHeightOfRepeatedChannelsStaysInsideTheRingToo) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 4}, {1, 1, 1, 1})));
    evaluate(model, countingTensor({1, 1, 2}));
    EXPECT_THROW(evaluate(model, countingTensor({1, 2, 2})), std::runtime_error);
}

TEST(ConvInput, HeightOfTheFirstFrameOutlivesAReset) {
    NeuralModel<float> model = loadedModel(fileOf(plainRecord()));
    evaluate(model, countingTensor({1, 2, 1}));
    model.Reset();
    EXPECT_THROW(evaluate(model, countingTensor({1, 3, 1})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {5}))), ElementsAre(5, 0));
}

TEST(ConvInput, OrdinaryAndDepthwiseFramesOnOneRingStayInsideIt) {
    NeuralModel<float> model = loadedModel(fileOf(convRecord({1, 1, 1, 2}, {1, 10})));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 2}, {3, 4}))), ElementsAre(3, 40));
    // One channel: the ordinary path, over a ring with two channels a bin.
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {5}))), ElementsAre(5, 50));
    NeuralModel<float> narrow = loadedModel(fileOf(convRecord({1, 1, 1, 2}, {1, 10})));
    evaluate(narrow, countingTensor({1, 1, 1}));
    EXPECT_THROW(evaluate(narrow, countingTensor({1, 1, 2})), std::runtime_error);
}

TEST(ConvInput, HistoryBeyond31BitsRaises) {
    ConvRecord conv = convRecord({200, 1, 1, 1}, std::vector<float>(200, 1.0F));
    conv.timeDilation = 127;
    NeuralModel<float> model = loadedModel(fileOf(conv));
    EXPECT_THROW(evaluate(model, FloatTensor({1, 100'000, 1})), std::runtime_error);
}

TEST(ConvInput, OutputBeyond31BitsRaises) {
    const std::int32_t channels = 30'000;
    ConvRecord conv = convRecord({1, 1, 1, channels},
                                 std::vector<float>(static_cast<std::size_t>(channels), 1.0F));
    NeuralModel<float> model = loadedModel(fileOf(conv));
    EXPECT_THROW(evaluate(model, FloatTensor({1, 100'000, 1})), std::runtime_error);
}

TEST(ConvRecord, EmptyKernelDoesNotSizeADepthwiseRing) {
    ConvRecord record;
    record.weights = {{8000, 0, 1, 8000}, {}};
    ModelWriter file;
    file.addConv("conv", "input", record).setOutputSource("conv");
    EXPECT_FALSE(loads(file));
}

}  // namespace
}  // namespace vorun
