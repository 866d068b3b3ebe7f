#include "neural/BaseLayer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "neural/ModelReader.h"

namespace vorun {
namespace {

constexpr double maxGrowth = 32768.0;
constexpr std::int64_t maxTickVisits = std::int64_t{1} << 20;

}  // namespace

template <class T>
BaseLayer<T>::BaseLayer() : graph_(std::make_shared<GraphState>()) {}

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
    return graph_->latencyOf(this, scale, [&] {
        std::int32_t longest = 0;
        for (BaseLayer<T>* consumer : consumers) {
            longest = std::max(longest, consumer->GetLatency(scale));
        }
        return longest;
    });
}

template <class T>
void BaseLayer<T>::SkipFrame() {
    for (BaseLayer<T>* consumer : consumers) {
        if (!consumer->IsDeafToTicks()) {
            consumer->SkipFrame();
        }
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
std::int64_t BaseLayer<T>::PlanTicks() {
    if (tickVisits_ >= 0) {
        return tickVisits_;
    }
    std::int64_t below = 0;
    for (BaseLayer<T>* consumer : consumers) {
        // Beyond the limit the figure itself no longer matters, only that it stays in range.
        below = std::min(below + consumer->PlanTicks(), maxTickVisits + 1);
    }
    if (SendsTicks() && below > maxTickVisits) {
        throw std::runtime_error("model graph has too many paths behind a layer with a stride");
    }
    tickVisits_ = below > 0 || ReactsToTicks() ? below + 1 : 0;
    return tickVisits_;
}

template <class T>
BaseLayer<T>* BaseLayer<T>::ConnectTo(const LayerMap<T>& layers, const std::string& name) {
    BaseLayer<T>* feeder = findLayer<T>(layers, name).get();
    feeder->consumers.push_back(this);
    graph_ = feeder->graph_;
    // Only a layer that nothing feeds yet has no depth.
    const Growth known = depth_ > 0 ? growth_ : feeder->growth_;
    growth_.frames = std::max(known.frames, feeder->growth_.frames);
    growth_.height = std::max(known.height, feeder->growth_.height);
    depth_ = std::max(depth_, feeder->depth_ + 1);
    return feeder;
}

template <class T>
void BaseLayer<T>::ChangeRates(const Growth& own) {
    growth_.frames *= own.frames;
    growth_.height *= own.height;
    if (growth_.frames * growth_.height > maxGrowth) {
        throw std::runtime_error("strides of the model multiply its frames too often");
    }
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
