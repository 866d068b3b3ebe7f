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
using writer::ModelHeader;
using writer::ModelWriter;
using writer::SelfAttentionRecord;

/** Adding one to it in single precision changes nothing. */
constexpr float big = 16777216.0F;

class SelfAttentionLayerTest : public test::SingleLayerTest {
  protected:
    void loadRecord(const SelfAttentionRecord& record, std::int32_t version = 4105) {
        ModelHeader header;
        header.version = version;
        ModelWriter file(header);
        file.addSelfAttention("layer", "input", record);
        load(file);
    }
    /** One bin of one channel, passed on unchanged but for the window. */
    static SelfAttentionRecord windowRecord(const std::vector<float>& window,
                                            std::int8_t lookahead = 0) {
        return {{{1, 1}, {1}},
                {{1, 1}, {0}},
                lookahead,
                {{static_cast<std::int32_t>(window.size()), 1}, window}};
    }
    static SelfAttentionRecord plainRecord(std::int8_t lookahead = 0) {
        return {{{1, 1}, {2}}, {{1, 1}, {5}}, lookahead, {}};
    }
};

TEST_F(SelfAttentionLayerTest, ProjectionRowIsWhatAnInputChannelFeeds) {
    loadRecord({{{2, 2}, {1, 10, 100, 1000}}, {{2, 2}, {0, 0, 0, 0}}, 0, {}});
    EXPECT_THAT(run({1, 2, 2}, {1, 2, 3, 4}), ElementsAre(201, 2010, 403, 4030));
}

TEST_F(SelfAttentionLayerTest, BiasIsTheStartOfEveryBinAndChannelOfEveryFrame) {
    loadRecord({{{2, 2}, {0, 0, 0, 0}}, {{2, 2}, {1, 2, 3, 4}}, 0, {}});
    EXPECT_THAT(run({2, 2, 2}, std::vector<float>(8, 9.0F)), ElementsAre(1, 2, 3, 4, 1, 2, 3, 4));
}

TEST_F(SelfAttentionLayerTest, BiasComesBeforeTheSum) {
    // Behind the sum it would survive.
    loadRecord({{{2, 2}, {1, 1, 1, 1}}, {{1, 2}, {1, 1}}, 0, {}});
    EXPECT_THAT(run({1, 1, 2}, {big, -big}), ElementsAre(0, 0));
}

TEST_F(SelfAttentionLayerTest, InputChannelsAreSummedInAscendingOrder) {
    loadRecord({{{3, 3}, std::vector<float>(9, 1.0F)}, {{3}, {0, 0, 0}}, 0, {}});
    EXPECT_THAT(run({1, 1, 3}, {1, big, -big}), ElementsAre(0, 0, 0));
    EXPECT_THAT(run({1, 1, 3}, {-big, big, 1}), ElementsAre(1, 1, 1));
}

TEST_F(SelfAttentionLayerTest, WithoutAWindowSeveralFramesGoOutTogetherEachComputedAlone) {
    loadRecord(plainRecord());
    EXPECT_THAT(run({3, 1, 1}, {1, 2, 3}), ElementsAre(7, 9, 11));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({3, 1, 1})));
    EXPECT_THAT(runValue(2), ElementsAre(9));
}

TEST_F(SelfAttentionLayerTest, WindowRunsFromTheOldestFrameToTheCurrentOne) {
    loadRecord(windowRecord({100, 10, 1}));
    runValue(1);
    runValue(2);
    EXPECT_THAT(runValue(3), ElementsAre(123));
    EXPECT_THAT(runValue(4), ElementsAre(234));
    EXPECT_THAT(runValue(5), ElementsAre(345));
    EXPECT_THAT(runValue(6), ElementsAre(456));
}

TEST_F(SelfAttentionLayerTest, FirstFramesSeeZerosInOlderPositions) {
    loadRecord(windowRecord({100, 10, 1}));
    EXPECT_THAT(runValue(7), ElementsAre(7));
    EXPECT_THAT(runValue(8), ElementsAre(78));
}

TEST_F(SelfAttentionLayerTest, WindowOfOneFrameScalesTheCurrentFrameByChannel) {
    loadRecord({{{2, 2}, {1, 0, 0, 1}}, {{2, 2}, {0, 0, 0, 0}}, 0, {{1, 2}, {3, 5}}});
    EXPECT_THAT(run({1, 2, 2}, {1, 2, 3, 4}), ElementsAre(3, 10, 9, 20));
    EXPECT_THAT(run({1, 2, 2}, {1, 1, 1, 1}), ElementsAre(3, 5, 3, 5));
}

