#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "neural/Tensor.h"
#include "neural/layers/ConvKernel.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/FrameColumns.h"

namespace vorun {

/**
 * A convolution's last output channels, if there are few of them, with bins side by side in a
 * register.
 *
 * A frame is turned round once, when it comes, and added to every output frame that it reaches:
 * with its oldest tap to the one furthest ahead, which begins with the bias. So each sum grows in
 * the order of the kernel's taps, and what waits is a row of sums for each frame of the history.
 */
template <class T>
class ColumnSums {
  public:
    using Sizes = typename ConvKernel<T>::Sizes;

    ColumnSums() = default;
    /** As ConvKernel has them, with some weights. */
    ColumnSums(const Tensor<T>& weights, const Tensor<T>& bias, const Sizes& sizes,
               std::int32_t timeDilation);

    /** For frames of `height` bins; stays inactive without channels or memory for it. */
    void Start(std::int32_t height);
    /** Until Start() or Reset(): the sums would lack a frame. */
    void Stop() { isActive_ = false; }
    /** After silence; sums that were stopped go on. */
    void Reset();
    /** Output channels that are summed here, the last ones; 0 while there are none. */
    std::int32_t channels() const { return isActive_ ? channels_ : 0; }

    /** Frames since the last reset one by one, from 0 on. Any other one stops the sums. */
    void AddFrame(const T* frame, std::int64_t index);
    /** Writes the channels of output frame `index` into bins of outChannels values. */
    void CopyResult(std::int64_t index, T* out) const;

  private:
    std::int32_t ChannelsOf(std::int32_t bins) const {
        const std::int64_t run = std::int64_t{sizes_.height} * sizes_.inChannels;
        return columnChannels(sizes_.outChannels, run, bins);
    }
    std::int64_t HistoryLength() const {
        return (std::int64_t{sizes_.frames} - 1) * timeDilation_ + 1;
    }
    /** Weights of some taps, and the rows of sums that they go to: one for each tap and channel. */
    struct Part {
        std::int64_t firstWeight;
        T* const* rows;
        std::size_t count;
    };

    void PackWeights(const Tensor<T>& weights);
    void FindRows(std::int64_t index);
    T* const* RowsOfTap(std::int32_t tap) const {
        return rows_.data() + std::int64_t{tap} * channels_;
    }
    void SeedRows(T* const* rows);
    void AddSilence();
    void AddColumns(const Part& part);
    void AddProducts(const Part& part, IndexRange bins, IndexRange kernelBins);

    Sizes sizes_;
    std::int32_t timeDilation_ = 1;
    std::int32_t channels_ = 0;
    bool isActive_ = false;
    std::int64_t nextFrame_ = 0;
    ConvReach reach_;
    /** [height, inChannels, frames, channels] */
    Tensor<T> weights_;
    Tensor<T> bias_;
    FrameColumns<T> columns_;
    /** [history, channels, output bins] */
    Tensor<T> sums_;
    /** For each time tap and channel, its row of sums; and the bin in it that comes first. */
    std::vector<T*> rows_;
    std::vector<T*> places_;
};

extern template class ColumnSums<float>;

}  // namespace vorun
