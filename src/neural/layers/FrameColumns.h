#pragma once

#include <cstdint>

#include "neural/Tensor.h"

namespace vorun {

/**
 * How many of a layer's output channels, the last ones, are better summed with bins side by side
 * in a register: those that would leave lanes of a register of channels empty. `run` counts the
 * products of a sum over one frame; with few of them, what it takes to store and load the sums
 * outweighs some empty lanes. The same on every processor, so that a model takes the same memory
 * everywhere.
 */
constexpr std::int32_t columnChannels(std::int32_t channels, std::int64_t run, std::int32_t bins) {
    constexpr std::int32_t widestRegister = 16;
    constexpr std::int64_t mostOfLongRuns = 12;
    const std::int32_t rest = channels % widestRegister;
    const bool isWorthIt = rest * (run + widestRegister) <= mostOfLongRuns * run;
    return bins >= widestRegister && isWorthIt ? rest : 0;
}

/**
 * A frame turned round: each element of a bin as a column over the bins, from which a register
 * takes one element of several bins at once. Several bins may count as one, so that strides do not
 * part what stands side by side.
 */
template <class T>
class FrameColumns {
  public:
    /** Sizes it for frames of `height` bins of `channels` values; false if that is too large. */
    bool Resize(std::int32_t height, std::int32_t channels, std::int32_t binsAsOne);
    /** Takes over a frame of that size. */
    void Turn(const T* frame);
    /** All columns zero. */
    void Clear() { columns_.Zero(); }

    /** Columns: the values of as many bins as count as one. */
    std::int32_t count() const { return columns_.dim(0); }
    /** Values from one column to the next. */
    std::int32_t pitch() const { return columns_.dim(1); }
    const T* readData() const { return columns_.readData(); }

  private:
    /** Values of a frame. */
    std::int32_t frameVolume_ = 0;
    /** [columns, pitch] */
    Tensor<T> columns_;
};

extern template class FrameColumns<float>;

}  // namespace vorun
