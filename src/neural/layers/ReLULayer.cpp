#include "neural/layers/ReLULayer.h"

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
ReLULayer<T>::ReLULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool ReLULayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    clampBelow(input.readData(), reshapedLike(input, output_), 0.0f, count);
    return this->PropagateToConsumers(output_, this);
}

template class ReLULayer<float>;

}  // namespace vorun
