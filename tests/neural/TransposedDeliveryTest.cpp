#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/TransposedLayerTest.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatLayer;
using test::FloatTensor;
using test::loadedModel;
using test::makeTensor;
using test::RecordingLayer;
using test::TransposedLayerTest;
using test::transposedRecord;
using test::uniformConv;
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::TransposedConvRecord;

/** Makes of a value the frames value, 10 * value, 100 * value and so on. */
TransposedConvRecord expanding(std::int8_t timeStride) {
    std::vector<float> taps;
    float tap = 1.0F;
    for (int i = 0; i < timeStride; ++i) {
        taps.push_back(tap);
        tap *= 10.0F;
    }
    TransposedConvRecord record = transposedRecord({timeStride, 1, 1, 1}, taps);
    record.timeStride = timeStride;
    return record;
}

class Thrower : public FloatLayer {
  public:
    bool AddTensor(const FloatTensor& /*input*/, const FloatLayer* /*source*/) override {
        throw std::runtime_error("no");
    }
};

class TransposedDeliveryTest : public TransposedLayerTest {
  protected:
    bool feed(float value) { return layer().AddTensor(makeTensor({1, 1, 1}, {value}), nullptr); }
    std::vector<std::vector<float>> framesAfterTick() {
        recorder_.values.clear();
        layer().SkipFrame();
        return recorder_.values;
    }
    void deliverTo(std::vector<FloatLayer*> consumers) {
        layer().consumers.assign(consumers.begin(), consumers.end());
    }
    void deliverToOutput() { deliverTo({&recorder_, model_.output.get()}); }
};

TEST_F(TransposedDeliveryTest, OneOfTwoFramesReachesTheOutputAndTheTickBringsTheOther) {
    load(expanding(2));
    deliverToOutput();
    EXPECT_TRUE(feed(3));
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(3)));
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(30)));
    EXPECT_THAT(framesAfterTick(), IsEmpty());
    EXPECT_THAT(valuesOf(model_.output->TakeResult()), ElementsAre(3, 30));
}

TEST_F(TransposedDeliveryTest, FramesThatReachNoOutputAllGoAtOnce) {
    load(expanding(3));
    EXPECT_FALSE(feed(2));
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(2), ElementsAre(20), ElementsAre(200)));
    EXPECT_THAT(framesAfterTick(), IsEmpty());
}

TEST_F(TransposedDeliveryTest, WithoutTicksTheOldestWaitingFrameGoesFirst) {
    load(expanding(2));
    deliverToOutput();
    feed(1);
    feed(2);
    feed(3);
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(1), ElementsAre(10), ElementsAre(2)));
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(20)));
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(3)));
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(30)));
}

TEST_F(TransposedDeliveryTest, FramesGoOutUntilOneOfThemReachesTheOutput) {
    // A layer behind which every second frame reaches the output.
    load(expanding(4));
    class EverySecond : public FloatLayer {
      public:
        bool AddTensor(const FloatTensor& input, const FloatLayer* /*source*/) override {
            values.push_back(*input.readData());
            return values.size() % 2 == 0;
        }
        std::vector<float> values;
    } everySecond;
    deliverTo({&everySecond});
    EXPECT_TRUE(feed(1));
    EXPECT_THAT(everySecond.values, ElementsAre(1, 10));
    layer().SkipFrame();
    EXPECT_THAT(everySecond.values, ElementsAre(1, 10, 100, 1000));
}

TEST_F(TransposedDeliveryTest, EitherOfTwoConsumersStopsTheDeliveryAndBothGetTheFrame) {
    for (const bool first : {true, false}) {
        load(expanding(2));
        log_.clear();
        RecordingLayer a("a", log_, first);
        RecordingLayer b("b", log_, !first);
        deliverTo({&a, &b});
        EXPECT_TRUE(feed(1));
        EXPECT_THAT(log_, ElementsAre("a tensor", "b tensor"));
    }
}

TEST_F(TransposedDeliveryTest, TickDeliversFirstAndThenGoesToTheConsumersInOrder) {
    load(expanding(3));
    RecordingLayer a("a", log_, true);
    RecordingLayer b("b", log_);
    deliverTo({&a, &b});
    feed(1);
    log_.clear();
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("a tensor", "b tensor", "a tick", "b tick"));
    EXPECT_THAT(a.values, ElementsAre(ElementsAre(1), ElementsAre(10)));
}

