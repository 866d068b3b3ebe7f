#include "BenchmarkFrames.h"

#include <cstddef>
#include <random>

#include "support/RandomConv.h"

namespace vorun::benchmarks {

namespace {

constexpr float speechLevel = 0.1f;
constexpr float denormalLevel = 1e-39f;
constexpr std::int32_t burstHops = 40;
constexpr std::int32_t pauseHops = 10;

writer::ModelHeader header(std::int8_t masks) {
    writer::ModelHeader result;
    result.sampleRate = sampleRate;
    result.inputChannels = channels;
    result.outputChannels = channels;
    result.inputFormat = 2;
    result.complexInputBins = complexBins;
    result.magnitudeInputBins = bins - complexBins;
    result.maskCount = masks;
    result.busNames.assign(static_cast<std::size_t>(masks) + 1, "Bus");
    result.fftSize = fftSize;
    result.windowSize = fftSize;
    result.hopSize = hopSize;
    return result;
}

bool isPause(std::int32_t hop) {
    return hop % (burstHops + pauseHops) >= burstHops;
}

}  // namespace

writer::ModelWriter modelOf(Network network) {
    const std::int8_t masks = network == Network::fourStems ? 4 : 1;
    writer::ModelWriter model(header(masks));
    if (network != Network::passThrough) {
        model.addConv("conv", "input", randomConv({3, 3, channels, masks * channels}, 0.5f))
            .addActivation("mask", "conv", writer::LayerType::sigmoid)
            .setOutputSource("mask");
    }
    return model;
}

std::vector<Signal32> hopsOf(Material material, std::int32_t count) {
    std::mt19937 generator(5);
    std::normal_distribution<float> sample(0.0f, 1.0f);
    std::vector<Signal32> hops;
    for (std::int32_t i = 0; i < count; ++i) {
        Signal32 hop(channels, hopSize, 0.0f);
        const bool silent = material == Material::silenceAfterSpeech ||
                            (material == Material::speech && isPause(i));
        const float level = material == Material::denormal ? denormalLevel : speechLevel;
        for (std::int32_t c = 0; c < channels && !silent; ++c) {
            float* samples = hop.channelData(c);
            for (std::int32_t n = 0; n < hopSize; ++n) {
                samples[n] = level * sample(generator);
            }
        }
        hops.push_back(hop);
    }
    return hops;
}

ComplexSignal32 randomSpectrum(float level) {
    std::mt19937 generator(9);
    std::uniform_real_distribution<float> part(-level, level);
    ComplexSignal32 spectrum(channels, bins);
    for (std::int32_t c = 0; c < channels; ++c) {
        Ipp32fc* row = spectrum.channelData(c);
        for (std::int32_t b = 0; b < bins; ++b) {
            row[b] = {part(generator), part(generator)};
        }
    }
    return spectrum;
}

}  // namespace vorun::benchmarks
