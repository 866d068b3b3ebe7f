#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** Element by element, for any shape: max(x, 0); NaN gives 0 and -0.0 stays. */
template <class T>
class ReLULayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 4;

    ReLULayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    Tensor<T> output_;
};

extern template class ReLULayer<float>;

}  // namespace vorun
