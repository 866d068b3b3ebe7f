#include "api/ProcessorState.h"

#include "audio/ChannelLayout.h"

namespace vorun {

bool ProcessorState::create(const std::vector<std::string>& modelPaths, std::int32_t numChannels,
                            double sampleRate) {
    if (!processor.loadModels(modelPaths)) {
        return false;
    }
    // A layout has a record for each channel, so a count that cannot be framed must not reach it.
    if (numChannels > 0 && !processor.canFrame(numChannels, sampleRate)) {
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
