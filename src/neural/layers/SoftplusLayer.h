#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** Element by element, for any shape: ln(1 + e^x), with no guard against overflow: large x give
 * infinity. */
template <class T>
class SoftplusLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 17;

    SoftplusLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    Tensor<T> output_;
};

extern template class SoftplusLayer<float>;

}  // namespace vorun
