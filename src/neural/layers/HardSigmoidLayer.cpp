#include "neural/layers/HardSigmoidLayer.h"

#include <bit>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

template <class T>
HardSigmoidLayer<T>::HardSigmoidLayer(LayerMap<T>& layers, ModelReader& reader,
                                      std::int32_t /*version*/)
    : BaseLayer<T>(layers, reader, fileType) {}

template <class T>
bool HardSigmoidLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    output_.Resize(input.shape());
    output_.MakeUnique();
    scratch_.Resize(input.shape());
    scratch_.MakeUnique();
    const std::int32_t count = input.volume();
    constexpr float sixth = 1.0F / 6.0F;
    static_assert(std::bit_cast<std::uint32_t>(sixth) == 0x3E2AAAABU);
    float* out = output_.data();
    float* scratch = scratch_.data();
    checkedCall(count, [&] { return ippsMulC_32f(input.readData(), sixth, out, count); });
    checkedCall(count, [&] { return ippsAddC_32f(out, 0.5F, scratch, count); });
    clampRange(scratch, out, 0.0F, 1.0F, count);
    return this->PropagateToConsumers(output_, this);
}

template class HardSigmoidLayer<float>;

}  // namespace vorun
