#pragma once

#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/ColumnChannels.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/ConvSizes.h"

namespace vorun {

/**
 * The last output channels, if there are few of them, of a convolution with one input channel. The
 * rows that its kernel meets are columns as they stand, with bins side by side for a register, so
 * that all taps of a sum go together.
 */
template <class T>
class RowSums {
  public:
    /**
     * Whether rows of such a kernel are columns, and of several sums each: one alone is better off
     * where a value that was loaded serves all taps.
     */
    static bool suit(const ConvSizes& sizes) {
        return sizes.inChannels == 1 && sizes.heightStride == 1 &&
               sizes.outChannels % widestRegister != 1;
    }

    RowSums() = default;
    // It points into itself.
    RowSums(const RowSums&) = delete;
    RowSums& operator=(const RowSums&) = delete;
    RowSums(RowSums&&) noexcept = default;
    RowSums& operator=(RowSums&&) noexcept = default;
    ~RowSums() = default;
    /** `weights` has some values, `bias` outChannels or none. */
    RowSums(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes);

    /** Output channels that are summed here, the last ones, for rows of `height` bins. */
    std::int32_t ChannelsOf(std::int32_t height) const;
    /**
     * Writes those channels, of which there must be some, into bins of outChannels values.
     *
     * @param rows one for each time tap, of `height` values.
     */
    void Sum(const std::vector<const T*>& rows, std::int32_t height, T* out);

  private:
    void Prepare(std::int32_t height);

    ConvSizes sizes_;
    Tensor<T> weights_;
    /** The bias, or zeros. */
    std::vector<T> start_;
    ConvReach reach_;
    std::vector<BinRange> entered_;
    /** [channels, bins] */
    Tensor<T> sums_;
    /** Of each time tap, what the first bin's kernel meets. */
    std::vector<const T*> columns_;
    /** Of each channel, its row of sums. */
    std::vector<T*> out_;
    ColumnProducts products_{};
};

extern template class RowSums<float>;

}  // namespace vorun
