#include "neural/layers/ELULayer.h"

#include "foundation/vector/CheckedCall.h"

namespace vorun {

template <class T>
ELULayer<T>::ELULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool ELULayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    output_.Resize(input.shape());
    output_.MakeUnique();
    scratch_.Resize(input.shape());
    scratch_.MakeUnique();
    const std::int32_t count = input.volume();
    float* out = output_.data();
    float* scratch = scratch_.data();
    clampAbove(input.readData(), out, 0.0F, count);
    checkedCall(count, [&] { return ippsExp_32f(out, scratch, count); });
    checkedCall(count, [&] { return ippsSubC_32f(scratch, 1.0F, out, count); });
    clampBelow(input.readData(), scratch, 0.0F, count);
    checkedCall(count, [&] { return ippsAdd_32f(scratch, out, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class ELULayer<float>;

}  // namespace vorun
