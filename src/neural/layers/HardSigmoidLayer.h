#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** Element by element, for any shape: clamp(x * 1/6 + 0.5, 0, 1); NaN gives 0. */
template <class T>
class HardSigmoidLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 20;

    HardSigmoidLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    Tensor<T> output_;
    /** Stays empty: one pass needs no scratch. */
    Tensor<T> scratch_;
};

extern template class HardSigmoidLayer<float>;

}  // namespace vorun
