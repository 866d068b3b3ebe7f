#include "neural/BaseLayer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "neural/ModelReader.h"

namespace vorun {

template <class T>
BaseLayer<T>::BaseLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t type)
    : layerType(type) {
    ConnectTo(layers, reader.ReadString());
}

template <class T>
bool BaseLayer<T>::AddTensor(const Tensor<T>& /*input*/, const BaseLayer<T>* /*source*/) {
    return false;
}

template <class T>
void BaseLayer<T>::ResetState() {}

template <class T>
std::int32_t BaseLayer<T>::GetLatency(std::int32_t scale) {
    std::int32_t longest = 0;
    for (BaseLayer<T>* consumer : consumers) {
        longest = std::max(longest, consumer->GetLatency(scale));
    }
    return longest;
}

template <class T>
void BaseLayer<T>::SkipFrame() {
    for (BaseLayer<T>* consumer : consumers) {
        consumer->SkipFrame();
    }
}

template <class T>
bool BaseLayer<T>::PropagateToConsumers(const Tensor<T>& tensor, const BaseLayer<T>* source) {
    bool reachedOutput = false;
    for (BaseLayer<T>* consumer : consumers) {
        reachedOutput = consumer->AddTensor(tensor, source) || reachedOutput;
    }
    return reachedOutput;
}

template <class T>
BaseLayer<T>* BaseLayer<T>::ConnectTo(const LayerMap<T>& layers, const std::string& name) {
    BaseLayer<T>* feeder = findLayer<T>(layers, name).get();
    feeder->consumers.push_back(this);
    depth_ = std::max(depth_, feeder->depth_ + 1);
    return feeder;
}

std::int32_t latencyFrames(std::int64_t frames) {
    if (frames > std::numeric_limits<std::int32_t>::max() ||
        frames < std::numeric_limits<std::int32_t>::min()) {
        throw std::runtime_error("model latency is out of range");
    }
    return static_cast<std::int32_t>(frames);
}

template class BaseLayer<float>;

}  // namespace vorun
