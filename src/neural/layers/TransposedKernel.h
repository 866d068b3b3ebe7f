#pragma once

#include <cstdint>

#include "neural/Tensor.h"

namespace vorun {

/**
 * The kernel of a transposed convolution, arranged for the output bin that gathers rather than for
 * the input bin that scatters.
 *
 * Output bin p is met by the input bins whose kernel reaches it. Which bins of the kernel do so
 * depends on p modulo the height stride alone: with stride 2, kernel height 5 and first position -1
 *
 *     output bin       -1    0    1    2    3    4
 *     input bin 0      k0   k1   k2   k3   k4
 *     input bin 1                k0   k1   k2   k3
 *
 * even output bins meet k1 and k3, odd ones k0, k2 and k4. For each such phase the kernel's bins
 * stand here in the order of the input bins that they meet, the last one first, and so make one run
 * with the neighbouring bins of the input.
 */
template <class T>
class TransposedKernel {
  public:
    struct Sizes {
        std::int32_t frames = 0;
        std::int32_t height = 0;
        std::int32_t outChannels = 0;
        std::int32_t inChannels = 0;
        /** At least 1. */
        std::int32_t heightStride = 1;
        bool depthwise = false;
    };
    /** Where the sums go: bins of `channels` values. */
    struct Row {
        T* values;
        std::int32_t height;
        std::int32_t channels;
    };

    TransposedKernel() = default;
    /** `weights` holds [frames, height, outChannels, inChannels] values. */
    TransposedKernel(const Tensor<T>& weights, const Sizes& sizes);

    /** Adds what a frame of `height` bins of inChannels gives at time tap `tap`. */
    void AddTap(std::int32_t tap, const T* frame, std::int32_t height, const Row& row) const;

  private:
    /** The bins of the kernel at `phase`, from the stride on: phase, phase + stride and so on. */
    std::int32_t BinsOfPhase(std::int32_t phase) const;
    std::int64_t FirstPosition() const { return -((sizes_.height - sizes_.heightStride) / 2); }
    /** Values of one kernel bin. */
    std::int64_t BinVolume() const { return std::int64_t{sizes_.inChannels} * sizes_.outChannels; }
    void PackPhase(const T* kernel, std::int32_t phase, T* packed) const;
    void PackBin(const T* bin, T* packed) const;
    void AddPhase(const T* kernel, std::int32_t phase, const T* frame, std::int32_t height,
                  const Row& row) const;

    Sizes sizes_;
    /** [frames, phase, kernel bin of the phase, input channel, output channel] */
    Tensor<T> packed_;
};

extern template class TransposedKernel<float>;

}  // namespace vorun
