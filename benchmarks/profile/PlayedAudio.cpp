#include "PlayedAudio.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

namespace vorun::benchmarks {
namespace {

constexpr std::int32_t channels = 1;

/** Noise with a tone of 220 Hz and its overtones in it for half of every second. */
std::vector<float> noisyTones(std::size_t count) {
    std::mt19937 generator(11);
    std::normal_distribution<float> noise(0.0F, 0.02F);
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double seconds = static_cast<double>(i) / PlayedAudio::sampleRate;
        double tones = 0.0;
        for (int overtone = 1; overtone <= 8; ++overtone) {
            tones += std::sin(2.0 * std::numbers::pi * 220.0 * overtone * seconds) / overtone;
        }
        const bool sounds = seconds - std::floor(seconds) < 0.5;
        samples[i] = noise(generator) + (sounds ? static_cast<float>(0.1 * tones) : 0.0F);
    }
    return samples;
}

}  // namespace

PlayedAudio::PlayedAudio(const std::string& modelPath, std::int32_t blockSamples)
    : blockSamples_(blockSamples) {
    if (blockSamples < 1) {
        throw std::runtime_error("a block needs at least one sample");
    }
    constexpr std::size_t seconds = 4;
    const auto block = static_cast<std::size_t>(blockSamples);
    const std::size_t blocks = std::max<std::size_t>(1, seconds * 48000 / block);
    stream_ = noisyTones(blocks * block);
    handle_ = vorunCreateProcessor(modelPath.c_str(), channels, sampleRate);
    if (handle_ == nullptr) {
        throw std::runtime_error("the engine refuses '" + modelPath + "' as a model");
    }
}

PlayedAudio::~PlayedAudio() {
    vorunDeleteProcessor(handle_);
}

void PlayedAudio::runBlock() {
    vorunAddAudioInterleaved(handle_, stream_.data() + position_, blockSamples_);
    position_ = (position_ + static_cast<std::size_t>(blockSamples_)) % stream_.size();
    const std::int32_t pending = vorunGetNumOfPendingSamples(handle_);
    if (pending > 0) {
        restored_.resize(static_cast<std::size_t>(pending));
        vorunGetAudioInterleaved(handle_, restored_.data(), pending);
    }
}

}  // namespace vorun::benchmarks