TEST_F(SelfAttentionLayerTest, WindowActsOnEachBinAndChannelBeforeTheProjection) {
    loadRecord({{{2, 2}, {1, 0, 1, 0}}, {{2, 2}, {0, 7, 0, 7}}, 0, {{2, 2}, {10, 1000, 1, 100}}});
    run({1, 2, 2}, {1, 2, 3, 4});
    EXPECT_THAT(run({1, 2, 2}, {5, 6, 7, 8}), ElementsAre(15 + 2600, 7, 37 + 4800, 7));
}

TEST_F(SelfAttentionLayerTest, WindowIsSummedFromTheOldestFrameOn) {
    loadRecord(windowRecord({1, 1, 1}));
    runValue(1);
    runValue(big);
    EXPECT_THAT(runValue(-big), ElementsAre(0));
    EXPECT_THAT(runValue(0), ElementsAre(0));
    EXPECT_THAT(runValue(big + 2), ElementsAre(2));
}

TEST_F(SelfAttentionLayerTest, SumOfTheWindowIsRoundedBeforeTheProjection) {
    SelfAttentionRecord record = windowRecord({1, 1});
    record.projectionBias.values = {-big};
    loadRecord(record);
    runValue(big);
    EXPECT_THAT(runValue(1), ElementsAre(0));
}

TEST_F(SelfAttentionLayerTest, SeveralFramesAtOnceGiveWhatTheyGiveOneByOne) {
    loadRecord(windowRecord({0.3F, 0.5F, 0.7F}));
    const std::vector<float> stream{0.1F, -0.4F, 0.9F, 0.3F, -0.2F};
    std::vector<float> oneByOne;
    for (const float value : stream) {
        oneByOne.push_back(runValue(value).front());
    }
    model_.Reset();
    EXPECT_EQ(run({5, 1, 1}, stream), oneByOne);
}

TEST_F(SelfAttentionLayerTest, LookaheadTwoSwallowsTwoFramesWithoutATickWhileTheRingFills) {
    loadRecord(windowRecord({100, 10, 1}, 2));
    EXPECT_THAT(runValue(1), IsEmpty());
    EXPECT_FALSE(layer().AddTensor(makeTensor({1, 1, 1}, {2}), nullptr));
    EXPECT_THAT(log_, IsEmpty());
    EXPECT_TRUE(layer().AddTensor(makeTensor({1, 1, 1}, {3}), nullptr));
    EXPECT_THAT(valuesOf(model_.output->TakeResult()), ElementsAre(123));
    EXPECT_THAT(runValue(4), ElementsAre(234));
    EXPECT_THAT(log_, ElementsAre("after tensor", "after tensor"));
}

TEST_F(SelfAttentionLayerTest, LookaheadWithoutAWindowOnlySwallowsTheFirstFrames) {
    loadRecord(plainRecord(1));
    EXPECT_THAT(runValue(1), IsEmpty());
    EXPECT_THAT(runValue(2), ElementsAre(9));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({1, 1, 1})));
}

TEST_F(SelfAttentionLayerTest, ResetSwallowsTheFirstFramesAnew) {
    loadRecord(plainRecord(1));
    runValue(1);
    runValue(2);
    model_.Reset();
    EXPECT_THAT(runValue(3), IsEmpty());
    EXPECT_THAT(runValue(4), ElementsAre(13));
}

TEST_F(SelfAttentionLayerTest, LookaheadTakesOneFrameACallOrNone) {
    loadRecord(windowRecord({10, 1}, 1));
    EXPECT_THROW(run({2, 1, 1}, {1, 2}), std::runtime_error);
    EXPECT_FALSE(layer().AddTensor(FloatTensor({0, 1, 1}), nullptr));
    EXPECT_FALSE(layer().AddTensor(FloatTensor(), nullptr));
    // None of these was a frame of the stream.
    EXPECT_THAT(runValue(3), IsEmpty());
    EXPECT_THAT(runValue(4), ElementsAre(34));
    EXPECT_FALSE(layer().AddTensor(FloatTensor({0, 1, 1}), nullptr));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({1, 1, 1})));
}

TEST_F(SelfAttentionLayerTest, NegativeLookaheadGivesNothingWhateverComes) {
    loadRecord(windowRecord({10, 1}, -1));
    EXPECT_FALSE(layer().AddTensor(countingTensor({3, 1, 1}), nullptr));
    EXPECT_FALSE(layer().AddTensor(FloatTensor({0, 1, 1}), nullptr));
    EXPECT_FALSE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_THAT(log_, IsEmpty());
}

