#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/ReferenceStream.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

/**
 * Error of a whole path against double precision, of a peak of 0.5. Masks carry the rounding of
 * their network's input, which is some 1e-6 of a spectrum's magnitude.
 */
constexpr double pathTolerance = 1e-5;

/** Pushes the same blocks into engine and reference and compares all that comes out. */
void expectPathAsReference(const TestModel& model, int channels, double rate, int hops = 12,
                           float residualGain = 0.25F) {
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), channels, rate);
    ASSERT_TRUE(processor.created());
    ReferenceStream reference(model, channels, rate);
    processor.set(gainOf(model.header.maskCount), residualGain);
    reference.setGain(model.header.maskCount, static_cast<double>(residualGain));
    const HostFrame& frame = reference.frame();
    EXPECT_EQ(processor.info().latency, frame.reportedLatency());
    const Planar input = whiteNoise(channels, frame.windowSize + hops * frame.hopSize, 41);
    const Planar output = runAtOnce(processor, input);
    ASSERT_GT(lengthOf(output), 0);
    EXPECT_TRUE(isNear(output, reference.push(input), pathTolerance));
}

struct Sizes {
    int fftSize;
    int windowSize;
    int hopSize;
};

class WindowSchemes : public testing::TestWithParam<std::tuple<Sizes, int>> {
  protected:
    writer::ModelHeader header(int channels) const {
        const Sizes sizes = std::get<0>(GetParam());
        return frameHeader(sizes.fftSize, sizes.windowSize, sizes.hopSize, channels, channels);
    }
    double rate() const { return std::get<1>(GetParam()); }
};

TEST_P(WindowSchemes, MatchTheReferenceWithAMaskThatFollowsTheInput) {
    expectPathAsReference(livelyMasks(header(1), 3, 1), 1, rate());
    expectPathAsReference(livelyMasks(header(2), 4, 0), 2, rate());
}

TEST_P(WindowSchemes, MatchTheReferenceWithAConstantMask) {
    expectPathAsReference(constantMasks(header(1), {0.8F}), 1, rate());
}

// Among them: exact overlap, a window between two and three hops, three hops (whose synthesis
// window is not aligned with the read offsets), an odd window, eight hops, and shorter windows.
INSTANTIATE_TEST_SUITE_P(
    SizesAndRates, WindowSchemes,
    testing::Combine(testing::Values(Sizes{64, 64, 32}, Sizes{64, 48, 24}, Sizes{64, 60, 24},
                                     Sizes{64, 63, 22}, Sizes{64, 48, 16}, Sizes{64, 63, 21},
                                     Sizes{64, 64, 16}, Sizes{64, 40, 10}, Sizes{64, 64, 8},
                                     Sizes{16, 11, 2}, Sizes{64, 2, 1}),
                     testing::Values(48000, 96000, 44100, 30000)),
    [](const auto& each) {
        const Sizes sizes = std::get<0>(each.param);
        std::string name = "Transform" + std::to_string(sizes.fftSize);
        name += "Window" + std::to_string(sizes.windowSize);
        name += "Hop" + std::to_string(sizes.hopSize);
        return name += "Rate" + std::to_string(std::get<1>(each.param));
    });

TEST(HalvedFrames, MatchTheReferenceWithSizesRoundedToEven) {
    // Hop 7 becomes 4, window 22 becomes 11; hop 5 becomes 2.
    expectPathAsReference(livelyMasks(frameHeader(32, 22, 7), 5), 1, 24000.0, 20);
    expectPathAsReference(livelyMasks(frameHeader(32, 22, 5), 5), 1, 24000.0, 20);
    expectPathAsReference(livelyMasks(frameHeader(16, 10, 5), 5), 1, 24000.0, 20);
}

