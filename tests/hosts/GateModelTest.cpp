// What the shipped spectral gate does to sound, heard through the exported functions.
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "gate/SpectralGate.h"
#include "hosts/HeardSound.h"
#include "hosts/TemporaryFolder.h"
#include "restore/Processor.h"

namespace vorun::gate {
namespace {

constexpr int rate = 48000;

/** The gate as a file, for as long as this lives. */
class GateFile {
  public:
    GateFile() { spectralGate().writeFile(path()); }
    std::string path() const { return folder_.file("gate.vorun"); }

  private:
    test::TemporaryFolder folder_;
};

std::vector<float> restored(const std::vector<float>& input) {
    return test::restored(GateFile().path(), input, rate);
}

std::vector<float> noise(int seconds, float level) {
    return test::noise(seconds * rate, level);
}

/** Adds a tone that sounds for 0.2 s out of each 0.8 s. */
void addPulses(std::vector<float>& samples, float peak) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double seconds = static_cast<double>(i) / rate;
        if (std::fmod(seconds, 0.8) < 0.2) {
            samples[i] += peak * static_cast<float>(std::sin(6.283185307 * 1000.0 * seconds));
        }
    }
}

double decibels(const std::vector<float>& samples, double from, double to) {
    return test::decibels(samples, static_cast<std::size_t>(from * rate),
                          static_cast<std::size_t>(to * rate));
}

/** Power of `wanted` over that of what `heard` has besides it, in dB. */
double ratioToRest(const std::vector<float>& heard, const std::vector<float>& wanted) {
    std::vector<float> rest(wanted.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        rest[i] = heard[i] - wanted[i];
    }
    const double end = static_cast<double>(wanted.size()) / rate;
    return decibels(wanted, 0.0, end) - decibels(rest, 0.0, end);
}

TEST(GateModel, AnswersAfterFiveHops) {
    EXPECT_EQ(restore::Processor(GateFile().path(), 1, rate).latency(), 5 * 256);
}

TEST(GateModel, SteadyNoiseFallsByTwentyToTwentyTwoDecibelsAtAnyLevel) {
    for (const float level : {0.1F, 0.01F, 0.001F}) {
        const std::vector<float> input = noise(4, level);
        const std::vector<float> output = restored(input);
        const double fall = decibels(input, 1.5, 4.0) - decibels(output, 1.5, 4.0);
        EXPECT_GT(fall, 20.0) << level;
        EXPECT_LT(fall, 22.0) << level;
    }
}

TEST(GateModel, SoundsThatComeAndGoKeepTheirLevel) {
    std::vector<float> input = noise(5, 0.01F);
    std::vector<float> clean(input.size(), 0.0F);
    addPulses(input, 0.2F);
    addPulses(clean, 0.2F);
    const std::vector<float> output = restored(input);
    // The pulse from 3.2 s on, and the pause behind it.
    EXPECT_NEAR(decibels(output, 3.23, 3.37), decibels(clean, 3.23, 3.37), 0.1);
    EXPECT_LT(decibels(output, 3.5, 3.9), decibels(input, 3.5, 3.9) - 20.0);
}

TEST(GateModel, SoundsStandTwelveDecibelsFurtherAboveTheRest) {
    constexpr float peak = 0.2F;
    std::vector<float> clean(5 * rate, 0.0F);
    addPulses(clean, peak);
    for (const float below : {6.0F, 12.0F}) {
        // Below the tone while it sounds.
        std::vector<float> input = noise(5, peak * std::sqrt(0.5F) * std::pow(10.0F, -below / 20));
        addPulses(input, peak);
        EXPECT_GT(ratioToRest(restored(input), clean), ratioToRest(input, clean) + 12.0) << below;
    }
}

TEST(GateModel, CleanSoundPassesUnchanged) {
    std::vector<float> clean(5 * rate, 0.0F);
    addPulses(clean, 0.2F);
    EXPECT_GT(ratioToRest(restored(clean), clean), 80.0);
}

TEST(GateModel, BeginningPassesUntilTheFloorIsKnown) {
    const std::vector<float> input = noise(1, 0.05F);
    const std::vector<float> output = restored(input);
    EXPECT_NEAR(decibels(output, 0.0, 0.15), decibels(input, 0.0, 0.15), 0.5);
}

TEST(GateModel, SilenceStaysSilence) {
    const std::vector<float> output = restored(std::vector<float>(rate, 0.0F));
    EXPECT_LT(decibels(output, 0.0, 1.0), -200.0);
}

}  // namespace
}  // namespace vorun::gate
