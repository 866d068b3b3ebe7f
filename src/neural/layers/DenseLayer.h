#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"
#include "neural/layers/FrameShape.h"

namespace vorun {

/**
 * Mixes the bins of a frame: each output bin is a weighted sum of all input bins, with weights of
 * its own for every channel. Channels are not mixed and nothing is kept between frames.
 *
 *     out[t][i][c] = sum over j of in[t][j][c] * weights[i][j][c] + bias[i][c]
 *
 * in single precision, j ascending, the bias last.
 */
template <class T>
class DenseLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 14;

    DenseLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Gives one tensor of the input's shape. The input alone says what height and channels are;
     * throws std::runtime_error if the weights or a bias hold too little for them.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;

  private:
    void RequireValues(const FrameShape& shape) const;
    void PackWeights(const FrameShape& shape);
    void MixByBin(const T* frame, const FrameShape& shape, T* out) const;
    void MixByChannel(const T* frame, const FrameShape& shape, T* out);
    void AddBias(T* out, std::int32_t count) const;

    /** Flat, read as [height, height, channels]: output bin, input bin, channel. */
    Tensor<T> weights_;
    /** Flat, height * channels values, or volume 0 for none. */
    Tensor<T> bias_;
    Tensor<T> output_;
    /** For few channels: [channels, input bin, output bin], of the height of the last frame. */
    Tensor<T> packed_;
    /** One channel of a frame, and of its sums. */
    Tensor<T> column_;
    Tensor<T> sums_;
};

extern template class DenseLayer<float>;

}  // namespace vorun
