#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/RandomGraph.h"
#include "neural/RandomGraphFeatures.h"
#include "neural/RandomGraphLayers.h"
#include "support/SequenceModel.h"
#include "support/SequenceSchedule.h"

// Whole models against a plain computation over the whole stream. One graph runs alone with
// --gtest_filter='*seed17'; VORUN_RANDOM_GRAPHS=3000 asks for more of them than usual.

namespace vorun {
namespace {

using sequence::Estimate;
using sequence::Frames;
using sequence::Schedule;
using test::evaluate;
using test::FloatTensor;
using test::GraphDice;
using test::RandomGraph;
using test::randomGraph;

constexpr std::uint32_t usualGraphs = 400;

std::uint32_t graphCount() {
    const char* asked = std::getenv("VORUN_RANDOM_GRAPHS");
    return asked == nullptr ? usualGraphs
                            : static_cast<std::uint32_t>(std::strtoul(asked, nullptr, 10));
}

/** Each graph is made once and serves several tests. */
const RandomGraph& graphOf(std::uint32_t seed) {
    static std::map<std::uint32_t, RandomGraph> made;
    const auto known = made.find(seed);
    return known != made.end() ? known->second
                               : made.emplace(seed, randomGraph(seed)).first->second;
}

FloatTensor tensorOf(const Frames& stream, std::int32_t first, std::int32_t count) {
    FloatTensor tensor({count, stream.height(), stream.channels()});
    float* to = tensor.data();
    for (std::int32_t t = first; t < first + count; ++t) {
        for (std::int32_t i = 0; i < stream.frameVolume(); ++i) {
            *to++ = static_cast<float>(stream.flat(t, i).value);
        }
    }
    return tensor;
}

/** The frames of one result, which must be those that follow the first `given` expected ones. */
void expectFrames(const Frames& expected, std::int32_t given, const FloatTensor& result) {
    ASSERT_LE(given + result.dim(0), expected.frames()) << "frames that nothing gives";
    if (result.dim(0) == 0) {
        return;
    }
    ASSERT_EQ(result.dim(1), expected.height());
    ASSERT_EQ(result.dim(2), expected.channels());
    const float* actual = result.readData();
    for (std::int32_t t = 0; t < result.dim(0); ++t) {
        for (std::int32_t i = 0; i < expected.frameVolume(); ++i) {
            const Estimate& wanted = expected.flat(given + t, i);
            ASSERT_LE(std::fabs(static_cast<double>(*actual++) - wanted.value), wanted.error)
                << "output frame " << given + t << ", element " << i << ": " << actual[-1]
                << " and not " << wanted.value;
        }
    }
}

bool transposes(const sequence::Model& model) {
    return std::any_of(model.nodes.begin(), model.nodes.end(), [](const sequence::Node& node) {
        return node.type == writer::LayerType::transposedConv;
    });
}

/** Runs one stream through a model that is at its start; each call takes what `callSize` says. */
template <class CallSize>
void expectStream(const sequence::Model& plain, const Frames& stream, NeuralModel<float>& model,
                  CallSize callSize) {
    const Frames expected = sequence::evaluateModel(plain, stream);
    const bool holdsBack = transposes(plain);
    Schedule schedule(plain);
    std::int32_t given = 0;
    for (std::int32_t fed = 0; fed < stream.frames();) {
        const std::int32_t count = std::min(callSize(), stream.frames() - fed);
        SCOPED_TRACE("input frame " + std::to_string(fed));
        const FloatTensor result = evaluate(model, tensorOf(stream, fed, count));
        expectFrames(expected, given, result);
        if (testing::Test::HasFatalFailure()) {
            return;
        }
        ASSERT_EQ(result.dim(0), schedule.feed(count)) << "frames in one result";
        given += result.dim(0);
        fed += count;
        const std::int32_t available = sequence::framesAfter(plain, fed);
        ASSERT_LE(given, available) << "frames ahead of their input";
        ASSERT_TRUE(holdsBack || given == available) << "frames too late";
    }
    ASSERT_EQ(expected.frames(), sequence::framesAfter(plain, stream.frames()));
}

/** All streams in turn, with a reset before each. */
template <class CallSize>
void expectGraph(const RandomGraph& graph, CallSize callSize) {
    NeuralModel<float> model = test::loadedModel(sequence::fileOf(graph.model));
    ASSERT_EQ(model.latency, Schedule(graph.model).latency());
    for (const Frames& stream : graph.streams) {
        SCOPED_TRACE("stream of " + std::to_string(stream.frames()) + " frames");
        model.Reset();
        expectStream(graph.model, stream, model, callSize);
        if (testing::Test::HasFatalFailure()) {
            return;
        }
    }
}

class RandomGraphs : public testing::TestWithParam<std::uint32_t> {};

TEST_P(RandomGraphs, GiveThePlainStream) {
    const RandomGraph& graph = graphOf(GetParam());
    SCOPED_TRACE(describe(graph));
    expectGraph(graph, [] { return 1; });
    if (graph.takesGroups && !HasFatalFailure()) {
        SCOPED_TRACE("in groups of frames");
        GraphDice dice(GetParam());
        expectGraph(graph, [&] { return dice.roll(1, 5); });
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomGraphs, testing::Range(1U, graphCount() + 1U),
                         [](const testing::TestParamInfo<std::uint32_t>& seed) {
                             return "seed" + std::to_string(seed.param);
                         });

TEST(RandomGraphCoverage, EveryLayerJoinAndStrideOccurs) {
    constexpr std::int32_t fewest = 4;
    std::map<std::string, std::int32_t> graphsWith;
    for (std::uint32_t seed = 1; seed <= usualGraphs; ++seed) {
        for (const std::string& feature : featuresOf(graphOf(seed))) {
            ++graphsWith[feature];
        }
    }
    for (const std::string& feature : test::wantedFeatures()) {
        EXPECT_GE(graphsWith[feature], fewest) << feature;
    }
}

TEST(RandomGraphCoverage, EveryGraphGivesFramesThatAreWorthComparing) {
    std::int64_t elements = 0;
    for (std::uint32_t seed = 1; seed <= usualGraphs; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomGraph& graph = graphOf(seed);
        const Frames expected = evaluateModel(graph.model, graph.streams.back());
        ASSERT_GE(expected.frames(), 8);
        ASSERT_GE(test::levelOf(expected), 0.02);
        ASSERT_LE(test::relativeError(expected), 2e-4);
        elements += static_cast<std::int64_t>(expected.values().size());
    }
    EXPECT_GE(elements, 100000);
}

}  // namespace
}  // namespace vorun
