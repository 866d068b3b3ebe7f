// What the shipped spectral gate does to sound, heard through the exported functions.
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "gate/SpectralGate.h"
#include "hosts/TemporaryFolder.h"
#include "vorun/vorun.h"

namespace vorun::gate {
namespace {

constexpr int rate = 48000;
constexpr std::int32_t latency = 5 * 256;

struct Deleter {
    void operator()(ProcessorState* handle) const { vorunDeleteProcessor(handle); }
};

std::vector<float> restore(const std::vector<float>& input) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("gate.vorun");
    spectralGate().writeFile(path);
    const std::unique_ptr<ProcessorState, Deleter> processor(
        vorunCreateProcessor(path.c_str(), 1, rate));
    vorunSetParameterValue(processor.get(), 257, 0.0F);
    std::vector<float> padded = input;
    padded.resize(input.size() + latency);
    vorunAddAudioInterleaved(processor.get(), padded.data(),
                             static_cast<std::int32_t>(padded.size()));
    std::vector<float> output(input.size());
    EXPECT_TRUE(vorunGetAudioInterleaved(processor.get(), output.data(),
                                         static_cast<std::int32_t>(output.size())));
    return output;
}

std::vector<float> noise(int seconds, float level) {
    std::mt19937 random(7);
    std::normal_distribution<float> value(0.0F, level);
    std::vector<float> samples(static_cast<std::size_t>(seconds * rate));
    for (float& sample : samples) {
        sample = value(random);
    }
    return samples;
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
    double sum = 0.0;
    const auto first = static_cast<std::size_t>(from * rate);
    const auto last = static_cast<std::size_t>(to * rate);
    for (std::size_t i = first; i < last; ++i) {
        sum += double{samples[i]} * double{samples[i]};
    }
    return 10.0 * std::log10(sum / static_cast<double>(last - first) + 1e-30);
}

TEST(GateModel, SteadyNoiseFallsByAtLeastTwelveDecibelsAtAnyLevel) {
    for (const float level : {0.1F, 0.01F, 0.001F}) {
        const std::vector<float> input = noise(4, level);
        const std::vector<float> output = restore(input);
        EXPECT_LT(decibels(output, 1.5, 4.0), decibels(input, 1.5, 4.0) - 12.0) << level;
    }
}

TEST(GateModel, SoundsThatComeAndGoKeepTheirLevel) {
    std::vector<float> input = noise(5, 0.01F);
    std::vector<float> clean(input.size(), 0.0F);
    addPulses(input, 0.2F);
    addPulses(clean, 0.2F);
    const std::vector<float> output = restore(input);
    // The pulse from 3.2 s on, and the pause behind it.
    EXPECT_NEAR(decibels(output, 3.23, 3.37), decibels(clean, 3.23, 3.37), 0.5);
    EXPECT_LT(decibels(output, 3.5, 3.9), decibels(input, 3.5, 3.9) - 12.0);
}

TEST(GateModel, CleanSoundPassesUnchanged) {
    std::vector<float> clean(5 * rate, 0.0F);
    addPulses(clean, 0.2F);
    const std::vector<float> output = restore(clean);
    std::vector<float> difference(clean.size());
    for (std::size_t i = 0; i < clean.size(); ++i) {
        difference[i] = output[i] - clean[i];
    }
    EXPECT_LT(decibels(difference, 0.0, 5.0), decibels(clean, 0.0, 5.0) - 40.0);
}

TEST(GateModel, BeginningPassesUntilTheFloorIsKnown) {
    const std::vector<float> input = noise(1, 0.05F);
    const std::vector<float> output = restore(input);
    EXPECT_NEAR(decibels(output, 0.0, 0.15), decibels(input, 0.0, 0.15), 0.5);
}

TEST(GateModel, SilenceStaysSilence) {
    const std::vector<float> output = restore(std::vector<float>(rate, 0.0F));
    EXPECT_LT(decibels(output, 0.0, 1.0), -200.0);
}

}  // namespace
}  // namespace vorun::gate
