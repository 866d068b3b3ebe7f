#include "neural/layers/SigmoidLayer.h"

#include "foundation/vector/CheckedCall.h"

namespace vorun {

template <class T>
SigmoidLayer<T>::SigmoidLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool SigmoidLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    output_.Resize(input.shape());
    output_.MakeUnique();
    scratch_.Resize(input.shape());
    scratch_.MakeUnique();
    const std::int32_t count = input.volume();
    float* out = output_.data();
    float* scratch = scratch_.data();
    clampRange(input.readData(), out, -10.0F, 10.0F, count);
    checkedCall(count, [&] { return ippsExp_32f(out, scratch, count); });
    checkedCall(count, [&] { return ippsAddC_32f(scratch, 1.0F, out, count); });
    // The divisor comes first: scratch / out.
    checkedCall(count, [&] { return ippsDiv_32f(out, scratch, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class SigmoidLayer<float>;

}  // namespace vorun
