#include <memory>
#include <utility>

#include "neural/ModelFile.h"
#include "restoration/VorunProcessor.h"

namespace vorun {

namespace {

/** Takes the candidate if nothing is set yet; otherwise the two must be alike to the last bit. */
bool adoptOrCompare(ChannelLayout& layout, ChannelLayout candidate) {
    if (!layout.isConfigured()) {
        layout = std::move(candidate);
        return true;
    }
    return layout.sampleRate == candidate.sampleRate && layout.speakerIds == candidate.speakerIds;
}

/**
 * Takes the model's framing if none is set yet; otherwise window and hop must be alike. A transform
 * of another length is no obstacle: only the first model's is used.
 */
bool agreesInFraming(const NeuralModel<float>& model, FrameSizes& framing) {
    if (framing.windowSize == 0) {
        framing = {model.fftSize, model.windowSize, model.hopSize};
        return true;
    }
    return model.windowSize == framing.windowSize && model.hopSize == framing.hopSize;
}

ChannelLayout layoutOf(std::int32_t channels, double sampleRate) {
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = sampleRate;
    return layout;
}

}  // namespace

bool VorunProcessor::loadModels(const std::vector<std::string>& paths) {
    modelCount_ = static_cast<std::int32_t>(paths.size());
    // Anew, also what was loaded before: a model reads a file once only.
    models_.clear();
    models_.resize(paths.size());
    modelInputLayout_ = {};
    modelOutputLayout_ = {};
    busNames_.clear();
    FrameSizes framing;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (!loadModelFile(models_[i], paths[i]) || !agreesInFraming(models_[i], framing) ||
            !agreesInChannels(models_[i])) {
            return false;
        }
        busNames_.insert(busNames_.end(), models_[i].busNames.begin(), models_[i].busNames.end());
    }
    clearQueues();
    if (inputLayout.isConfigured() && !reframe()) {
        return false;
    }
    if (modelCount_ >= 2) {
        pool_ = std::make_unique<ThreadPool>(modelCount_);
    }
    return true;
}

bool VorunProcessor::reframe() {
    if (models_.empty()) {
        setFrameSizes(0, 0, 0);
        return true;
    }
    const ChannelLayout host = inputLayout;
    return prepare(host, host);
}

bool VorunProcessor::agreesInChannels(const NeuralModel<float>& model) {
    // A file that cannot be right is refused here, before a layout raises for it.
    if (model.inputChannels < 0 || model.outputChannels < 0) {
        return false;
    }
    return adoptOrCompare(modelInputLayout_, layoutOf(model.inputChannels, model.sampleRate)) &&
           adoptOrCompare(modelOutputLayout_, layoutOf(model.outputChannels, model.sampleRate));
}

}  // namespace vorun
