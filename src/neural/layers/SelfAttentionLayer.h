#pragma once

#include <cstdint>
#include <vector>

#include "neural/BaseLayer.h"
#include "neural/layers/FrameShape.h"

namespace vorun {

/**
 * A fixed linear stage: an optional weighted sum over the last historyLength frames, separate for
 * each channel, then a matrix that mixes the channels of a bin, on top of a constant frame. Despite
 * the name no weight depends on the input.
 *
 *     filtered[b][c] = sum over j of attentionWeights[j][c] * in[t - (historyLength - 1 - j)][b][c]
 *     out[b][c]      = projectionBias[b][c] + sum over k of filtered[b][k] * projection[k][c]
 *
 * with the input in place of `filtered` where there is no window. Frame t stands in row t modulo
 * historyLength of a ring that starts all zero.
 */
template <class T>
class SelfAttentionLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 19;

    /** Throws std::runtime_error for a window without a length. */
    SelfAttentionLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * With a lookahead of 0, gives one tensor of the input's shape. With a positive lookahead, the
     * input may have one frame, and gives it from frame `lookahead` on; those before go nowhere,
     * without a tick. With a negative one nothing is ever given.
     *
     * The first input fixes the size of the ring. Throws std::runtime_error for a larger frame, for
     * more frames than may come at once, and if the file's tensors hold too little for the input.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    void ResetState() override;
    /** The look-ahead is added as it is, whatever one frame here stands for. */
    std::int32_t GetLatency(std::int32_t scale) override;

  private:
    bool HasWindow() const { return attentionWeights_.volume() != 0; }

    void RequireValues(const FrameShape& shape) const;
    void PrepareOutput(const Tensor<T>& input, const FrameShape& shape);
    void PrepareHistory(const FrameShape& shape);
    void ComputeFrame(const T* frame, const FrameShape& shape, T* out);
    void FilterFrame(const T* frame, const FrameShape& shape);
    void Project(const T* source, const FrameShape& shape, T* out) const;

    /** Flat, read as [channels, channels]: row k holds what input channel k feeds. */
    Tensor<T> projection_;
    /** Flat, read as [historyLength, channels], oldest frame first; volume 0 for no window. */
    Tensor<T> attentionWeights_;
    /** Flat, height * channels values. */
    Tensor<T> projectionBias_;
    /** The ring: [historyLength, height, channels]. */
    Tensor<T> history_;
    /** [height, channels] */
    Tensor<T> filtered_;
    std::int32_t lookahead_ = 0;
    /** Frames since the last reset. */
    std::int64_t frameCounter_ = 0;
    Tensor<T> output_;
    std::int32_t historyLength_ = 0;
    /** Ring rows from the oldest to the current frame's. */
    std::vector<const T*> windowRows_;
};

extern template class SelfAttentionLayer<float>;

}  // namespace vorun
