#include "neural/layers/ELULayer.h"

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
ELULayer<T>::ELULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool ELULayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    float* out = reshapedLike(input, output_);
    checkedCall(count, [&] { return activateElu(input.readData(), out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class ELULayer<float>;

}  // namespace vorun
