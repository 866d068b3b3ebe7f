#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/FrameQueue.h"
#include "neural/GraphState.h"
#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::convRecord;
using test::evaluate;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::loads;
using test::makeTensor;
using test::RecordingLayer;
using test::valuesOf;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;
using writer::TransposedConvRecord;

constexpr int megaElements = 1 << 20;
/** With the node of the list, one frame less than the budget divided by a frame's elements. */
constexpr int megaFramesThatFit = 511;

TEST(FrameQueue, GivesTheOldestFirstAndSharesStorage) {
    FrameQueue<float> queue(std::make_shared<GraphState>());
    const FloatTensor first = makeTensor({1, 1, 1}, {1});
    queue.Push(first);
    queue.Push(makeTensor({1, 1, 1}, {2}));
    EXPECT_EQ(queue.size(), 2U);
    EXPECT_EQ(queue.Pop().readData(), first.readData());
    EXPECT_THAT(valuesOf(queue.Pop()), ElementsAre(2));
    EXPECT_TRUE(queue.empty());
}

TEST(FrameQueue, QueuesOfAModelShareOneBudget) {
    const auto graph = std::make_shared<GraphState>();
    FrameQueue<float> first(graph);
    FrameQueue<float> second(graph);
    const FloatTensor frame({1, megaElements, 1});
    for (int i = 0; i < megaFramesThatFit; ++i) {
        (i % 2 == 0 ? first : second).Push(frame);
    }
    EXPECT_THROW(first.Push(frame), std::length_error);
    EXPECT_EQ(first.size() + second.size(), static_cast<std::size_t>(megaFramesThatFit));
    second.Pop();
    EXPECT_NO_THROW(first.Push(frame));
    EXPECT_THROW(second.Push(frame), std::length_error);
    first.Clear();
    EXPECT_NO_THROW(second.Push(frame));
}

TEST(FrameQueue, GivesItsShareBackWhenItGoes) {
    const auto graph = std::make_shared<GraphState>();
    const FloatTensor frame({1, megaElements, 1});
    for (int round = 0; round < 3; ++round) {
        FrameQueue<float> queue(graph);
        for (int i = 0; i < megaFramesThatFit; ++i) {
            EXPECT_NO_THROW(queue.Push(frame));
        }
    }
}

TEST(FrameQueue, RefusalHasTheTextOfAFullList) {
    const auto graph = std::make_shared<GraphState>();
    FrameQueue<float> queue(graph);
    graph->addWaiting(GraphState::maxWaitingElements);
    try {
        queue.Push(FloatTensor({1, 1, 1}));
        FAIL() << "no failure";
    } catch (const std::length_error& failure) {
        EXPECT_STREQ(failure.what(), "list too long");
    }
}

TEST(FrameQueue, FramesWithoutElementsCountToo) {
    GraphState graph;
    FrameQueue<float> queue(std::shared_ptr<GraphState>(std::shared_ptr<void>(), &graph));
    queue.Push(FloatTensor({1, 0, 1}));
    EXPECT_THROW(graph.addWaiting(GraphState::maxWaitingElements), std::length_error);
}

/** Forks that are joined again, one behind the other: paths double with each. */
std::string addDiamonds(ModelWriter& file, std::string previous, int count) {
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        file.addActivation("r" + number, previous, LayerType::relu)
            .addArithmetic("s" + number, {previous, "r" + number}, 2);
        previous = "s" + number;
    }
    return previous;
}

TEST(ModelGraphBounds, LatencyOfHundredsOfForksIsFoundAtOnce) {
    ModelWriter file;
    ConvRecord late = convRecord({1, 1, 1, 1}, {1});
    late.lookahead = 3;
    file.addConv("late", "input", late);
    file.setOutputSource(addDiamonds(file, "late", 400));
    EXPECT_EQ(loadedModel(file).latency, 3);
}

TEST(ModelGraphBounds, TicksPassResidualBlocksBy) {
    ModelWriter file;
    ConvRecord late = convRecord({1, 1, 1, 1}, {1});
    late.lookahead = 2;
    file.addConv("late", "input", late);
    file.setOutputSource(addDiamonds(file, "late", 60));
    NeuralModel<float> model = loadedModel(file);
    // 2^60 visits would not end.
    EXPECT_EQ(evaluate(model, makeTensor({1, 1, 1}, {1})).rank(), 0);
    EXPECT_EQ(evaluate(model, makeTensor({1, 1, 1}, {1})).rank(), 0);
    EXPECT_EQ(evaluate(model, makeTensor({1, 1, 1}, {-1})).rank(), 3);
}

ConvRecord strided(std::int8_t timeStride) {
    ConvRecord record = convRecord({1, 1, 1, 1}, {1});
    record.timeStride = timeStride;
    return record;
}

