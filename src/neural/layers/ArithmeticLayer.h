#pragma once

#include <cstdint>
#include <vector>

#include "neural/BaseQueuedLayer.h"

namespace vorun {

/**
 * Folds its inputs element by element, in the order of the record, into one tensor of the first
 * one's shape. The later input stands on top: two inputs a and b give b / a and b - a.
 *
 * Codes: 0 multiplies, 1 divides, 2 adds, 3 subtracts; any other passes the first input on.
 */
template <class T>
class ArithmeticLayer : public BaseQueuedLayer<T> {
  public:
    static constexpr std::int32_t fileType = 18;

    ArithmeticLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /** Throws std::runtime_error if a step meets an input with fewer elements than the first. */
    bool ProcessInputs(const std::vector<Tensor<T>>& inputs,
                       const std::vector<BaseLayer<T>*>& sources) override;

  private:
    /** result = next (operation) result, over `count` elements. */
    void Fold(const Tensor<T>& next, T* result, std::int32_t count) const;

    std::int32_t operation_;
    Tensor<T> output_;
};

extern template class ArithmeticLayer<float>;

}  // namespace vorun
