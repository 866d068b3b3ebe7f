#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
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
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ConvRecord;
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

/** A model of one convolution, with a recorder behind it in front of the output. */
class ConvLayerTest : public testing::Test {
  protected:
    void load(const ConvRecord& record) {
        ModelWriter file;
        file.addConv("conv", "input", record).setOutputSource("conv");
        model_ = loadedModel(file);
        layerNamed(model_, "conv")->consumers = {&recorder_, model_.output.get()};
    }
    FloatTensor run(const FloatTensor& input) { return evaluate(model_, input); }
    std::vector<float> runValue(float value) {
        return valuesOf(run(makeTensor({1, 1, 1}, {value})));
    }
    std::vector<float> runColumn(const std::vector<float>& bins) {
        const auto height = static_cast<std::int32_t>(bins.size());
        return valuesOf(run(makeTensor({1, height, 1}, bins)));
    }

    std::vector<std::string> log_;
    RecordingLayer recorder_{"conv", log_};
    NeuralModel<float> model_;
};

TEST_F(ConvLayerTest, TimeStrideTwoGivesEverySecondFrameAndATickForTheOthers) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.timeStride = 2;
    load(conv);
    for (const float value : {0.0F, 1.0F, 2.0F, 3.0F, 4.0F}) {
        runValue(value);
    }
    EXPECT_THAT(log_,
                ElementsAre("conv tensor", "conv tick", "conv tensor", "conv tick", "conv tensor"));
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(0), ElementsAre(2), ElementsAre(4)));
}

TEST_F(ConvLayerTest, LookaheadSwallowsFramesWithTicksWhileTheRingFills) {
    ConvRecord conv = convRecord({4, 1, 1, 1}, {1000, 100, 10, 1});
    conv.lookahead = 3;
    load(conv);
    for (const float value : {1.0F, 2.0F, 3.0F}) {
        EXPECT_THAT(runValue(value), IsEmpty());
    }
    EXPECT_THAT(log_, ElementsAre("conv tick", "conv tick", "conv tick"));
    EXPECT_THAT(runValue(4), ElementsAre(1234));
}

TEST_F(ConvLayerTest, LookaheadSetsThePhaseOfTheTimeStride) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.lookahead = 3;
    conv.timeStride = 2;
    load(conv);
    for (int t = 0; t < 7; ++t) {
        runValue(static_cast<float>(t));
    }
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(3), ElementsAre(5)));
    EXPECT_THAT(log_, ElementsAre("conv tick", "conv tick", "conv tick", "conv tensor", "conv tick",
                                  "conv tensor", "conv tick"));
}

TEST_F(ConvLayerTest, NegativeLookaheadOnlyShiftsThePhase) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.lookahead = -2;
    conv.timeStride = 3;
    load(conv);
    for (int t = 0; t < 6; ++t) {
        runValue(static_cast<float>(t));
    }
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(1), ElementsAre(4)));
}

TEST_F(ConvLayerTest, DilationTwoReadsTheFramesFourTwoAndZeroBack) {
    ConvRecord conv = convRecord({3, 1, 1, 1}, {100, 10, 1});
    conv.timeDilation = 2;
    load(conv);
    for (const float value : {1.0F, 2.0F, 3.0F, 4.0F}) {
        runValue(value);
    }
    EXPECT_THAT(runValue(5), ElementsAre(135));
    EXPECT_THAT(runValue(6), ElementsAre(246));
}

TEST_F(ConvLayerTest, DilationZeroWithOneHistoryRowMeetsTheCurrentFrameWithEveryTap) {
    ConvRecord conv = convRecord({3, 1, 1, 1}, {100, 10, 1});
    conv.timeDilation = 0;
    load(conv);
    EXPECT_THAT(runValue(2), ElementsAre(222));
    EXPECT_THAT(runValue(3), ElementsAre(333));
}

TEST_F(ConvLayerTest, NegativeDilationOfASingleTapComputes) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {2});
    conv.timeDilation = -1;
    load(conv);
    EXPECT_THAT(runValue(2), ElementsAre(4));
}

TEST_F(ConvLayerTest, FirstFrameAfterResetSeesZerosForOlderTaps) {
    load(convRecord({2, 1, 1, 1}, {10, 1}));
    runValue(7);
    EXPECT_THAT(runValue(1), ElementsAre(71));
    model_.Reset();
    EXPECT_THAT(runValue(1), ElementsAre(1));
}

