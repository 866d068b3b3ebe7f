#include "restoration/VorunProcessor.h"

#include <algorithm>
#include <limits>

namespace vorun {

namespace {

/** Leaves room for the framing's own part of a latency in 32 bits. */
constexpr std::int64_t longestLookahead = 1 << 30;

/** Whether the frames and spectra of all channels can be had as one block of memory each. */
bool fitsOneBlock(std::int32_t fftSize, std::int32_t channels) {
    constexpr std::int64_t padding = 32;
    constexpr std::int64_t largestBlock = std::numeric_limits<std::int32_t>::max() - 72;
    return (fftSize + padding) * channels <= largestBlock / std::int64_t{sizeof(float)};
}

}  // namespace

VorunProcessor::VorunProcessor() {
    spectralFlag = false;
}

VorunProcessor::~VorunProcessor() = default;

bool VorunProcessor::prepare(const ChannelLayout& input, const ChannelLayout& output) {
    if (!modelInputLayout_.isConfigured() || !modelOutputLayout_.isConfigured() ||
        !input.isConfigured() || !output.isConfigured()) {
        return false;
    }
    return BaseSpectralProcessor::prepare(input, output) && updateFrameParameters();
}

bool VorunProcessor::canFrame(std::int32_t channels, double sampleRate) const {
    return !models_.empty() && hostFrameSizes(channels, sampleRate).has_value();
}

std::optional<FrameSizes> VorunProcessor::hostFrameSizes(std::int32_t channels,
                                                         double sampleRate) const {
    const NeuralModel<float>& first = models_.front();
    const auto scale = vorun::frameScaleLog2(sampleRate, modelOutputLayout_.sampleRate);
    if (!scale) {
        return std::nullopt;
    }
    const auto sizes = scaleFrameSizes({first.fftSize, first.windowSize, first.hopSize}, *scale);
    const std::int32_t widest = std::max({channels, first.inputChannels, first.outputChannels});
    if (!sizes || !fitsOneBlock(sizes->fftSize, widest)) {
        return std::nullopt;
    }
    return sizes;
}

bool VorunProcessor::updateFrameParameters() {
    const std::int32_t channels = std::max(inputLayout.channelCount(), outputLayout.channelCount());
    const auto sizes = hostFrameSizes(channels, inputLayout.sampleRate);
    if (!sizes || !modelsCanBeMixed(sizes->fftSize / 2 + 1) ||
        lookaheadSamples(sizes->hopSize) > longestLookahead) {
        return false;
    }
    frameScaleLog2_ = *vorun::frameScaleLog2(inputLayout.sampleRate, modelOutputLayout_.sampleRate);
    setFrameSizes(sizes->fftSize, sizes->windowSize, sizes->hopSize);
    return true;
}

bool VorunProcessor::modelsCanBeMixed(std::int32_t hostBins) const {
    const auto fits = [&](const NeuralModel<float>& model) {
        return model.maskCount >= 1 && model.complexInputBins >= 0 &&
               model.complexInputBins <= model.inputBins && model.complexInputBins <= hostBins;
    };
    // Several models never reach the mix, so only one model's buses need a value each.
    const bool haveValues = models_.size() > 1 || busQueues_.size() < BusValues::count;
    return haveValues && std::all_of(models_.begin(), models_.end(), fits);
}

std::int32_t VorunProcessor::getLatency(std::int32_t blockSize) const {
    return BaseSpectralProcessor::getLatency(blockSize) +
           static_cast<std::int32_t>(lookaheadSamples(hopSize));
}

/** The slowest model decides: the others' outputs wait in their queues for it. */
std::int64_t VorunProcessor::lookaheadSamples(std::int32_t hop) const {
    std::int64_t lookahead = 0;
    for (const NeuralModel<float>& model : models_) {
        lookahead = std::max<std::int64_t>(lookahead, model.latency);
    }
    return lookahead * hop;
}

void VorunProcessor::reset() {
    BaseSpectralProcessor::reset();
    clearQueues();
    for (NeuralModel<float>& model : models_) {
        model.Reset();
    }
}

void VorunProcessor::clearQueues() {
    dryQueue_.clear();
    busQueues_.assign(static_cast<std::size_t>(getOutputBusCount(false)), {});
}

Signal32 VorunProcessor::process(const Signal32& input) {
    return BaseSpectralProcessor::process(input);
}

}  // namespace vorun