TEST(HostRates, MatchTheReferenceOverTheWholeRange) {
    for (const double rate :
         {8000.0, 16000.0, 24000.0, 32000.0, 44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
        SCOPED_TRACE(rate);
        expectPathAsReference(livelyMasks(frameHeader(32, 32, 16), 6, 1), 1, rate, 6);
        expectPathAsReference(livelyMasks(frameHeader(32, 32, 8), 7), 1, rate, 6);
    }
}

TEST(MissingBins, OfAHostBelowTheModelsRateEnterAsSilence) {
    // A tall kernel reaches from the host's top bin into the rows that it lacks.
    TestModel model{frameHeader(64, 64, 32), {randomStage({2, 9, 1, 1}, 8)}};
    model.network.emplace_back(writer::LayerType::sigmoid);
    expectPathAsReference(model, 1, 24000.0);
    expectPathAsReference(model, 1, 12000.0);
}

TEST(FewerModelBinsThanTheModelsFrame, AreFilledLikeAllBinsAboveTheTop) {
    TestModel model = livelyMasks(frameHeader(64, 64, 32), 9);
    model.header.inputBins = 20;
    expectPathAsReference(model, 1, 48000.0);
    expectPathAsReference(model, 1, 96000.0);
}

TEST(MoreModelBinsThanTheModelsFrame, AreIgnored) {
    TestModel model = livelyMasks(frameHeader(64, 64, 32), 9);
    model.header.inputBins = 50;
    expectPathAsReference(model, 1, 48000.0);
}

TEST(ComplexInput, MatchesTheReferenceWithMasksThatTurnPhases) {
    for (const int complexBins : {1, 9, 33}) {
        for (const double rate : {48000.0, 96000.0}) {
            TestModel model =
                livelyMasks(complexHeader(frameHeader(64, 64, 32, 2, 2), complexBins), 10, 1);
            expectPathAsReference(model, 2, rate);
            model.header.pipelineMode = 1;
            expectPathAsReference(model, 2, rate);
        }
    }
    expectPathAsReference(livelyMasks(complexHeader(frameHeader(64, 64, 32), 9), 11), 1, 24000.0);
}

TEST(ComplexInput, CopiedBySpectrumModeGivesTheInputBackWithoutAnyResidual) {
    for (const int channels : {1, 2}) {
        TestModel model{complexHeader(frameHeader(64, 64, 16, channels, channels), 33), {}};
        model.header.pipelineMode = 1;
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), channels, 48000.0);
        ASSERT_TRUE(processor.created());
        processor.set(gainOf(1), 0.0F);
        const Planar input = whiteNoise(channels, 500, 42);
        const Planar output = runAtOnce(processor, input);
        EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), 2e-6));
    }
}

TEST(AStridedNetwork, PairsItsFewerFramesWithTheOldestDryOnes) {
    TestModel model = livelyMasks(frameHeader(32, 32, 16), 12);
    std::get<writer::ConvRecord>(model.network[0]).timeStride = 2;
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    ReferenceStream reference(model, 1, 48000.0);
    const Planar input = whiteNoise(1, 640, 43);
    PlanarDouble expected(1);
    for (int i = 0; i < 640; i += 16) {
        processor.push(input, i, 16);
        append(
            expected,
            reference.push({std::vector<float>(input[0].begin() + i, input[0].begin() + i + 16)}));
        EXPECT_EQ(processor.pending(), static_cast<int>(expected[0].size()));
    }
    EXPECT_EQ(processor.pending(), 19 * 16);
    EXPECT_TRUE(isNear(processor.pullAll(), expected, pathTolerance));
}

TEST(ExtraResultChannels, AreLeftAside) {
    TestModel model = constantMasks(frameHeader(32, 32, 16), {0.4F});
    model.network = {constantStage(1, {0.4F, 9.0F, 9.0F})};
    expectPathAsReference(model, 2, 48000.0, 12, 0.0F);
}

TEST(AModelWithoutRows, GivesNoAudio) {
    TestModel model = constantMasks(frameHeader(32, 32, 16), {0.4F});
    model.header.inputBins = 0;
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    if (!processor.created()) {
        return;
    }
    processor.push(whiteNoise(1, 1000, 1));
    EXPECT_EQ(processor.pending(), 0);
}

}  // namespace
}  // namespace vorun::apitest
