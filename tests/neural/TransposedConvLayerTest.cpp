#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "neural/TransposedLayerTest.h"

namespace vorun {
namespace {

using test::FloatTensor;
using test::Shape;
using test::TransposedLayerTest;
using test::transposedRecord;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using writer::TransposedConvRecord;

class TransposedConvLayerTest : public TransposedLayerTest {};

TransposedConvRecord timeKernel(const std::vector<float>& taps, std::int8_t timeStride,
                                std::int8_t lookahead = 0) {
    TransposedConvRecord record =
        transposedRecord({static_cast<std::int32_t>(taps.size()), 1, 1, 1}, taps);
    record.timeStride = timeStride;
    record.lookahead = lookahead;
    return record;
}

TEST_F(TransposedConvLayerTest, StrideTwoReleasesTwoRowsAndLeavesTheThirdOfThreeOpen) {
    load(timeKernel({1, 10, 100}, 2));
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1), ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(102), ElementsAre(20)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(203), ElementsAre(30)));
}

TEST_F(TransposedConvLayerTest, LookaheadOneReleasesOnlyTheSecondRowOfTheFirstFrame) {
    load(timeKernel({1, 10, 100}, 2, 1));
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(102), ElementsAre(20)));
}

TEST_F(TransposedConvLayerTest, LookaheadAboveTheStrideLosesTheRowsOfTheFirstFrames) {
    load(timeKernel({1, 10, 100}, 2, 3));
    EXPECT_THAT(framesAfter(1), IsEmpty());
    // Output frame 3 shares its row with the lost frame 0, of which nothing is left.
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(20)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(203), ElementsAre(30)));
    EXPECT_THAT(log_, ElementsAre("after tensor", "after tensor", "after tensor"));
}

TEST_F(TransposedConvLayerTest, LookaheadLosesWholeRingsWhereTheKernelIsNoLongerThanTheStride) {
    load(timeKernel({1, 10}, 2, 4));
    EXPECT_THAT(framesAfter(1), IsEmpty());
    EXPECT_THAT(framesAfter(2), IsEmpty());
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(3), ElementsAre(30)));
}

TEST_F(TransposedConvLayerTest, NegativeLookaheadReleasesEveryRowAtOnce) {
    load(timeKernel({1, 10, 100}, 2, -3));
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1), ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(102), ElementsAre(20)));
}

TEST_F(TransposedConvLayerTest, KernelAsLongAsTheStrideDoesNotOverlap) {
    load(timeKernel({1, 10}, 2));
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1), ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(2), ElementsAre(20)));
}

TEST_F(TransposedConvLayerTest, RowsThatNoTapReachesComeOutAsTheirBias) {
    TransposedConvRecord record = timeKernel({5}, 3);
    record.bias = {{1}, {7}};
    load(record);
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(17), ElementsAre(7), ElementsAre(7)));
    EXPECT_THAT(framesAfter(4), ElementsAre(ElementsAre(27), ElementsAre(7), ElementsAre(7)));
}

TEST_F(TransposedConvLayerTest, BiasEntersEachFrameOnceHoweverManyInputsReachIt) {
    TransposedConvRecord record = timeKernel({1, 1, 1}, 1);
    record.bias = {{1}, {100}};
    load(record);
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(101)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(103)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(106)));
}

TEST_F(TransposedConvLayerTest, BiasIsAddedLastInSinglePrecision) {
    // 2^24 swallows a following 1, but not one that the ring had summed up before.
    const float big = 16777216.0F;
    TransposedConvRecord record = timeKernel({1, 1}, 1);
    record.bias = {{1}, {big}};
    load(record);
    framesAfter(1);
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(big + 2.0F)));
}

TEST_F(TransposedConvLayerTest, BiasStandsInEveryBinAndMayBeLongerThanTheChannels) {
    TransposedConvRecord record = transposedRecord({1, 1, 2, 1}, {0, 0}, {5, 6, 9});
    load(record);
    EXPECT_THAT(framesAfter({1, 2, 1}, {1, 2}), ElementsAre(ElementsAre(5, 6, 5, 6)));
}

struct HeightCase {
    std::vector<float> kernel;
    std::int8_t heightStride;
    std::vector<float> input;
    std::vector<float> output;
};

