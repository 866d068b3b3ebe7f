#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include "AudioTestSupport.h"
#include "NaiveResampler.h"
#include "audio/SampleRateConversion.h"

namespace vorun::test {

inline ChannelLayout layoutOf(std::int32_t channels, double rate) {
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = rate;
    return layout;
}

/** A resampler whose running state can be seen. */
class Resampler : public SampleRateConversion {
  public:
    Resampler() = default;
    Resampler(double inputRate, double outputRate, std::int32_t channels = 1) {
        prepareRates(inputRate, outputRate, channels);
    }

    bool prepareRates(double inputRate, double outputRate, std::int32_t channels = 1) {
        return prepare(layoutOf(channels, inputRate), layoutOf(channels, outputRate));
    }

    /** Feeds the input in blocks of these lengths, in turn. */
    Channels stream(const Channels& input, const std::vector<std::size_t>& lengths) {
        Channels output(input.size());
        const std::size_t total = input.front().size();
        std::size_t turn = 0;
        for (std::size_t start = 0; start < total; ++turn) {
            const std::size_t count = std::min(lengths[turn % lengths.size()], total - start);
            const Signal32 block = process(toSignal(input, start, count));
            for (std::int32_t c = 0; c < block.channels(); ++c) {
                const Channel samples = channelOf(block, c);
                Channel& whole = output[static_cast<std::size_t>(c)];
                whole.insert(whole.end(), samples.begin(), samples.end());
            }
            start += count;
        }
        return output;
    }

    Channel whole(const Channel& input) { return stream({input}, {input.size()}).front(); }

    double currentPosition() const { return position; }
    std::int64_t waiting() const { return inputQueue.pendingSamples(); }
    std::int32_t taps() const { return filter.taps(); }
    std::int32_t exactPhase() const { return filter.exactPhase(); }
};

inline double sineAt(double hertz, double rate, double position) {
    return std::sin(2.0 * std::numbers::pi * hertz * position / rate);
}

inline Channel sine(double hertz, double rate, std::size_t length) {
    Channel samples(length);
    for (std::size_t i = 0; i < length; ++i) {
        samples[i] = static_cast<float>(sineAt(hertz, rate, static_cast<double>(i)));
    }
    return samples;
}

}  // namespace vorun::test