TransposedConvRecord expanding(std::int8_t timeStride, std::int8_t heightStride = 1) {
    TransposedConvRecord record;
    record.weights = {{1, 1, 1, 1}, {1}};
    record.timeStride = timeStride;
    record.heightStride = heightStride;
    return record;
}

TEST(ModelGraphBounds, LayerHeardByATransposedOneStillGetsItsTicks) {
    ModelWriter file;
    file.addConv("down", "input", strided(2))
        .addActivation("deaf", "down", LayerType::relu)
        .addActivation("hearing", "down", LayerType::relu)
        .addTransposedConv("up", "hearing", expanding(2))
        .setOutputSource("up");
    NeuralModel<float> model = loadedModel(file);
    std::vector<std::string> log;
    RecordingLayer behindDeaf("behind deaf", log);
    RecordingLayer behindHearing("behind hearing", log);
    layerNamed(model, "deaf")->consumers.push_back(&behindDeaf);
    layerNamed(model, "hearing")->consumers.push_back(&behindHearing);
    layerNamed(model, "down")->SkipFrame();
    EXPECT_THAT(log, ElementsAre("behind hearing tick"));
}

TEST(ModelGraphBounds, TicksOverMoreThanAMillionPathsAreRefused) {
    for (const int diamonds : {16, 24}) {
        ModelWriter file;
        file.addConv("down", "input", strided(2));
        const std::string last = addDiamonds(file, "down", diamonds);
        file.addTransposedConv("up", last, expanding(2)).setOutputSource("up");
        EXPECT_EQ(loads(file), diamonds == 16) << diamonds;
    }
}

TEST(ModelGraphBounds, AsManyPathsWithoutATickLoad) {
    ModelWriter file;
    const std::string last = addDiamonds(file, "input", 24);
    file.addTransposedConv("up", last, expanding(2)).setOutputSource("up");
    EXPECT_TRUE(loads(file));
}

ModelWriter expansions(int count, std::int8_t timeStride, std::int8_t heightStride) {
    ModelWriter file;
    std::string previous = "input";
    for (int i = 0; i < count; ++i) {
        const std::string name = std::to_string(i);
        file.addTransposedConv(name, previous, expanding(timeStride, heightStride));
        previous = name;
    }
    return file.setOutputSource(previous);
}

TEST(ModelGraphBounds, StridesMultiplyFramesAndBinsUpToTheLimit) {
    EXPECT_TRUE(loads(expansions(15, 2, 1)));
    EXPECT_FALSE(loads(expansions(16, 2, 1)));
    EXPECT_TRUE(loads(expansions(15, 1, 2)));
    EXPECT_FALSE(loads(expansions(16, 1, 2)));
    EXPECT_TRUE(loads(expansions(5, 4, 2)));
    EXPECT_FALSE(loads(expansions(6, 4, 2)));
    EXPECT_FALSE(loads(expansions(3, 127, 1)));
}

TEST(ModelGraphBounds, EncodersMakeRoomForDecoders) {
    ModelWriter file;
    std::string previous = "input";
    for (int i = 0; i < 40; ++i) {
        const std::string number = std::to_string(i);
        file.addConv("down" + number, previous, strided(2))
            .addTransposedConv("up" + number, "down" + number, expanding(2));
        previous = "up" + number;
    }
    EXPECT_TRUE(loads(file.setOutputSource(previous)));
}

TEST(GraphState, WalkAsksEachQuestionOnce) {
    GraphState graph;
    int computed = 0;
    const auto three = [&computed] {
        ++computed;
        return 3;
    };
    const int layer = 0;
    const auto twice = [&] {
        return graph.latencyOf(&layer, 2, three) + graph.latencyOf(&layer, 2, three);
    };
    EXPECT_EQ(graph.latencyOf(&graph, 1, twice), 6);
    EXPECT_EQ(computed, 1);
    // The next walk finds what has become of the graph since.
    EXPECT_EQ(graph.latencyOf(&graph, 1, twice), 6);
    EXPECT_EQ(computed, 2);
}

TEST(GraphState, WalkOfAMillionDifferentQuestionsIsRefusedAndLeavesTheNextOneWhole) {
    GraphState graph;
    const auto ask = [&graph](std::int32_t questions) {
        return graph.latencyOf(&graph, 0, [&] {
            for (std::int32_t scale = 1; scale < questions; ++scale) {
                graph.latencyOf(&graph, scale, [] { return 0; });
            }
            return 7;
        });
    };
    EXPECT_THROW(ask((1 << 20) + 2), std::runtime_error);
    EXPECT_EQ(ask(1000), 7);
}

}  // namespace
}  // namespace vorun
