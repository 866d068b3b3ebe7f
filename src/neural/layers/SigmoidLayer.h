#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/**
 * Element by element, for any shape: e^c / (1 + e^c) with c = clamp(x, -10, 10), so that 0 and 1
 * are never reached; NaN counts as -10.
 */
template <class T>
class SigmoidLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 6;

    SigmoidLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    Tensor<T> output_;
    /** Stays empty: one pass needs no scratch. */
    Tensor<T> scratch_;
};

extern template class SigmoidLayer<float>;

}  // namespace vorun
