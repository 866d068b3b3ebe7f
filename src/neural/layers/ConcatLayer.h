#pragma once

#include <cstdint>
#include <vector>

#include "neural/BaseQueuedLayer.h"

namespace vorun {

/**
 * Joins its inputs along the channels, in the order of the record: one frame [1, height, channels]
 * of each gives [1, height, sum of the channels]. The height is that of the first.
 */
template <class T>
class ConcatLayer : public BaseQueuedLayer<T> {
  public:
    static constexpr std::int32_t fileType = 9;

    ConcatLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Throws std::runtime_error for an input with fewer bins than the first, and for more channels
     * than the graph may join (GraphState::maxJoinedChannels()).
     */
    bool ProcessInputs(const std::vector<Tensor<T>>& inputs,
                       const std::vector<BaseLayer<T>*>& sources) override;

  private:
    std::int32_t CountChannels(const std::vector<Tensor<T>>& inputs) const;
    /** Every bin of one input, behind the `offset` channels of the inputs before it. */
    void CopyChannels(const Tensor<T>& input, std::int32_t offset);

    Tensor<T> output_;
};

extern template class ConcatLayer<float>;

}  // namespace vorun
