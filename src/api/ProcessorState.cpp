#include "api/ProcessorState.h"

#include <limits>

#include "audio/ChannelLayout.h"

namespace vorun {

namespace {

/** Each channel takes 64 bytes or more of a signal, whose block a 31-bit count measures. */
constexpr std::int32_t mostChannels = std::numeric_limits<std::int32_t>::max() / 64;

}  // namespace

bool ProcessorState::create(const std::vector<std::string>& modelPaths, std::int32_t numChannels,
                            double sampleRate) {
    if (!processor.loadModels(modelPaths)) {
        return false;
    }
    if (numChannels > mostChannels) {
        return false;
    }
    ChannelLayout layout = ChannelLayout::forChannelCount(numChannels);
    layout.sampleRate = sampleRate;
    if (!processor.prepare(layout, layout)) {
        return false;
    }
    numInputChannels = numChannels;
    numOutputChannels = numChannels;
    return true;
}

void ProcessorState::addAudio(const Signal32& block) {
    outputQueue.push(processor.process(block));
}

bool ProcessorState::getAudio(std::int32_t numSamples, Signal32& block) {
    if (static_cast<std::int64_t>(numSamples) > outputQueue.pendingSamples()) {
        return false;
    }
    block = outputQueue.read(numSamples);
    return true;
}

void ProcessorState::reset() {
    outputQueue.clear();
    processor.reset();
}

}  // namespace vorun
