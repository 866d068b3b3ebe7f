#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/HostBlocks.h"
#include "api/ProcessorState.h"
#include "vorun/processor.h"

using vorun::ProcessorState;
using vorun::Signal32;

namespace {

/** Null when the models are refused; the caller owns the handle. */
ProcessorHandle createFrom(const std::vector<std::string>& modelPaths, int32_t numChannels,
                           double sampleRate) {
    auto state = std::make_unique<ProcessorState>();
    return state->create(modelPaths, numChannels, sampleRate) ? state.release() : nullptr;
}

}  // namespace

ProcessorHandle vorunCreateProcessor(const char* modelPath, int32_t numChannels,
                                     double sampleRate) {
    return createFrom({modelPath}, numChannels, sampleRate);
}

ProcessorHandle vorunCreateStemSeparator(int32_t numModels, const char* const* modelPaths,
                                         int32_t numChannels, double sampleRate) {
    if (numModels < 0) {
        throw std::length_error("vector too long");
    }
    return createFrom({modelPaths, modelPaths + numModels}, numChannels, sampleRate);
}

void vorunDeleteProcessor(ProcessorHandle processor) {
    const std::unique_ptr<ProcessorState> owner(processor);
}

void vorunAddAudio(ProcessorHandle processor, const float* const* channels, int32_t numSamples) {
    processor->addAudio(vorun::fromPlanar(channels, processor->numInputChannels, numSamples));
}

void vorunAddAudioInterleaved(ProcessorHandle processor, const float* samples, int32_t numSamples) {
    processor->addAudio(vorun::fromInterleaved(samples, processor->numInputChannels, numSamples));
}

bool vorunGetAudio(ProcessorHandle processor, float* const* channels, int32_t numSamples) {
    Signal32 block;
    if (!processor->getAudio(numSamples, block)) {
        return false;
    }
    vorun::toPlanar(block, channels, processor->numOutputChannels, numSamples);
    return true;
}

bool vorunGetAudioInterleaved(ProcessorHandle processor, float* samples, int32_t numSamples) {
    Signal32 block;
    if (!processor->getAudio(numSamples, block)) {
        return false;
    }
    vorun::toInterleaved(block, samples, processor->numOutputChannels, numSamples);
    return true;
}

int32_t vorunGetNumOfPendingSamples(ProcessorHandle processor) {
    return static_cast<int32_t>(processor->outputQueue.pendingSamples());
}

int32_t vorunGetNumOfOutputBusses(ProcessorHandle processor) {
    return processor->processor.getOutputBusCount(true);
}

void vorunGetOutputBusName(ProcessorHandle processor, int32_t busIndex, char* name,
                           int32_t nameSize) {
    if (nameSize <= 0) {
        return;
    }
    const std::string busName = processor->processor.getOutputBusName(busIndex);
    const auto size = static_cast<std::size_t>(nameSize);
    std::fill_n(name, size, '\0');
    std::copy_n(busName.data(), std::min(busName.size(), size), name);
}

void vorunGetProcessorInfo(ProcessorHandle processor, VorunProcessorInfo* info) {
    *info = {};
    const auto& models = processor->processor.models();
    if (models.empty()) {
        return;
    }
    info->sampleRate = models.front().sampleRate;
    info->inputChannels = models.front().inputChannels;
    info->latency = processor->processor.getLatency(1);
    info->windowSize = models.front().windowSize;
    info->hopSize = models.front().hopSize;
}

void vorunResetProcessorState(ProcessorHandle processor) {
    processor->reset();
}
