#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** Element by element, for any shape: max(x, 0) + exp(min(x, 0)) - 1. */
template <class T>
class ELULayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 5;

    ELULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    Tensor<T> output_;
    /** Stays empty: one pass needs no scratch. */
    Tensor<T> scratch_;
};

extern template class ELULayer<float>;

}  // namespace vorun