TEST_F(TransposedDeliveryTest, TickDeliversAllThatReachesNoOutput) {
    load(expanding(3));
    deliverToOutput();
    feed(1);
    deliverTo({&recorder_});
    log_.clear();
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(10), ElementsAre(100)));
    EXPECT_THAT(log_, ElementsAre("after tensor", "after tensor", "after tick"));
}

TEST_F(TransposedDeliveryTest, TickWithNothingWaitingOnlyPasses) {
    load(expanding(2));
    EXPECT_THAT(framesAfterTick(), IsEmpty());
    EXPECT_THAT(log_, ElementsAre("after tick"));
}

TEST_F(TransposedDeliveryTest, WithoutConsumersFramesVanish) {
    load(expanding(2));
    deliverTo({});
    EXPECT_FALSE(feed(1));
    deliverTo({&recorder_});
    EXPECT_THAT(framesAfterTick(), IsEmpty());
}

TEST_F(TransposedDeliveryTest, ResetDropsWaitingFrames) {
    load(expanding(3));
    deliverToOutput();
    feed(1);
    layer().ResetState();
    EXPECT_THAT(framesAfterTick(), IsEmpty());
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(2)));
}

TEST_F(TransposedDeliveryTest, ResultOfACallIsTrueWhenAnyFrameReachesTheOutput) {
    load(expanding(1));
    class OnlyFirst : public FloatLayer {
      public:
        bool AddTensor(const FloatTensor& /*input*/, const FloatLayer* /*source*/) override {
            return count_++ == 0;
        }

      private:
        int count_ = 0;
    } onlyFirst;
    deliverTo({&onlyFirst});
    EXPECT_TRUE(layer().AddTensor(countingTensor({3, 1, 1}), nullptr));
    EXPECT_FALSE(layer().AddTensor(countingTensor({3, 1, 1}), nullptr));
}

TEST_F(TransposedDeliveryTest, FrameThatAConsumerThrowsOnIsLostAndTheOthersStay) {
    load(expanding(3));
    Thrower thrower;
    deliverTo({&thrower});
    EXPECT_THROW(feed(1), std::runtime_error);
    deliverTo({&recorder_});
    EXPECT_THAT(framesAfterTick(), ElementsAre(ElementsAre(10), ElementsAre(100)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(2), ElementsAre(20), ElementsAre(200)));
}

TEST_F(TransposedDeliveryTest, TimeGoesOnAfterALoneFrameThatAConsumerThrowsOn) {
    load(transposedRecord({2, 1, 1, 1}, {1, 10}));
    Thrower thrower;
    deliverTo({&thrower});
    EXPECT_THROW(feed(1), std::runtime_error);
    deliverTo({&recorder_});
    EXPECT_THAT(framesAfterTick(), IsEmpty());
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(12)));
}

/** What a layer shares with the others of its model. */
class GraphAccess : public FloatLayer {
  public:
    static GraphState& graphOf(FloatLayer& layer) { return *(layer.*&GraphAccess::graph)(); }
};

/** Time stands still, and the next frame is added to what this one left. */
TEST_F(TransposedDeliveryTest, FrameThatTheFullListRefusesStaysInTheSums) {
    TransposedConvRecord record = transposedRecord({3, 1, 1, 1}, {1, 10, 100});
    record.timeStride = 2;
    load(record);
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1), ElementsAre(10)));
    GraphState& graph = GraphAccess::graphOf(layer());
    graph.addWaiting(GraphState::maxWaitingElements);
    EXPECT_THROW(feed(2), std::length_error);
    graph.removeWaiting(GraphState::maxWaitingElements);
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(105), ElementsAre(50)));
    EXPECT_THAT(framesAfter(4), ElementsAre(ElementsAre(504), ElementsAre(40)));
}

TEST_F(TransposedDeliveryTest, FramesThatAConsumerKeepsKeepTheirValues) {
    class Keeper : public FloatLayer {
      public:
        bool AddTensor(const FloatTensor& input, const FloatLayer* /*source*/) override {
            kept.push_back(input);
            return false;
        }
        std::vector<FloatTensor> kept;
    };
    for (const std::int8_t timeStride : {std::int8_t{1}, std::int8_t{2}}) {
        Keeper keeper;
        load(expanding(timeStride));
        deliverTo({&keeper});
        feed(1);
        feed(2);
        ASSERT_EQ(keeper.kept.size(), 2U * static_cast<std::size_t>(timeStride));
        EXPECT_EQ(*keeper.kept.front().readData(), 1.0F);
        EXPECT_EQ(*keeper.kept.back().readData(), timeStride == 1 ? 2.0F : 20.0F);
    }
}