TEST_F(ConvLayerTest, ResetBeforeTheFirstFrameChangesNothing) {
    load(convRecord({2, 1, 1, 1}, {10, 1}));
    model_.Reset();
    EXPECT_THAT(runValue(7), ElementsAre(7));
    EXPECT_THAT(runValue(1), ElementsAre(71));
}

TEST_F(ConvLayerTest, HeightKernelThreeIsCentredAndKeepsTheHeight) {
    load(convRecord({1, 3, 1, 1}, {100, 10, 1}));
    EXPECT_THAT(runColumn({1, 2, 3}), ElementsAre(12, 123, 230));
}

TEST_F(ConvLayerTest, HeightKernelFourWithStrideTwoStartsOneBinEarlyAndHalvesTheHeight) {
    ConvRecord conv = convRecord({1, 4, 1, 1}, {1000, 100, 10, 1});
    conv.heightStride = 2;
    load(conv);
    EXPECT_THAT(runColumn({1, 2, 3, 4}), ElementsAre(123, 2340));
}

TEST_F(ConvLayerTest, HeightStrideAboveTheKernelStartsAtBinZero) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.heightStride = 2;
    load(conv);
    EXPECT_THAT(runColumn({1, 2, 3, 4}), ElementsAre(1, 3));
}

TEST_F(ConvLayerTest, HeightStrideFarAboveTheKernelTruncatesTowardZero) {
    // (1 - 4) / 2 is -1, so the kernel stands on the second bin of each four.
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.heightStride = 4;
    load(conv);
    EXPECT_THAT(runColumn({1, 2, 3, 4, 5, 6, 7, 8}), ElementsAre(2, 6));
}

TEST_F(ConvLayerTest, HeightThatTheStrideDoesNotDivideDropsTheLastBins) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.heightStride = 2;
    load(conv);
    EXPECT_THAT(runColumn({1, 2, 3, 4, 5}), ElementsAre(1, 3));
}

TEST_F(ConvLayerTest, HeightBelowTheStrideGivesTensorsWithoutBins) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.heightStride = 2;
    load(conv);
    EXPECT_EQ(run(countingTensor({1, 1, 1})).shape(), (Shape{1, 0, 1}));
}

TEST_F(ConvLayerTest, OneInputChannelIsTheOrdinaryPath) {
    load(convRecord({1, 1, 1, 3}, {1, 10, 100}));
    EXPECT_THAT(runValue(2), ElementsAre(2, 20, 200));
}

TEST_F(ConvLayerTest, ChannelsAreMixedByTheWeightMatrix) {
    load(convRecord({1, 1, 2, 3}, {1, 10, 100, 2, 20, 200}));
    EXPECT_THAT(valuesOf(run(makeTensor({1, 1, 2}, {1, 3}))), ElementsAre(7, 70, 700));
}

TEST_F(ConvLayerTest, DepthwiseMeetsEachChannelWithItsOwnWeight) {
    load(convRecord({1, 1, 1, 3}, {1, 10, 100}));
    EXPECT_THAT(valuesOf(run(makeTensor({1, 1, 3}, {2, 3, 4}))), ElementsAre(2, 30, 400));
}

TEST_F(ConvLayerTest, DepthwiseWithMoreOutputChannelsRepeatsEachInputChannelSideBySide) {
    load(convRecord({1, 1, 1, 4}, {1, 10, 100, 1000}));
    EXPECT_THAT(valuesOf(run(makeTensor({1, 2, 2}, {2, 3, 4, 5}))),
                ElementsAre(2, 20, 300, 3000, 4, 40, 500, 5000));
}

TEST_F(ConvLayerTest, RepeatedChannelsComeFromTheFirstFrameOfACallOnly) {
    load(convRecord({1, 1, 1, 4}, {1, 1, 1, 1}));
    const FloatTensor result = run(makeTensor({2, 1, 2}, {2, 3, 8, 9}));
    EXPECT_THAT(valuesOf(result), ElementsAre(2, 2, 3, 3, 2, 2, 3, 3));
}

TEST_F(ConvLayerTest, DepthwiseWithAsManyChannelsTakesEachFrameOfACall) {
    load(convRecord({1, 1, 1, 2}, {1, 1}));
    EXPECT_THAT(valuesOf(run(makeTensor({2, 1, 2}, {2, 3, 8, 9}))), ElementsAre(2, 3, 8, 9));
}

