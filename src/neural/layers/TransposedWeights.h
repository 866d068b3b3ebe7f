#pragma once

#include <cstdint>

#include "neural/Tensor.h"
#include "neural/layers/TransposedReach.h"
#include "neural/layers/TransposedSizes.h"

namespace vorun {

/**
 * A transposed convolution's weights, phase by phase as TransposedReach counts them, for the output
 * bin that gathers rather than for the input bin that scatters. Output channels are the inner ones,
 * of which a register takes several at once; the last ones, if there are few, go by column and
 * stand apart.
 */
template <class T>
class TransposedWeights {
  public:
    /** What some neighbouring output channels meet, from one time tap on. */
    struct Part {
        const T* weights;
        /** From one input value of the kernel to the next, and from one time tap to the next. */
        std::int64_t weightStride;
        std::int64_t tapStride;
        std::int32_t firstChannel;
        std::int32_t channels;
    };

    TransposedWeights() = default;
    /** `weights` holds [frames, height, outChannels, inChannels] values. */
    TransposedWeights(const Tensor<T>& weights, const TransposedSizes& sizes,
                      std::int32_t narrowChannels);

    std::int32_t narrowChannels() const { return narrowChannels_; }
    Part Wide(std::int32_t tap) const;
    Part Narrow(std::int32_t tap) const;

  private:
    /** Values of one kernel bin. */
    std::int64_t BinVolume() const { return std::int64_t{sizes_.inChannels} * sizes_.outChannels; }
    void PackTap(const T* kernel, std::int32_t tap);
    T* PackBin(const T* bin, const Part& part, T* packed) const;

    TransposedSizes sizes_;
    std::int32_t wideChannels_ = 0;
    std::int32_t narrowChannels_ = 0;
    /** [frames, phase, kernel bin of the phase, input channel, wide channel] */
    Tensor<T> wide_;
    /** [phase, kernel bin of the phase, input channel, frames, narrow channel] */
    Tensor<T> narrow_;
};

extern template class TransposedWeights<float>;

}  // namespace vorun
