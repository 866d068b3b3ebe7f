#pragma once

#include <cstdint>

#include "neural/Tensor.h"

namespace vorun {

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
    /** The columns of a frame of that size, until the next call: the frame itself if it is one. */
    const T* Turn(const T* frame);
    /** Columns of zeros. */
    const T* Silence();

    /** Columns: the values of as many bins as count as one. */
    std::int32_t count() const { return columns_.dim(0); }
    /** Values from one column to the next. */
    std::int32_t pitch() const { return columns_.dim(1); }

  private:
    /** Values of a frame. */
    std::int32_t frameVolume_ = 0;
    /** [columns, pitch] */
    Tensor<T> columns_;
};

extern template class FrameColumns<float>;

}  // namespace vorun