TEST_F(SelfAttentionLayerTest, LatencyAddsTheLookaheadUnscaled) {
    loadRecord(plainRecord(3));
    layer().consumers.clear();
    EXPECT_EQ(layer().GetLatency(2), 3);
    EXPECT_EQ(layer().GetLatency(100), 3);
    layer().consumers = {&recorder_};
    recorder_.ownLatency = 4;
    EXPECT_EQ(layer().GetLatency(5), 23);
    EXPECT_EQ(model_.latency, 3);
}

TEST_F(SelfAttentionLayerTest, LatencyOfANegativeLookaheadIsTakenOff) {
    loadRecord(plainRecord(-3));
    EXPECT_EQ(layer().GetLatency(2), -3);
    recorder_.ownLatency = 4;
    EXPECT_EQ(layer().GetLatency(5), 17);
    // What feeds the layer takes the longest of its consumers' figures, from zero on.
    EXPECT_EQ(model_.latency, 0);
}

TEST_F(SelfAttentionLayerTest, ResetClearsTheRingSoThatARepeatGivesTheSame) {
    loadRecord(windowRecord({100, 10, 1}));
    const std::vector<float> first = run({4, 1, 1}, {1, 2, 3, 4});
    EXPECT_THAT(first, ElementsAre(1, 12, 123, 234));
    model_.Reset();
    EXPECT_EQ(run({4, 1, 1}, {1, 2, 3, 4}), first);
}

TEST_F(SelfAttentionLayerTest, ResetBeforeTheFirstFrameChangesNothing) {
    loadRecord(windowRecord({10, 1}));
    model_.Reset();
    EXPECT_THAT(run({2, 1, 1}, {1, 2}), ElementsAre(1, 12));
}

TEST_F(SelfAttentionLayerTest, NaNLeavesWithTheWindowAndAtAReset) {
    loadRecord(windowRecord({10, 1}));
    EXPECT_TRUE(std::isnan(runValue(NAN).front()));
    EXPECT_TRUE(std::isnan(runValue(1).front()));
    EXPECT_THAT(runValue(2), ElementsAre(12));
    runValue(NAN);
    model_.Reset();
    EXPECT_THAT(runValue(2), ElementsAre(2));
}

TEST_F(SelfAttentionLayerTest, InputWithoutFramesStillGoesToTheConsumers) {
    loadRecord(windowRecord({10, 1}));
    runValue(1);
    EXPECT_TRUE(layer().AddTensor(FloatTensor({0, 1, 1}), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor({0, 3, 1}), nullptr));
    EXPECT_THAT(recorder_.shapes,
                ElementsAre(Shape({1, 1, 1}), Shape({0, 1, 1}), Shape(), Shape({0, 3, 1})));
    model_.output->TakeResult();
    EXPECT_THAT(runValue(2), ElementsAre(12));
}

TEST_F(SelfAttentionLayerTest, FramesWithoutValuesCountButLeaveTheRingUnsized) {
    loadRecord(windowRecord({100, 10, 1}, 2));
    run(FloatTensor({1, 0, 1}));
    run(FloatTensor({1, 4, 0}));
    EXPECT_THAT(runValue(5), ElementsAre(5));
    EXPECT_THAT(runValue(6), ElementsAre(56));
    EXPECT_TRUE(layer().AddTensor(FloatTensor({1, 4, 0}), nullptr));
    EXPECT_EQ(recorder_.shapes.back(), Shape({1, 4, 0}));
}

TEST_F(SelfAttentionLayerTest, SmallerFramesUseTheStartOfTheRingsOwnRows) {
    SelfAttentionRecord record = windowRecord({10, 1});
    record.projectionBias = {{2}, {0, 0}};
    loadRecord(record);
    run({2, 2, 1}, {1, 2, 3, 4});
    EXPECT_THAT(runValue(5), ElementsAre(35));
    // The second bin of that frame's row is still the first frame's.
    EXPECT_THAT(run({1, 2, 1}, {6, 7}), ElementsAre(56, 27));
}

