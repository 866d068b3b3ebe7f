#include "neural/layers/HardSigmoidLayer.h"

#include <bit>

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ReshapedOutput.h"

namespace vorun {

template <class T>
HardSigmoidLayer<T>::HardSigmoidLayer(LayerMap<T>& layers, ModelReader& reader,
                                      std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool HardSigmoidLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t count = input.volume();
    constexpr float sixth = 1.0f / 6.0f;
    static_assert(std::bit_cast<std::uint32_t>(sixth) == 0x3E2AAAABU);
    float* out = reshapedLike(input, output_);
    float* scratch = reshapedLike(input, scratch_);
    checkedCall(count, [&] { return ippsMulC_32f(input.readData(), sixth, out, count); });
    checkedCall(count, [&] { return ippsAddC_32f(out, 0.5f, scratch, count); });
    clampRange(scratch, out, 0.0f, 1.0f, count);
    return this->PropagateToConsumers(output_, this);
}

template class HardSigmoidLayer<float>;

}  // namespace vorun
