#include "neural/layers/SoftplusLayer.h"

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
SoftplusLayer<T>::SoftplusLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool SoftplusLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    float* out = reshapedLike(input, output_);
    checkedCall(count, [&] { return ippsExp_32f(input.readData(), out, count); });
    checkedCall(count, [&] { return ippsAddC_32f(out, 1.0f, out, count); });
    checkedCall(count, [&] { return ippsLn_32f(out, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class SoftplusLayer<float>;

}  // namespace vorun