TEST_F(SelfAttentionLayerTest, FilesBelowVersion4103HaveNeitherWindowNorLookahead) {
    for (const std::int32_t version : {4102, 4103}) {
        ModelHeader header;
        header.version = version;
        ModelWriter file(header);
        SelfAttentionRecord record = windowRecord({10, 1}, 1);
        record.projection.values = {-1};
        file.addSelfAttention("attention", "input", record)
            .addLeakyRelu("layer", "attention", 0.5F);
        load(file);
        const bool older = version == 4102;
        EXPECT_EQ(model_.latency, older ? 0 : 1);
        EXPECT_EQ(runValue(2).size(), older ? 1U : 0U);
        EXPECT_THAT(runValue(4), ElementsAre(older ? -2 : -12));
    }
}

TEST_F(SelfAttentionLayerTest, RecordCarriesTheTypeNumber) {
    loadRecord(plainRecord());
    EXPECT_EQ(layer().layerType, 19);
}

TEST_F(SelfAttentionLayerTest, WindowOfVolumeZeroIsNoneWhateverItsShape) {
    SelfAttentionRecord record = plainRecord();
    for (const Shape& shape : {Shape{}, Shape{0, 1}, Shape{5, 0}, Shape{-5, 0}}) {
        record.attentionWeights.shape = shape;
        loadRecord(record);
        EXPECT_THAT(run({2, 1, 1}, {1, 2}), ElementsAre(7, 9));
    }
}

TEST_F(SelfAttentionLayerTest, HalfPrecisionTensorsAreExpanded) {
    loadRecord({{{1, 1}, {}, ElementType::half, {0x4000}},
                {{1}, {}, ElementType::half, {0x7C00}},
                0,
                {{2, 1}, {}, ElementType::half, {0x3800, 0xBC00}}});
    runValue(8);
    EXPECT_THAT(runValue(1), ElementsAre(65536 + 2 * (4 - 1)));
}

TEST_F(SelfAttentionLayerTest, TensorsOfTheFileAreReadAsFlatArrays) {
    // Two channels out of longer tensors.
    loadRecord({{{5}, {1, 10, 100, 1000, 99}}, {{3, 1}, {1, 2, 99}}, 0, {{1, 3}, {2, 3, 99}}});
    EXPECT_THAT(run({1, 1, 2}, {1, 1}), ElementsAre(1 + 2 + 300, 2 + 20 + 3000));
}

TEST_F(SelfAttentionLayerTest, AllConsumersGetTheTensorAndOneThatReachesAnOutputIsEnough) {
    RecordingLayer reaching("reaching", log_, true);
    for (const std::int8_t lookahead : {std::int8_t{0}, std::int8_t{1}}) {
        loadRecord(plainRecord(lookahead));
        runValue(1);
        log_.clear();
        layer().consumers = {&reaching, &recorder_};
        EXPECT_TRUE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
        EXPECT_THAT(log_, ElementsAre("reaching tensor", "after tensor"));
        EXPECT_EQ(recorder_.lastSource, &layer());
        layer().consumers = {&recorder_};
        EXPECT_FALSE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
    }
}

TEST_F(SelfAttentionLayerTest, ResultsThatWaitKeepTheirValues) {
    for (const std::int8_t lookahead : {std::int8_t{0}, std::int8_t{1}}) {
        loadRecord(windowRecord({10, 1}, lookahead));
        for (const float value : {1.0F, 2.0F, 3.0F}) {
            model_.input->AddTensor(makeTensor({1, 1, 1}, {value}), nullptr);
        }
        const std::vector<float> values = valuesOf(model_.output->TakeResult());
        EXPECT_EQ(values,
                  lookahead == 0 ? std::vector<float>({1, 12, 23}) : std::vector<float>({12, 23}));
    }
}

TEST_F(SelfAttentionLayerTest, TicksPassWithoutTouchingTheRing) {
    loadRecord(windowRecord({10, 1}));
    runValue(1);
    log_.clear();
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("after tick"));
    EXPECT_THAT(runValue(2), ElementsAre(12));
}

TEST_F(SelfAttentionLayerTest, SteadyFramesTakeNoBlock) {
    for (const std::int8_t lookahead : {std::int8_t{0}, std::int8_t{2}}) {
        const std::vector<float> four(4, 1.0F);
        loadRecord(
            {{{2, 2}, four}, {{32}, std::vector<float>(32, 1.0F)}, lookahead, {{2, 2}, four}});
        EXPECT_EQ(blocksOfAFrame(countingTensor({1, 16, 2})), 0U);
        EXPECT_EQ(blocksOfAFrame(countingTensor({1, 12, 2})), 0U);
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        model_.Reset();
        EXPECT_EQ(TensorData<float>::blocksAllocated(), before);
    }
}

}  // namespace
}  // namespace vorun
