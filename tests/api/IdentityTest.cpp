#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

/** 32 float epsilons of the peak: some for each of the transforms' stages, windows and the mix. */
constexpr double identityTolerance = 32 * 1.2e-7 * 0.5;

struct Framing {
    const char* name;
    int fftSize;
    int windowSize;
    int hopSize;
};

/** Framings whose windows overlap to exactly the input. */
constexpr Framing perfectFramings[] = {
    {"Symmetric", 64, 64, 32},
    {"SymmetricShorterWindow", 64, 48, 24},
    {"SymmetricSmallest", 2, 2, 1},
    {"LowLatency", 64, 64, 16},
};

writer::ModelHeader headerOf(const Framing& framing, int channels, int masks = 1) {
    return frameHeader(framing.fftSize, framing.windowSize, framing.hopSize, channels, channels,
                       masks);
}

/** Runs a stream with all checks of latency and pending counts; the caller sets parameters. */
Planar runChecked(ApiProcessor& processor, const TestModel& model, double rate,
                  const Planar& input) {
    const HostFrame frame = hostFrame(model.header, rate, latencyFrames(model.network));
    EXPECT_EQ(processor.info().latency, frame.reportedLatency());
    return runStream(processor, input, {{13, 64, 1, frame.hopSize, 5 * frame.hopSize}, {}}, frame);
}

int samplesFor(const HostFrame& frame) {
    return 12 * frame.hopSize + frame.windowSize + 5;
}

class Identity : public testing::TestWithParam<std::tuple<Framing, int>> {
  protected:
    Framing framing() const { return std::get<0>(GetParam()); }
    int channels() const { return std::get<1>(GetParam()); }
};

TEST_P(Identity, AMaskOfOneGivesTheInputBackWithTheResidualOff) {
    const TestModel model = constantMasks(headerOf(framing(), channels()), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), channels(), 48000.0);
    ASSERT_TRUE(processor.created());
    processor.set(gainOf(1), 0.0F);
    const Planar input = whiteNoise(channels(), samplesFor(hostFrame(model.header, 48000.0)), 21);
    const Planar output = runChecked(processor, model, 48000.0, input);
    ASSERT_GT(lengthOf(output), 0);
    EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
}

TEST_P(Identity, AMonoModelLetsEveryHostChannelThrough) {
    const TestModel model = constantMasks(headerOf(framing(), 1), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), channels(), 48000.0);
    ASSERT_TRUE(processor.created());
    processor.set(gainOf(1), 0.0F);
    const Planar input = whiteNoise(channels(), samplesFor(hostFrame(model.header, 48000.0)), 22);
    const Planar output = runChecked(processor, model, 48000.0, input);
    EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
}

TEST_P(Identity, AnyMaskGivesTheInputBackWithAllGainsAtUnity) {
    const TestModel model = livelyMasks(headerOf(framing(), channels(), 2), 5, 2);
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), channels(), 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar input = whiteNoise(channels(), samplesFor(hostFrame(model.header, 48000.0)), 23);
    const Planar output = runChecked(processor, model, 48000.0, input);
    EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
}

TEST_P(Identity, AnySpectrumGivesTheInputBackWithAllGainsAtUnity) {
    TestModel model = livelyMasks(headerOf(framing(), channels(), 3), 6, 1);
    model.header.pipelineMode = 1;
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), channels(), 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar input = whiteNoise(channels(), samplesFor(hostFrame(model.header, 48000.0)), 24);
    const Planar output = runChecked(processor, model, 48000.0, input);
    EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
}

INSTANTIATE_TEST_SUITE_P(FramingsAndChannels, Identity,
                         testing::Combine(testing::ValuesIn(perfectFramings),
                                          testing::Values(1, 2, 3, 11)),
                         [](const auto& each) {
                             return std::string(std::get<0>(each.param).name) + "Channels" +
                                    std::to_string(std::get<1>(each.param));
                         });

class IdentityAtRate : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    double rate() const { return std::get<0>(GetParam()); }
    /** A symmetric or a low-latency framing, still whole at a sixth of the model's rate. */
    writer::ModelHeader header(int channels) const {
        return frameHeader(64, 64, std::get<1>(GetParam()), channels, channels);
    }
};

TEST_P(IdentityAtRate, AnyMaskGivesTheInputBackWithTheStatedLatency) {
    for (const int channels : {1, 2}) {
        const TestModel model = livelyMasks(header(channels), 8, 3);
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), channels, rate());
        ASSERT_TRUE(processor.created());
        const HostFrame frame = hostFrame(model.header, rate());
        const Planar input = whiteNoise(channels, samplesFor(frame), 25);
        const Planar output = runChecked(processor, model, rate(), input);
        ASSERT_GT(lengthOf(output), 0);
        EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
    }
}