TEST_F(TransposedConvLayerTest, HeightKernelStandsCentredOnTheBinsThatItsInputWidensTo) {
    const std::vector<HeightCase> cases = {
        {{1, 10}, 1, {1, 2, 3}, {1, 12, 23}},
        {{1, 10, 100}, 1, {1, 2, 3}, {12, 123, 230}},
        {{1, 10, 100, 1000}, 1, {1, 2, 3}, {12, 123, 1230}},
        {{1}, 2, {1, 2}, {1, 0, 2, 0}},
        {{1, 10}, 2, {1, 2}, {1, 10, 2, 20}},
        {{1, 10, 100}, 2, {1, 2}, {1, 10, 102, 20}},
        {{1, 10, 100, 1000}, 2, {1, 2}, {10, 102, 1020, 200}},
        {{1}, 3, {1, 2}, {0, 1, 0, 0, 2, 0}},
        {{1, 10}, 3, {1, 2}, {1, 10, 0, 2, 20, 0}},
        {{1, 10, 100, 1000, 10000}, 3, {1, 2}, {10, 100, 1002, 10020, 200, 2000}},
    };
    for (const HeightCase& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.kernel) + " stride " +
                     std::to_string(one.heightStride));
        TransposedConvRecord record =
            transposedRecord({1, static_cast<std::int32_t>(one.kernel.size()), 1, 1}, one.kernel);
        record.heightStride = one.heightStride;
        load(record);
        EXPECT_THAT(framesAfter({1, static_cast<std::int32_t>(one.input.size()), 1}, one.input),
                    ElementsAre(ElementsAreArray(one.output)));
    }
}

TEST_F(TransposedConvLayerTest, HeightStrideZeroGivesFramesWithoutBins) {
    for (const std::int32_t kernelHeight : {1, 2, 5}) {
        TransposedConvRecord record =
            transposedRecord({1, kernelHeight, 1, 1},
                             std::vector<float>(static_cast<std::size_t>(kernelHeight), 1.0F), {5});
        record.heightStride = 0;
        load(record);
        framesAfter({1, 3, 1}, {1, 2, 3});
        EXPECT_EQ(recorder_.shapes.back(), (Shape{1, 0, 1}));
    }
    // As many bins and channels as would go by column.
    TransposedConvRecord record =
        transposedRecord({1, 5, 5, 1}, std::vector<float>(25, 1.0F), {1, 2, 3, 4, 5});
    record.outChannels = 5;
    record.heightStride = 0;
    load(record);
    framesAfter({1, 17, 1}, std::vector<float>(17, 1.0F));
    EXPECT_EQ(recorder_.shapes.back(), (Shape{1, 0, 5}));
}

TEST_F(TransposedConvLayerTest, ChannelsAreMixedByRowsOfInputWeights) {
    load(transposedRecord({1, 1, 2, 3}, {1, 2, 3, 10, 20, 30}));
    EXPECT_THAT(framesAfter({1, 1, 3}, {1, 1, 2}), ElementsAre(ElementsAre(9, 90)));
}

TEST_F(TransposedConvLayerTest, DepthwiseFeedsEachChannelByItselfAndLeavesTheOthersAtTheirBias) {
    TransposedConvRecord record = transposedRecord({1, 1, 1, 3}, {1, 10, 100});
    record.outChannels = 3;
    load(record);
    EXPECT_THAT(framesAfter({1, 1, 3}, {2, 3, 4}), ElementsAre(ElementsAre(2, 30, 400)));
    record = transposedRecord({1, 1, 1, 2}, {1, 10}, {5, 6, 7});
    record.outChannels = 3;
    load(record);
    EXPECT_THAT(framesAfter({1, 1, 2}, {2, 3}), ElementsAre(ElementsAre(7, 36, 7)));
}

TEST_F(TransposedConvLayerTest, OneOutputChannelIsTheOrdinaryPath) {
    load(transposedRecord({1, 1, 1, 3}, {1, 10, 100}));
    EXPECT_THAT(framesAfter({1, 1, 3}, {2, 3, 4}), ElementsAre(ElementsAre(432)));
}

