#include "neural/OutputLayer.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "foundation/vector/CheckedCall.h"

namespace vorun {
namespace {

constexpr std::int32_t outputLayerType = 1;

template <class T>
std::int32_t countFrames(const std::list<Tensor<T>>& tensors) {
    std::int64_t frames = 0;
    for (const Tensor<T>& tensor : tensors) {
        frames += tensor.dim(0);
    }
    if (frames > std::numeric_limits<std::int32_t>::max()) {
        throw std::runtime_error("model result has too many frames");
    }
    return static_cast<std::int32_t>(frames);
}

template <class T>
void joinInto(Tensor<T>& joined, const std::list<Tensor<T>>& tensors) {
    std::int32_t room = joined.volume();
    T* target = joined.data();
    for (const Tensor<T>& tensor : tensors) {
        const std::int32_t count = tensor.volume();
        if (count == 0) {
            continue;
        }
        if (count > room) {
            throw std::runtime_error("model results have different shapes");
        }
        copySamples<T>(tensor.readData(), target, count);
        target += count;
        room -= count;
    }
    // Smaller tensors than the first leave a rest, which must not show what the memory held before.
    zeroFloats(target, room);
}

}  // namespace

template <class T>
OutputLayer<T>::OutputLayer() {
    this->layerType = outputLayerType;
}

template <class T>
OutputLayer<T>::OutputLayer(LayerMap<T>& layers, ModelReader& reader)
    : BaseLayer<T>(layers, reader, outputLayerType) {}

template <class T>
bool OutputLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    results.push_back(input);
    return true;
}

template <class T>
void OutputLayer<T>::ResetState() {
    results.clear();
}

template <class T>
Tensor<T> OutputLayer<T>::TakeResult() {
    if (results.empty()) {
        return {};
    }
    // Emptied before anything can fail: a result that cannot be joined must not fail every later
    // call as well.
    const std::list<Tensor<T>> taken = std::exchange(results, {});
    const Tensor<T>& first = taken.front();
    Tensor<T> joined({countFrames(taken), first.dim(1), first.dim(2)});
    joinInto(joined, taken);
    return joined;
}

template class OutputLayer<float>;

}  // namespace vorun
