#include "api/ReferenceStream.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace vorun::apitest {
namespace {

std::vector<double> hann(int length) {
    std::vector<double> window(length);
    for (int n = 0; n < length; ++n) {
        window[n] = 0.5 - 0.5 * std::cos((n + 0.5) * 2.0 * std::numbers::pi / length);
    }
    return window;
}

}  // namespace

ReferenceStream::ReferenceStream(const TestModel& model, int hostChannels, double hostRate)
    : ReferenceStream(model.header, std::make_unique<ReferenceNetwork>(model.network),
                      apitest::latencyFrames(model.network), hostChannels, hostRate) {}

ReferenceStream::ReferenceStream(const writer::ModelHeader& header,
                                 std::unique_ptr<FrameNetwork> network, int latencyFrames,
                                 int hostChannels, double hostRate)
    : header_(header),
      channels_(hostChannels),
      frame_(hostFrame(header, hostRate, latencyFrames)),
      network_(std::move(network)),
      input_(silence(hostChannels, 0)) {
    values_.gains.fill(1.0);
    values_.sensitivities.fill(0.0);
    makeWindows();
    for (int k = 0; k < frame_.fftSize; ++k) {
        roots_.push_back(std::polar(1.0, -2.0 * std::numbers::pi * k / frame_.fftSize));
    }
}

void ReferenceStream::makeWindows() {
    const int window = frame_.windowSize;
    analysisWindow_ = hann(window);
    synthesisWindow_.assign(window, 0.0);
    if (frame_.synthesisShift == 0) {
        for (int n = 0; n < window; ++n) {
            analysisWindow_[n] = std::sqrt(analysisWindow_[n]);
            synthesisWindow_[n] = analysisWindow_[n] / frame_.fftSize;
        }
        return;
    }
    const std::vector<double> narrow = hann(2 * frame_.hopSize);
    const int start = (window - 2 * frame_.hopSize) / 2;
    for (int n = 0; n < 2 * frame_.hopSize; ++n) {
        synthesisWindow_[start + n] = narrow[n] / (analysisWindow_[start + n] * window);
    }
}

PlanarDouble ReferenceStream::push(const Planar& block) {
    append(input_, block);
    const std::int64_t hops = lengthOf(input_) / frame_.hopSize;
    while (framesAnalysed_ + frame_.synthesisShift + 1 <= hops) {
        process(analysed(framesAnalysed_++));
    }
    return finishedHops();
}

Spectrum ReferenceStream::analysed(std::int64_t frameIndex) const {
    const int primer = frame_.windowSize - (frame_.synthesisShift + 1) * frame_.hopSize;
    const std::int64_t start = frameIndex * frame_.hopSize - primer;
    const int padding = frame_.fftSize - frame_.windowSize;
    Spectrum spectrum(channels_, Bins(frame_.fftSize / 2 + 1));
    for (int c = 0; c < channels_; ++c) {
        for (int n = 0; n < frame_.windowSize; ++n) {
            const std::int64_t position = start + n;
            if (position < 0) {
                continue;
            }
            const double sample = static_cast<double>(input_[c][position]) * analysisWindow_[n];
            for (std::size_t k = 0; k < spectrum[c].size(); ++k) {
                spectrum[c][k] += sample * roots_[k * (n + padding) % roots_.size()];
            }
        }
    }
    return spectrum;
}

void ReferenceStream::process(const Spectrum& dry) {
    dry_.push_back(dry);
    const Spectrum modelFrame = matched(dry, header_.inputChannels);
    for (const Matrix& result : network_->push(codedFeatures(header_, modelFrame))) {
        const int bins = static_cast<int>(dry.front().size());
        const Spectrum decoded = decodedSpectrum(header_, result, bins);
        const Spectrum mix = mixedFrame(header_, decoded, dry_.front(), values_);
        dry_.pop_front();
        PlanarDouble time;
        for (const Bins& channel : mix) {
            time.push_back(synthesised(channel));
        }
        finished_.push_back(time);
    }
}

std::vector<double> ReferenceStream::synthesised(const Bins& bins) const {
    const int padding = frame_.fftSize - frame_.windowSize;
    const std::size_t last = bins.size() - 1;
    std::vector<double> time(frame_.windowSize);
    for (int n = 0; n < frame_.windowSize; ++n) {
        double sum = bins[0].real();
        for (std::size_t k = 1; k <= last; ++k) {
            const auto root = std::conj(roots_[k * (n + padding) % roots_.size()]);
            // Bins between the ends stand for themselves and their mirror image.
            sum += (k == last ? bins[k].real() * root.real() : 2.0 * (bins[k] * root).real());
        }
        time[n] = sum * synthesisWindow_[n];
    }
    return time;
}

PlanarDouble ReferenceStream::finishedHops() {
    const int hop = frame_.hopSize;
    const int primer = frame_.windowSize - (frame_.synthesisShift + 1) * hop;
    PlanarDouble ready(channels_);
    while (finished_.size() >= 2) {
        for (int c = 0; c < channels_; ++c) {
            for (int i = 0; i < hop; ++i) {
                ready[c].push_back(finished_[0][c][primer + i] + finished_[1][c][primer - hop + i]);
            }
        }
        finished_.pop_front();
    }
    return ready;
}

void ReferenceStream::reset() {
    network_->reset();
    input_ = silence(channels_, 0);
    framesAnalysed_ = 0;
    dry_.clear();
    finished_.clear();
}

}  // namespace vorun::apitest
