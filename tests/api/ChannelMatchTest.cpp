#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "api/ApiProcessor.h"
#include "api/ReferenceStream.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr double tolerance = 1e-5;

class ChannelMatch : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    int modelInputs() const { return std::get<0>(GetParam()); }
    int modelOutputs() const { return std::get<1>(GetParam()); }
    int hostChannels() const { return std::get<2>(GetParam()); }

    void expectAsReference(int pipelineMode) {
        TestModel model = livelyMasks(frameHeader(32, 32, 16, modelInputs(), modelOutputs(), 2), 3);
        model.header.pipelineMode = static_cast<std::int8_t>(pipelineMode);
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), hostChannels(), 48000.0);
        ASSERT_TRUE(processor.created());
        ReferenceStream reference(model, hostChannels(), 48000.0);
        const double gains[] = {0.5, 1.5, 0.25};
        for (int bus = 0; bus < 3; ++bus) {
            processor.set(gainOf(bus), static_cast<float>(gains[bus]));
            reference.setGain(bus, gains[bus]);
        }
        const Planar input = whiteNoise(hostChannels(), 320, 44);
        EXPECT_TRUE(isNear(runAtOnce(processor, input), reference.push(input), tolerance));
    }
};

TEST_P(ChannelMatch, MasksMatchTheReference) {
    expectAsReference(0);
}

TEST_P(ChannelMatch, SpectraMatchTheReference) {
    expectAsReference(1);
}

TEST_P(ChannelMatch, EveryOtherModeIsSpectrumMode) {
    expectAsReference(-7);
}

INSTANTIATE_TEST_SUITE_P(ModelAndHost, ChannelMatch,
                         testing::Combine(testing::Values(1, 2, 3), testing::Values(1, 2, 3),
                                          testing::Values(1, 2, 3, 5)),
                         [](const auto& each) {
                             return "In" + std::to_string(std::get<0>(each.param)) + "Out" +
                                    std::to_string(std::get<1>(each.param)) + "Host" +
                                    std::to_string(std::get<2>(each.param));
                         });

/** What a spectrum-mode copy of complex bins gives, the residual off: the matching alone. */
Planar matchedByEngine(int modelChannels, const Planar& input) {
    TestModel model{complexHeader(frameHeader(32, 32, 16, modelChannels, modelChannels), 17), {}};
    model.header.pipelineMode = 1;
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), static_cast<int>(input.size()), 48000.0);
    EXPECT_TRUE(processor.created());
    processor.set(gainOf(1), 0.0F);
    return runAtOnce(processor, input);
}

PlanarDouble averageOnEveryChannel(const Planar& input, int samples) {
    std::vector<double> average(samples, 0.0);
    for (const auto& channel : input) {
        for (int i = 0; i < samples; ++i) {
            average[i] += static_cast<double>(channel[i]) / static_cast<double>(input.size());
        }
    }
    return PlanarDouble(input.size(), average);
}

TEST(ChannelCases, EqualCountsKeepEveryChannelToItself) {
    const Planar input = whiteNoise(4, 160, 5);
    EXPECT_TRUE(isNear(matchedByEngine(4, input), widened(head(input, 144)), 2e-6));
}

TEST(ChannelCases, AMonoModelHearsTheAverageAndAnswersOnAllChannels) {
    for (const int host : {2, 3, 11}) {
        const Planar input = whiteNoise(host, 160, 5);
        EXPECT_TRUE(isNear(matchedByEngine(1, input), averageOnEveryChannel(input, 144), 2e-6));
    }
}

TEST(ChannelCases, AStereoModelOnAMonoHostGivesTheAverageOfItsTwoEqualAnswers) {
    const Planar input = whiteNoise(1, 160, 5);
    EXPECT_TRUE(isNear(matchedByEngine(2, input), widened(head(input, 144)), 2e-6));
}

TEST(ChannelCases, OtherCountsAlwaysGoThroughMono) {
    const Planar three = whiteNoise(3, 160, 5);
    EXPECT_TRUE(isNear(matchedByEngine(2, three), averageOnEveryChannel(three, 144), 2e-6));
    const Planar two = whiteNoise(2, 160, 5);
    EXPECT_TRUE(isNear(matchedByEngine(4, two), averageOnEveryChannel(two, 144), 2e-6));
}

TEST(ChannelCases, EachMaskChannelMeetsItsOwnAudioChannel) {
    const TestModel model = constantMasks(frameHeader(32, 32, 16, 3, 3), {0.25F, 0.5F, 1.0F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 3, 48000.0);
    processor.set(gainOf(1), 0.0F);
    const Planar input = whiteNoise(3, 160, 6);
    PlanarDouble expected = widened(head(input, 144));
    const double masks[] = {0.25, 0.5, 1.0};
    for (int c = 0; c < 3; ++c) {
        for (double& sample : expected[c]) {
            sample *= masks[c];
        }
    }
    EXPECT_TRUE(isNear(runAtOnce(processor, input), expected, 2e-6));
}

TEST(ChannelCases, TheAverageOfAStereoMaskActsOnAMonoHost) {
    const TestModel model = constantMasks(frameHeader(32, 32, 16, 2, 2), {0.25F, 0.75F});
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    processor.set(gainOf(1), 0.0F);
    const Planar input = whiteNoise(1, 160, 6);
    PlanarDouble expected = widened(head(input, 144));
    for (double& sample : expected[0]) {
        sample *= 0.5;
    }
    EXPECT_TRUE(isNear(runAtOnce(processor, input), expected, 2e-6));
}

}  // namespace
}  // namespace vorun::apitest
