#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "audio/Signal32.h"

namespace vorun::test {

using Channel = std::vector<float>;
using Channels = std::vector<Channel>;

/** Reproducible noise between -1 and 1. */
inline Channels noise(std::size_t channels, std::size_t length, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> level(-1.0F, 1.0F);
    Channels result(channels, Channel(length));
    for (Channel& channel : result) {
        for (float& sample : channel) {
            sample = level(generator);
        }
    }
    return result;
}

/** Samples `start` to `start + count` of each channel. */
inline Signal32 toSignal(const Channels& samples, std::size_t start, std::size_t count) {
    Signal32 signal(static_cast<std::int32_t>(samples.size()), static_cast<std::int32_t>(count));
    for (std::size_t c = 0; c < samples.size() && count > 0; ++c) {
        std::memcpy(signal.channelData(static_cast<std::int32_t>(c)), samples[c].data() + start,
                    count * sizeof(float));
    }
    return signal;
}

inline Signal32 toSignal(const Channels& samples) {
    return toSignal(samples, 0, samples.empty() ? 0 : samples.front().size());
}

inline Channel channelOf(const Signal32& signal, std::int32_t channel) {
    const float* samples = signal.readData(channel);
    return samples == nullptr ? Channel{} : Channel(samples, samples + signal.length());
}

inline Channels channelsOf(const Signal32& signal) {
    Channels result;
    for (std::int32_t c = 0; c < signal.channels(); ++c) {
        result.push_back(channelOf(signal, c));
    }
    return result;
}

/** 1, 2, 3, ... on the first channel, 1001, 1002, ... on the second, and so on. */
inline Channels counted(std::size_t channels, std::size_t length, int first = 1) {
    Channels result(channels, Channel(length));
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < length; ++i) {
            result[c][i] = static_cast<float>(1000 * c + i) + static_cast<float>(first);
        }
    }
    return result;
}

}  // namespace vorun::test
