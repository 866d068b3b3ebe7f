#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/**
 * A level normaliser: divides each frame by a weighted sum of the root-mean-square levels of the
 * last stateLength frames, so that what follows sees a steady level whatever the input's gain.
 *
 * Levels are kept in a ring, frame t in element t modulo stateLength; the stream's first frame
 * fills all of it. Weight k meets element (t + k) modulo stateLength, so that at frame t
 *
 *     weight           0   1                2                ...  stateLength - 1
 *     level of frame   t   t-stateLength+1  t-stateLength+2  ...  t-1
 */
template <class T>
class PreNormLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 16;

    /** Throws std::runtime_error for weights whose first dimension is no length of their values. */
    PreNormLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /** Gives one tensor of the input's shape. A frame without values counts as one of level 0. */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    void ResetState() override;

  private:
    void StoreLevel(T level);
    T GainOfWindow() const;

    /** The averaging window; the first stateLength values are used. */
    Tensor<T> weights_;
    /** The ring: [stateLength]. */
    Tensor<T> levels_;
    Tensor<T> output_;
    /** Frames since the last reset. Counts in 64 bits: a broadcast runs for longer than 32 last. */
    std::int64_t frameCounter_ = 0;
    std::int32_t stateLength_ = 0;
};

extern template class PreNormLayer<float>;

}  // namespace vorun
