#include "neural/layers/ELULayer.h"

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
ELULayer<T>::ELULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool ELULayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    float* out = reshapedLike(input, output_);
    float* scratch = reshapedLike(input, scratch_);
    clampAbove(input.readData(), out, 0.0f, count);
    checkedCall(count, [&] { return ippsExp_32f(out, scratch, count); });
    checkedCall(count, [&] { return ippsSubC_32f(scratch, 1.0f, out, count); });
    clampBelow(input.readData(), scratch, 0.0f, count);
    checkedCall(count, [&] { return ippsAdd_32f(scratch, out, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class ELULayer<float>;

}  // namespace vorun
