#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** Element by element, for any shape: max(x, 0) + slope * min(x, 0); NaN stays. */
template <class T>
class LeakyReLULayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 12;

    LeakyReLULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    float slope_;
    Tensor<T> output_;
    /** Stays empty: one pass needs no scratch. */
    Tensor<T> scratch_;
};

extern template class LeakyReLULayer<float>;

}  // namespace vorun
