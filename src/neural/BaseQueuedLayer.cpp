#include "neural/BaseQueuedLayer.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"

namespace vorun {

template <class T>
BaseQueuedLayer<T>::BaseQueuedLayer(LayerMap<T>& layers, ModelReader& reader) {
    const std::int32_t inputCount = reader.ReadInt16();
    for (std::int32_t i = 0; i < inputCount; ++i) {
        const std::string name = reader.ReadString();
        BaseLayer<T>* source = this->ConnectTo(layers, name);
        inputQueues.emplace_back(this->graph(), source);
        sources.push_back(source);
    }
}

template <class T>
bool BaseQueuedLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) {
    EnqueueFrames(FindQueue(source), input);
    return DrainQueues();
}

template <class T>
void BaseQueuedLayer<T>::ResetState() {
    for (InputQueue& queue : inputQueues) {
        queue.tensors.Clear();
    }
}

template <class T>
typename BaseQueuedLayer<T>::InputQueue& BaseQueuedLayer<T>::FindQueue(const BaseLayer<T>* source) {
    const auto queue =
        std::find_if(inputQueues.begin(), inputQueues.end(),
                     [source](const InputQueue& candidate) { return candidate.source == source; });
    if (queue == inputQueues.end()) {
        throw std::runtime_error("tensor comes from a layer that is no input of this one");
    }
    return *queue;
}

template <class T>
void BaseQueuedLayer<T>::EnqueueFrames(InputQueue& queue, const Tensor<T>& input) {
    const std::int32_t frames = input.dim(0);
    frame_.Resize({1, input.dim(1), input.dim(2)});
    const std::int32_t frameVolume = frame_.volume();
    for (std::int32_t i = 0; i < frames; ++i) {
        // The frame before this one sits in the queue and shares the block: this separates them.
        frame_.MakeUnique();
        if (frameVolume > 0) {
            const std::ptrdiff_t offset = std::ptrdiff_t{i} * frameVolume;
            copySamples<T>(input.readData() + offset, frame_.data(), frameVolume);
        }
        queue.tensors.Push(frame_);
    }
}

template <class T>
std::int32_t BaseQueuedLayer<T>::CountReadySets() const {
    if (inputQueues.empty()) {
        return 0;
    }
    std::size_t shortest = std::numeric_limits<std::int32_t>::max();
    for (const InputQueue& queue : inputQueues) {
        shortest = std::min(shortest, queue.tensors.size());
    }
    return static_cast<std::int32_t>(shortest);
}

template <class T>
bool BaseQueuedLayer<T>::DrainQueues() {
    bool reachedOutput = false;
    for (std::int32_t sets = CountReadySets(); sets > 0; --sets) {
        std::vector<Tensor<T>> inputs;
        inputs.reserve(inputQueues.size());
        for (InputQueue& queue : inputQueues) {
            inputs.push_back(queue.tensors.Pop());
        }
        const std::vector<BaseLayer<T>*> sourcesOfSet = sources;
        reachedOutput = ProcessInputs(inputs, sourcesOfSet) || reachedOutput;
    }
    return reachedOutput;
}

template class BaseQueuedLayer<float>;

}  // namespace vorun
