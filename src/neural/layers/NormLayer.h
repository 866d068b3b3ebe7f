#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"
#include "neural/layers/FrameShape.h"

namespace vorun {

/**
 * A fixed affine map of every channel, in * scale + offset, the product rounded before the sum.
 * Despite the name no statistic of the input is taken.
 */
template <class T>
class NormLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 7;

    NormLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Gives one tensor of the input's shape. Throws std::runtime_error if scale or offset hold
     * fewer values than the input has channels.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    void RequireValues(const FrameShape& shape) const;

    /** One value a channel, added. */
    Tensor<T> offset_;
    /** One value a channel, multiplied. */
    Tensor<T> scale_;
    Tensor<T> output_;
};

extern template class NormLayer<float>;

}  // namespace vorun