TEST_F(TransposedDeliveryTest, WaitingFramesKeepTheirValues) {
    load(expanding(3));
    deliverToOutput();
    feed(1);
    feed(2);
    deliverTo({&recorder_});
    EXPECT_THAT(framesAfterTick(),
                ElementsAre(ElementsAre(100), ElementsAre(2), ElementsAre(20), ElementsAre(200)));
}

TEST(TransposedGraph, EncoderAndDecoderKeepTheFrameRate) {
    writer::ConvRecord down = uniformConv({1, 1, 1, 1}, 1.0F);
    down.timeStride = 3;
    writer::ModelWriter file;
    file.addConv("down", "input", down)
        .addTransposedConv("up", "down", expanding(3))
        .setOutputSource("up");
    NeuralModel<float> model = loadedModel(file);
    std::vector<float> stream;
    for (const float value : {1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, 7.0F}) {
        const FloatTensor result = evaluate(model, makeTensor({1, 1, 1}, {value}));
        ASSERT_EQ(result.dim(0), 1);
        stream.push_back(*result.readData());
    }
    EXPECT_THAT(stream, ElementsAre(1, 10, 100, 4, 40, 400, 7));
}

class TransposedSteadyState : public TransposedLayerTest {
  protected:
    /** Blocks of one more frame when nothing waits after it. */
    std::uint64_t blocksOfAFrameDelivered(std::int8_t timeStride, std::int32_t kernelFrames) {
        TransposedConvRecord record = transposedRecord(
            {kernelFrames, 1, 1, 1}, std::vector<float>(static_cast<std::size_t>(kernelFrames)));
        record.timeStride = timeStride;
        load(record);
        const FloatTensor frame = countingTensor({1, 8, 1});
        for (int i = 0; i < 8; ++i) {
            layer().AddTensor(frame, nullptr);
        }
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        layer().AddTensor(frame, nullptr);
        return TensorData<float>::blocksAllocated() - before;
    }
};

TEST_F(TransposedSteadyState, FirstFrameOfAnotherHeightCostsNone) {
    load(transposedRecord({3, 2, 2, 2}, std::vector<float>(24)));
    layer().AddTensor(countingTensor({1, 20, 2}), nullptr);
    const FloatTensor lower = countingTensor({1, 19, 2});
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    layer().AddTensor(lower, nullptr);
    EXPECT_EQ(TensorData<float>::blocksAllocated() - before, 0U);
}

TEST_F(TransposedSteadyState, MemoryIsWhatTheFormOfTheSumsTakes) {
    const auto valuesOfFirstFrame = [&](std::int32_t in) {
        load(
            transposedRecord({3, 2, 2, in}, std::vector<float>(static_cast<std::size_t>(12 * in))));
        const FloatTensor frame = countingTensor({1, 16, in});
        const std::uint64_t before = TensorData<float>::bytesAllocated();
        layer().AddTensor(frame, nullptr);
        return (TensorData<float>::bytesAllocated() - before) / sizeof(float);
    };
    // Three rows of the ring and an output, of two channels: and three input frames turned round,
    // the outputs before they are, and a place for one input.
    EXPECT_EQ(valuesOfFirstFrame(16), 4 * 32 + 3 * 16 * 16 + 32 + 16 * 16);
    // Or an input turned round, and the rows, too.
    EXPECT_EQ(valuesOfFirstFrame(17), 4 * 32 + 16 * 17 + 3 * 32);
}

TEST_F(TransposedSteadyState, OnlyFramesThatWaitBehindAnotherCostABlock) {
    EXPECT_EQ(blocksOfAFrameDelivered(1, 1), 0U);
    EXPECT_EQ(blocksOfAFrameDelivered(1, 4), 0U);
    EXPECT_EQ(blocksOfAFrameDelivered(2, 3), 1U);
    EXPECT_EQ(blocksOfAFrameDelivered(4, 2), 3U);
}

}  // namespace
}  // namespace vorun
