#include "neural/layers/ConcatLayer.h"

#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {

template <class T>
ConcatLayer<T>::ConcatLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseQueuedLayer<T>(layers, reader) {}

template <class T>
bool ConcatLayer<T>::ProcessInputs(const std::vector<Tensor<T>>& inputs,
                                   const std::vector<BaseLayer<T>*>& /*sources*/) {
    const Tensor<T>& first = inputs.at(0);
    output_.Resize({first.dim(0), first.dim(1), CountChannels(inputs)});
    output_.MakeUnique();
    std::int32_t offset = 0;
    for (const Tensor<T>& input : inputs) {
        CopyChannels(input, offset);
        offset += input.dim(2);
    }
    return this->PropagateToConsumers(output_, this);
}

template <class T>
std::int32_t ConcatLayer<T>::CountChannels(const std::vector<Tensor<T>>& inputs) const {
    std::int64_t channels = 0;
    for (const Tensor<T>& input : inputs) {
        channels += input.dim(2);
    }
    if (channels > this->graph()->maxJoinedChannels()) {
        throw std::runtime_error("concatenation has too many channels");
    }
    return static_cast<std::int32_t>(channels);
}

template <class T>
void ConcatLayer<T>::CopyChannels(const Tensor<T>& input, std::int32_t offset) {
    const std::int32_t frames = output_.dim(0);
    const std::int32_t height = output_.dim(1);
    const std::int32_t channels = input.dim(2);
    if (std::int64_t{height} * channels > input.volume()) {
        throw std::runtime_error("concatenation of frames of different heights");
    }
    if (height == 0 || channels == 0) {
        return;
    }
    const std::int64_t binStride = output_.dim(2);
    for (std::int64_t t = 0; t < frames; ++t) {
        // From the start for each frame: the queues hand over one at a time.
        checkedCall(height, [&] {
            return spreadRows(input.readData(), channels,
                              output_.data() + t * height * binStride + offset, binStride, height);
        });
    }
}

template class ConcatLayer<float>;

}  // namespace vorun
