// What the shipped speech denoiser promises whatever is said: how little it costs, how steady it
// is. How well it treats recorded voices is measured and tested in training/.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "hosts/HeardSound.h"
#include "restore/DefaultModel.h"
#include "restore/Processor.h"

namespace vorun::restore {
namespace {

using test::decibels;
using test::noise;

const std::string model = VORUN_SPEECH_MODEL;

std::vector<float> restored(const std::vector<float>& input, int rate, std::int32_t channels = 1) {
    return test::restored(model, input, rate, channels);
}

TEST(SpeechModel, IsWhatTheProgramTakesByItself) {
    EXPECT_EQ(std::filesystem::path(defaultModel()).filename(), "speech.vorun");
}

TEST(SpeechModel, IsSmallAndQuickToAnswer) {
    EXPECT_LE(std::filesystem::file_size(model), 2'000'000U);
    EXPECT_LE(Processor(model, 1, 48000).latency(), 48000 * 20 / 1000);
}

TEST(SpeechModel, LowersNoiseAtEveryRateAndChannelCount) {
    for (const int rate : {8000, 16000, 22050, 44100, 48000, 96000}) {
        for (const std::int32_t channels : {1, 2, 6}) {
            const std::vector<float> input = noise(3 * rate * channels, 0.05F);
            const std::vector<float> output = restored(input, rate, channels);
            const double fall = decibels(input, input.size() / 2, input.size()) -
                                decibels(output, input.size() / 2, input.size());
            EXPECT_GT(fall, 3.0) << rate << " Hz, " << channels << " channels";
            EXPECT_LT(fall, 19.0) << rate << " Hz, " << channels << " channels";
        }
    }
}

TEST(SpeechModel, SteadyNoiseFallsByTwelveDecibelsOrMoreAtAnyLevel) {
    for (const float level : {0.1F, 0.01F, 0.001F}) {
        const std::vector<float> input = noise(4 * 48000, level);
        const std::vector<float> output = restored(input, 48000);
        EXPECT_LT(decibels(output, 96000, 192000), decibels(input, 96000, 192000) - 12.0) << level;
    }
}

TEST(SpeechModel, LeavesAFloorRatherThanHoles) {
    const std::vector<float> input = noise(4 * 48000, 0.05F);
    const std::vector<float> output = restored(input, 48000);
    constexpr std::size_t blockSize = 2400;
    for (std::size_t block = 96000; block < 192000; block += blockSize) {
        const double fall =
            decibels(input, block, block + blockSize) - decibels(output, block, block + blockSize);
        ASSERT_LT(fall, 19.0) << "at sample " << block;
    }
}

TEST(SpeechModel, SilenceStaysSilence) {
    const std::vector<float> silent = restored(std::vector<float>(48000, 0.0F), 48000);
    EXPECT_LT(decibels(silent, 0, 48000), -200.0);

    std::vector<float> input = noise(96000, 0.1F);
    std::fill(input.begin() + 48000, input.end(), 0.0F);
    const std::vector<float> output = restored(input, 48000);
    EXPECT_LT(decibels(output, 50000, 96000), -200.0);
}

/** Masks of their own would treat each channel otherwise than the mean of both. */
TEST(SpeechModel, BothChannelsOfAStereoStreamGetTheMaskOfTheirMean) {
    const std::vector<float> loud = noise(96000, 0.05F);
    std::vector<float> stereo;
    std::vector<float> mean;
    for (std::size_t i = 0; i < loud.size(); ++i) {
        const auto tone = static_cast<float>(0.02 * std::sin(0.05 * static_cast<double>(i)));
        stereo.insert(stereo.end(), {loud[i], tone});
        mean.push_back(0.5F * (loud[i] + tone));
    }
    const std::vector<float> ofMean = restored(mean, 48000);
    const std::vector<float> ofBoth = restored(stereo, 48000, 2);
    for (std::size_t i = 0; i < mean.size(); ++i) {
        ASSERT_NEAR(0.5F * (ofBoth[2 * i] + ofBoth[2 * i + 1]), ofMean[i], 1e-5F) << i;
    }
}

}  // namespace
}  // namespace vorun::restore