TEST_F(TransposedConvLayerTest, ChannelsBeyondTheKernelsHaveTheirBiasAlone) {
    TransposedConvRecord record = transposedRecord({1, 1, 2, 1}, {1, 10}, {0, 0, 8});
    record.outChannels = 3;
    load(record);
    EXPECT_THAT(framesAfter({1, 2, 1}, {2, 3}), ElementsAre(ElementsAre(2, 20, 8, 3, 30, 8)));
}

TEST_F(TransposedConvLayerTest, OldFilesTakeTheChannelsFromTheKernelAndNewOnesFromTheRecord) {
    TransposedConvRecord record = transposedRecord({1, 1, 1, 2}, {1, 10});
    record.outChannels = 2;
    for (const std::int32_t version : {4100, 4103}) {
        load(record, version);
        EXPECT_THAT(framesAfter({1, 1, 2}, {2, 3}), ElementsAre(ElementsAre(32))) << version;
    }
    for (const std::int32_t version : {4104, 4105}) {
        load(record, version);
        EXPECT_THAT(framesAfter({1, 1, 2}, {2, 3}), ElementsAre(ElementsAre(2, 30))) << version;
    }
}

TEST_F(TransposedConvLayerTest, DilationAndReservedParameterChangeNothing) {
    TransposedConvRecord record = timeKernel({1, 10, 100}, 2);
    record.timeDilation = -4;
    record.reservedParameter = 3;
    load(record);
    framesAfter(1);
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(102), ElementsAre(20)));
}

TEST_F(TransposedConvLayerTest, EachFrameOfACallIsScatteredInOrder) {
    load(timeKernel({1, 10, 100}, 2));
    EXPECT_THAT(framesAfter({3, 1, 1}, {1, 2, 3}),
                ElementsAre(ElementsAre(1), ElementsAre(10), ElementsAre(102), ElementsAre(20),
                            ElementsAre(203), ElementsAre(30)));
    EXPECT_EQ(recorder_.shapes.front(), (Shape{1, 1, 1}));
    EXPECT_EQ(recorder_.lastSource, &layer());
}

TEST_F(TransposedConvLayerTest, FramesArePackedByTheKernelsChannelsWhateverTheInputStates) {
    load(timeKernel({1}, 1));
    EXPECT_THAT(framesAfter({2, 1, 2}, {1, 2, 3, 4}), ElementsAre(ElementsAre(1), ElementsAre(2)));
}

TEST_F(TransposedConvLayerTest, InputsWithoutFramesGiveNothing) {
    load(timeKernel({1}, 1));
    EXPECT_FALSE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_FALSE(layer().AddTensor(FloatTensor({0, 4, 1}), nullptr));
    EXPECT_THAT(log_, IsEmpty());
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(3)));
}

TEST_F(TransposedConvLayerTest, FramesWithoutBinsGiveFramesWithoutBinsAndDoNotFixTheHeight) {
    load(timeKernel({1}, 2));
    framesAfter({1, 0, 1}, {});
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape{1, 0, 1}, Shape{1, 0, 1}));
    EXPECT_THAT(framesAfter({1, 2, 1}, {1, 2}), ElementsAre(ElementsAre(1, 2), ElementsAre(0, 0)));
}

TEST_F(TransposedConvLayerTest, FirstFrameAfterAResetMeetsAnEmptyRing) {
    load(timeKernel({1, 10, 100}, 2, 1));
    framesAfter(7);
    layer().ResetState();
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(102), ElementsAre(20)));
}

TEST_F(TransposedConvLayerTest, ResetBeforeTheFirstFrameChangesNothing) {
    load(timeKernel({1, 10, 100}, 2));
    layer().ResetState();
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1), ElementsAre(10)));
}

TEST_F(TransposedConvLayerTest, LatencyIsTheLookaheadPlusTheRestAtTheScaleCutDown) {
    load(timeKernel({1}, 3, 4));
    recorder_.ownLatency = 5;
    EXPECT_EQ(layer().GetLatency(7), 7 * 4 + (7 / 3) * 5);
    EXPECT_EQ(layer().GetLatency(2), 2 * 4);
    load(timeKernel({1}, 3, -2));
    EXPECT_EQ(layer().GetLatency(3), 3 * -2 + 5);
}

TEST_F(TransposedConvLayerTest, StoresTheNumberOfItsRecord) {
    load(timeKernel({1}, 1));
    EXPECT_EQ(layer().layerType, 3);
}

}  // namespace
}  // namespace vorun
