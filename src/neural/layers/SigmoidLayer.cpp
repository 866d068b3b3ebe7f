#include "neural/layers/SigmoidLayer.h"

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
SigmoidLayer<T>::SigmoidLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool SigmoidLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    float* out = reshapedLike(input, output_);
    float* scratch = reshapedLike(input, scratch_);
    clampRange(input.readData(), out, -10.0f, 10.0f, count);
    checkedCall(count, [&] { return ippsExp_32f(out, scratch, count); });
    checkedCall(count, [&] { return ippsAddC_32f(scratch, 1.0f, out, count); });
    // The divisor comes first: scratch / out.
    checkedCall(count, [&] { return ippsDiv_32f(out, scratch, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class SigmoidLayer<float>;

}  // namespace vorun
