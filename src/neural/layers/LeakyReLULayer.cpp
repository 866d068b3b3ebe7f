#include "neural/layers/LeakyReLULayer.h"

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
LeakyReLULayer<T>::LeakyReLULayer(LayerMap<T>& layers, ModelReader& reader,
                                  std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType), slope_(reader.ReadFloat()) {}

template <class T>
bool LeakyReLULayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    float* out = reshapedLike(input, output_);
    float* scratch = reshapedLike(input, scratch_);
    clampBelow(input.readData(), out, 0.0f, count);
    clampAbove(input.readData(), scratch, 0.0f, count);
    checkedCall(count, [&] { return ippsAddProductC_32f(scratch, slope_, out, count); });
    return this->PropagateToConsumers(output_, this);
}

template class LeakyReLULayer<float>;

}  // namespace vorun
