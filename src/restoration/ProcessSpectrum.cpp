#include <algorithm>

#include "restoration/ChannelMatching.h"
#include "restoration/VorunProcessor.h"

namespace vorun {

/*
 * The queues that hold a stream together. A frame leaves when every queue has an entry; entries of
 * one age belong together. Here one model with two masks and a look-ahead of two frames:
 *
 *     call           0     1     2     3
 *     dryQueue       0     0 1   0 1 2   1 2 3      (before the drain of that call)
 *     busQueues[0]   -     -     0       1
 *     busQueues[1]   -     -     0       1
 *     leaves         -     -     0       1
 */
std::list<ComplexSignal32> VorunProcessor::processSpectrum(const ComplexSignal32& frame) {
    dryQueue_.push_back(frame);
    const auto modelChannels = static_cast<std::int32_t>(modelInputLayout_.speakerIds.size());
    const ComplexSignal32 modelFrame = matchChannels(frame, modelChannels);
    for (NeuralModel<float>& model : models_) {
        model.enabled = isTailFillOn();
    }
    // Not by the pool's being there: it stays when fewer models are loaded later.
    if (modelCount_ < 2) {
        evaluateInTurn(modelFrame);
    } else {
        evaluateOnPool(modelFrame);
    }
    std::list<ComplexSignal32> mixed;
    while (frameIsReady()) {
        mixed.push_back(mixFrame());
    }
    return mixed;
}

bool VorunProcessor::frameIsReady() const {
    const auto holdsFrame = [](const FrameQueue& queue) { return !queue.empty(); };
    return holdsFrame(dryQueue_) && std::all_of(busQueues_.begin(), busQueues_.end(), holdsFrame);
}

}  // namespace vorun
