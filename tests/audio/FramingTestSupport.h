#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <numbers>
#include <ostream>
#include <vector>

#include "AudioTestSupport.h"
#include "audio/BaseSpectralProcessor.h"

namespace vorun::test {

struct FrameSizes {
    int fft;     // N
    int window;  // W
    int hop;     // H

    bool lowLatency() const { return window >= 3 * hop; }
    int shift() const { return lowLatency() ? 1 : 0; }
    int primer() const { return window - (shift() + 1) * hop; }
};

inline void PrintTo(const FrameSizes& sizes, std::ostream* out) {
    *out << "N " << sizes.fft << ", W " << sizes.window << ", H " << sizes.hop;
}

inline ChannelLayout streamOf(int channels, double rate = 48000.0) {
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = rate;
    return layout;
}

/** A framing processor whose hook is a function, the identity unless told otherwise. */
class HookedProcessor : public BaseSpectralProcessor {
  public:
    using Spectra = std::list<ComplexSignal32>;
    using Hook = std::function<Spectra(const ComplexSignal32&)>;

    HookedProcessor() = default;
    HookedProcessor(int channels, FrameSizes sizes) {
        prepare(streamOf(channels), streamOf(channels));
        setFrameSizes(sizes.fft, sizes.window, sizes.hop);
    }

    Spectra processSpectrum(const ComplexSignal32& spectrum) override {
        return hook ? hook(spectrum) : Spectra{spectrum};
    }

    using BaseSpectralProcessor::analysisWindow;
    using BaseSpectralProcessor::frames;
    using BaseSpectralProcessor::inputQueue;
    using BaseSpectralProcessor::overlapFrames;
    using BaseSpectralProcessor::spectralFlag;
    using BaseSpectralProcessor::synthesisShift;
    using BaseSpectralProcessor::synthesisWindow;

    Hook hook;
};

inline void append(Channels& stream, const Signal32& block) {
    stream.resize(static_cast<std::size_t>(block.channels()));
    for (int c = 0; c < block.channels(); ++c) {
        const Channel samples = channelOf(block, c);
        Channel& channel = stream[static_cast<std::size_t>(c)];
        channel.insert(channel.end(), samples.begin(), samples.end());
    }
}

/** Pushes the samples in blocks of the given lengths, over and over, and joins what comes back. */
inline Channels stream(BaseSpectralProcessor& processor, const Channels& samples,
                       const std::vector<std::size_t>& blocks) {
    Channels output;
    const std::size_t length = samples.front().size();
    for (std::size_t start = 0, i = 0; start < length; ++i) {
        const std::size_t count = std::min(blocks[i % blocks.size()], length - start);
        append(output, processor.process(toSignal(samples, start, count)));
        start += count;
    }
    return output;
}

inline double hannAt(int n, int length) {
    const double sine = std::sin(std::numbers::pi * (n + 0.5) / length);
    return sine * sine;
}

/** A finished frame of the reference: input frame `source` of the stream, scaled. */
struct Delivery {
    int source;
    double gain;
};

/**
 * The framing in double precision for hooks that deliver scaled input frames. The transform pair
 * drops out of it: forward then inverse multiplies by N.
 */
class FramingReference {
  public:
    FramingReference(FrameSizes sizes, const Channel& input) : sizes_(sizes), input_(input) {}

    /** Frames that the input completes. */
    int frameCount() const {
        const int held = sizes_.primer() + static_cast<int>(input_.size());
        return held < sizes_.window ? 0 : (held - sizes_.window) / sizes_.hop + 1;
    }

    std::vector<double> outputOfIdentity() const {
        std::vector<Delivery> deliveries;
        for (int m = 0; m < frameCount(); ++m) {
            deliveries.push_back({m, 1.0});
        }
        return outputOf(deliveries);
    }

    std::vector<double> outputOf(const std::vector<Delivery>& deliveries) const {
        std::vector<double> output;
        for (std::size_t f = 0; f + 1 < deliveries.size(); ++f) {
            for (int i = 0; i < sizes_.hop; ++i) {
                const int offset = sizes_.window - (sizes_.shift() + 1) * sizes_.hop + i;
                output.push_back(finished(deliveries[f], offset) +
                                 finished(deliveries[f + 1], offset - sizes_.hop));
            }
        }
        return output;
    }

  private:
    double inputAt(int position) const {
        const bool inside = position >= 0 && position < static_cast<int>(input_.size());
        return inside ? static_cast<double>(input_[static_cast<std::size_t>(position)]) : 0.0;
    }

    double finished(const Delivery& delivery, int n) const {
        const int position = delivery.source * sizes_.hop - sizes_.primer() + n;
        return delivery.gain * inputAt(position) * analysisAt(n) * sizes_.fft * synthesisAt(n);
    }

    double analysisAt(int n) const {
        const double hann = hannAt(n, sizes_.window);
        return sizes_.lowLatency() ? hann : std::sqrt(hann);
    }

    double synthesisAt(int n) const {
        if (!sizes_.lowLatency()) {
            return std::sqrt(hannAt(n, sizes_.window)) / sizes_.fft;
        }
        const int start = (sizes_.window - 2 * sizes_.hop) / 2;
        if (n < start || n >= start + 2 * sizes_.hop) {
            return 0.0;
        }
        return hannAt(n - start, 2 * sizes_.hop) / (hannAt(n, sizes_.window) * sizes_.window);
    }

    FrameSizes sizes_;
    const Channel& input_;
};

/** Largest distance between a stream and its reference; infinite where their lengths differ. */
inline double distance(const Channel& actual, const std::vector<double>& expected) {
    if (actual.size() != expected.size()) {
        return HUGE_VAL;
    }
    double worst = 0.0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double difference = std::abs(static_cast<double>(actual[i]) - expected[i]);
        worst = difference <= worst ? worst : difference;
    }
    return worst;
}

}  // namespace vorun::test
