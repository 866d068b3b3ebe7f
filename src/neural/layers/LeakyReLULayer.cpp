#include "neural/layers/LeakyReLULayer.h"

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
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
    checkedCall(count, [&] { return activateLeakyRelu(input.readData(), out, count, slope_); });
    return this->PropagateToConsumers(output_, this);
}

template class LeakyReLULayer<float>;

}  // namespace vorun
