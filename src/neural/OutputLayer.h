#pragma once

#include <list>

#include "neural/BaseLayer.h"

namespace vorun {

/** The one exit of a model: collects what arrives until somebody takes it. */
template <class T>
class OutputLayer : public BaseLayer<T> {
  public:
    OutputLayer();
    OutputLayer(LayerMap<T>& layers, ModelReader& reader);

    /** Keeps a copy that shares the storage; always true. */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    /** Drops what nobody has taken. */
    void ResetState() override;

    /**
     * Joins all that arrived since the last call along frames, oldest first, and forgets it.
     *
     * @return [frames, height, channels] in storage of its own, with height and channels of the
     *         first tensor; an empty tensor if nothing arrived.
     * @throws std::runtime_error if later tensors hold more elements than that shape has room for;
     *         what had arrived is gone then too.
     */
    Tensor<T> TakeResult();

    std::list<Tensor<T>> results;
};

extern template class OutputLayer<float>;

}  // namespace vorun