/** Rates up to the model's own; above them the bins over its top hold a level, not the mask. */
class IdentityAtCoveredRate : public IdentityAtRate {};

TEST_P(IdentityAtCoveredRate, AMaskOfOneAloneGivesTheInputBack) {
    const TestModel model = constantMasks(header(2), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 2, rate());
    ASSERT_TRUE(processor.created());
    processor.set(gainOf(1), 0.0F);
    const HostFrame frame = hostFrame(model.header, rate());
    const Planar input = whiteNoise(2, samplesFor(frame), 26);
    const Planar output = runChecked(processor, model, rate(), input);
    EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), identityTolerance));
}

std::string nameOfRate(const testing::TestParamInfo<std::tuple<int, int>>& each) {
    std::string name = "Rate" + std::to_string(std::get<0>(each.param));
    return name += "Hop" + std::to_string(std::get<1>(each.param));
}

INSTANTIATE_TEST_SUITE_P(RatesAndHops, IdentityAtRate,
                         testing::Combine(testing::Values(8000, 16000, 24000, 32000, 44100, 48000,
                                                          88200, 96000, 192000),
                                          testing::Values(32, 16)),
                         nameOfRate);

INSTANTIATE_TEST_SUITE_P(RatesAndHops, IdentityAtCoveredRate,
                         testing::Combine(testing::Values(8000, 16000, 24000, 32000, 44100, 48000),
                                          testing::Values(32, 16)),
                         nameOfRate);

TEST(LowLatencyScheme, AWindowShorterThanTheTransformIsLouderByTheirRatio) {
    const TestModel model = constantMasks(frameHeader(64, 48, 12), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar input = whiteNoise(1, 400, 27);
    const Planar output = runChecked(processor, model, 48000.0, input);
    PlanarDouble expected = widened(head(input, lengthOf(output)));
    for (double& sample : expected[0]) {
        sample *= 64.0 / 48.0;
    }
    EXPECT_TRUE(isNear(output, expected, identityTolerance));
}

TEST(LowLatencyScheme, AWindowOfEightHopsGivesSilence) {
    // The synthesis window lies on samples 24 to 39 of the frame, the reads on 40 to 55.
    const TestModel model = constantMasks(frameHeader(64, 64, 8), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar output = runChecked(processor, model, 48000.0, whiteNoise(1, 400, 27));
    ASSERT_EQ(lengthOf(output), 48 * 8);
    for (const float sample : output[0]) {
        ASSERT_EQ(sample, 0.0F);
    }
}

TEST(PendingSamples, TrailThePushedOnesByLatencyLessOneHopWhenBlocksAreWholeHops) {
    for (const int hop : {32, 16}) {
        const TestModel model = livelyMasks(frameHeader(64, 64, hop), 8, 2);
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), 1, 48000.0);
        ASSERT_TRUE(processor.created());
        const int latency = processor.info().latency;
        const Planar input = whiteNoise(1, 20 * hop, 28);
        processor.push(input, 0, 10 * hop);
        for (int i = 10; i < 20; ++i) {
            processor.push(input, i * hop, hop);
            EXPECT_EQ((i + 1) * hop - processor.pending(), latency - hop);
        }
    }
}

TEST(PendingSamples, TrailThePushedOnesByLatencyLessOneAtMost) {
    const TestModel model = livelyMasks(frameHeader(64, 64, 16), 8, 2);
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    const int latency = processor.info().latency;
    const Planar input = whiteNoise(1, 400, 29);
    int largest = 0;
    for (int i = 0; i < 400; ++i) {
        processor.push(input, i, 1);
        largest = std::max(largest, i + 1 - processor.pending());
    }
    EXPECT_EQ(largest, latency - 1);
}

TEST(PendingSamples, AHopOfOneGivesASampleForASample) {
    const TestModel model = constantMasks(frameHeader(4, 2, 1), {1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar input = whiteNoise(1, 50, 30);
    for (int i = 0; i < 50; ++i) {
        processor.push(input, i, 1);
        EXPECT_EQ(processor.pending(), i);
    }
    EXPECT_TRUE(isNear(processor.pullAll(), widened(head(input, 49)), identityTolerance));
}

}  // namespace
}  // namespace vorun::apitest