TEST_F(ConvLayerTest, BiasStandsInEveryBinAndWithoutBiasSumsStartFromZero) {
    load(convRecord({1, 1, 1, 2}, {0, 0}, {5, 6}));
    EXPECT_THAT(runColumn({1, 2}), ElementsAre(5, 6, 5, 6));
    load(convRecord({1, 1, 1, 2}, {0, 0}));
    EXPECT_THAT(runColumn({1, 2}), ElementsAre(0, 0, 0, 0));
}

TEST_F(ConvLayerTest, BiasMayBeLongerThanTheChannels) {
    load(convRecord({1, 1, 1, 1}, {1}, {5, 6, 7}));
    EXPECT_THAT(runColumn({1, 2}), ElementsAre(6, 7));
}

TEST_F(ConvLayerTest, SumRunsFromBiasOverTimeThenBinsThenChannelsInSinglePrecision) {
    // 2^24 swallows a following 1, so that only sums in the stated order give these values.
    const float big = 16777216.0F;
    load(convRecord({2, 1, 1, 1}, {big, -big}, {1}));
    runValue(1);
    EXPECT_THAT(runValue(1), ElementsAre(0));
    load(convRecord({1, 1, 2, 1}, {1, -big}, {big}));
    EXPECT_THAT(valuesOf(run(makeTensor({1, 1, 2}, {1, 1}))), ElementsAre(0));
    load(convRecord({1, 2, 1, 1}, {1, -big}, {big}));
    EXPECT_THAT(runColumn({1, 1}), ElementsAre(0, big));
}

TEST_F(ConvLayerTest, SeveralFramesInOneCallGiveOneTensorEach) {
    load(convRecord({1, 1, 1, 1}, {1}));
    run(countingTensor({3, 1, 1}));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape{1, 1, 1}, Shape{1, 1, 1}, Shape{1, 1, 1}));
    EXPECT_EQ(recorder_.lastSource, layerNamed(model_, "conv").get());
}

TEST_F(ConvLayerTest, ResultOfACallIsTrueWhenAnyFrameReachesTheOutput) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.timeStride = 2;
    load(conv);
    EXPECT_TRUE(model_.input->AddTensor(countingTensor({2, 1, 1}), nullptr));
    EXPECT_TRUE(model_.input->AddTensor(countingTensor({1, 1, 1}), nullptr));
    EXPECT_FALSE(model_.input->AddTensor(countingTensor({1, 1, 1}), nullptr));
}

TEST_F(ConvLayerTest, EmptyInputDoesNothingAndDoesNotFixTheHeight) {
    load(convRecord({1, 1, 1, 1}, {1}));
    EXPECT_FALSE(model_.input->AddTensor(FloatTensor(), nullptr));
    EXPECT_FALSE(model_.input->AddTensor(FloatTensor({0, 4, 1}), nullptr));
    EXPECT_THAT(log_, IsEmpty());
}

TEST_F(ConvLayerTest, FramesWithoutBinsGiveTensorsWithoutBinsAndDoNotFixTheHeight) {
    load(convRecord({1, 1, 1, 1}, {1}));
    EXPECT_EQ(run(FloatTensor({1, 0, 1})).shape(), (Shape{1, 0, 1}));
    EXPECT_THAT(runColumn({1, 2}), ElementsAre(1, 2));
}

TEST_F(ConvLayerTest, KernelWithoutHeightGivesTheBias) {
    load(convRecord({1, 0, 1, 2}, {}, {5, 6}));
    EXPECT_THAT(runColumn({1, 2}), ElementsAre(5, 6, 5, 6));
}

TEST_F(ConvLayerTest, ReservedParameterChangesNothing) {
    ConvRecord conv = convRecord({1, 3, 1, 1}, {100, 10, 1});
    conv.reservedParameter = 2;
    load(conv);
    EXPECT_THAT(runColumn({1, 2, 3}), ElementsAre(12, 123, 230));
}

TEST_F(ConvLayerTest, LatencyIsTheLookaheadPlusTheScaledRest) {
    ConvRecord conv = convRecord({1, 1, 1, 1}, {1});
    conv.timeStride = 3;
    conv.lookahead = 4;
    load(conv);
    recorder_.ownLatency = 5;
    EXPECT_EQ(layerNamed(model_, "conv")->GetLatency(2), 2 * 4 + 2 * 3 * 5);
}

}  // namespace
}  // namespace vorun
