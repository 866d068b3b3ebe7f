#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/Samples.h"
#include "api/SkipNetworks.h"
#include "support/SequenceSchedule.h"

/* Networks with skip connections, fed with tensors. */
namespace vorun::apitest {
namespace {

using sequence::Schedule;

constexpr std::int32_t rows = 16;

/** Random frames, exact in single precision. */
sequence::Frames randomFrames(std::int32_t count, std::int32_t channels, std::uint32_t seed) {
    sequence::Frames frames(count, rows, channels);
    const int volume = frames.frameVolume();
    const std::vector<float> noise = whiteNoise(1, count * volume, seed, 2.0f).front();
    for (std::int32_t t = 0; t < count; ++t) {
        for (std::int32_t i = 0; i < volume; ++i) {
            frames.flat(t, i).value = static_cast<double>(noise[t * volume + i]);
        }
    }
    return frames;
}

TensorValues tensorOf(const sequence::Frames& stream, std::int32_t first, std::int32_t count) {
    TensorValues tensor{{count, stream.height(), stream.channels()}, {}};
    for (std::int32_t t = first; t < first + count; ++t) {
        for (std::int32_t i = 0; i < stream.frameVolume(); ++i) {
            tensor.values.push_back(static_cast<float>(stream.flat(t, i).value));
        }
    }
    return tensor;
}

/** The frames from `given` on, each element within what rounding allows. */
void expectFrames(const TensorValues& result, const sequence::Frames& all, std::int32_t given,
                  std::int32_t count) {
    if (count == 0) {
        EXPECT_TRUE(result.shape.empty());
        return;
    }
    ASSERT_EQ(result.shape, (Shape{count, all.height(), all.channels()}));
    for (std::int32_t t = 0; t < count; ++t) {
        for (std::int32_t i = 0; i < all.frameVolume(); ++i) {
            const sequence::Estimate& expected = all.flat(given + t, i);
            const auto actual = static_cast<double>(result.values[t * all.frameVolume() + i]);
            ASSERT_LE(std::fabs(actual - expected.value), expected.error)
                << "frame " << given + t << ", element " << i;
        }
    }
}

/** Feeds the stream in groups of those sizes in turn. */
void expectStream(ApiModel& graph, const sequence::Model& model, const sequence::Frames& stream,
                  const std::vector<std::int32_t>& groups) {
    const sequence::Frames all = sequence::evaluateModel(model, stream);
    Schedule schedule(model);
    std::int32_t given = 0;
    std::int32_t fed = 0;
    for (std::size_t turn = 0; fed < stream.frames(); ++turn) {
        const std::int32_t count = std::min(groups[turn % groups.size()], stream.frames() - fed);
        const std::int32_t due = schedule.feed(count);
        ASSERT_LE(given + due, all.frames());
        expectFrames(graph.run(tensorOf(stream, fed, count)), all, given, due);
        fed += count;
        given += due;
    }
    EXPECT_GT(given, 3);
}

std::vector<UShape> shapes() {
    std::vector<UShape> all;
    for (const std::int8_t operation : std::vector<std::int8_t>{0, 2, 3, 7}) {
        for (const int timeStride : {1, 2, 3}) {
            UShape shape{evenHeader(1 + timeStride % 2, 1, 3)};
            shape.timeStride = timeStride;
            shape.operation = operation;
            shape.encoderLookahead = operation % 3;
            shape.decoderLookahead = operation == 7 ? 1 : 0;
            shape.lastLookahead = timeStride - 1;
            shape.seed = static_cast<std::uint32_t>(operation) + 2;
            all.push_back(shape);
        }
    }
    return all;
}

TEST(ASkipNetworkOnTensors, GivesTheFramesOfItsFormulas) {
    for (const UShape& shape : shapes()) {
        SCOPED_TRACE(testing::Message()
                     << "operation " << int{shape.operation} << ", stride " << shape.timeStride);
        const sequence::Model model = modelOf(shape);
        const TemporaryGraph file(model);
        const sequence::Frames stream = randomFrames(13, shape.header.inputChannels, 3);
        for (const std::vector<std::int32_t>& groups :
             {std::vector<std::int32_t>{1}, {3, 1, 2}, {13}}) {
            ApiModel graph(file.path());
            ASSERT_TRUE(graph.created());
            expectStream(graph, model, stream, groups);
        }
    }
}

TEST(ASkipNetworkOnTensors, StartsAnewAfterAReset) {
    for (const UShape& shape : shapes()) {
        const sequence::Model model = modelOf(shape);
        const TemporaryGraph file(model);
        ApiModel graph(file.path());
        ASSERT_TRUE(graph.created());
        for (const std::int32_t length : {8, 9, 11}) {
            const auto seed = static_cast<std::uint32_t>(length);
            const auto stream = randomFrames(length, shape.header.inputChannels, seed);
            expectStream(graph, model, stream, {1});
            graph.reset();
        }
    }
}

TEST(ASkipNetworkOnTensors, StatesTheLatencyThatItsStridesScale) {
    for (const UShape& shape : shapes()) {
        const TemporaryGraph file(modelOf(shape));
        ApiModel graph(file.path());
        ASSERT_TRUE(graph.created());
        VorunModelInfo info;
        vorunGetProcessorInfo(static_cast<void*>(graph.handle()), &info);
        EXPECT_EQ(info.latency, latencyOf(shape));
    }
}

}  // namespace
}  // namespace vorun::apitest
