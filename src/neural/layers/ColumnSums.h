#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/ColumnChannels.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/ConvSizes.h"
#include "neural/layers/FrameColumns.h"

namespace vorun {

/**
 * A convolution's last output channels, if there are few of them, with bins side by side in a
 * register.
 *
 * A frame is turned round when it comes, unless it is one column already, and added to every output
 * frame that it reaches: with its oldest tap to the one furthest ahead, which begins with the bias.
 * So each sum grows in the order of the kernel's taps, and what waits is a row of sums for each
 * frame of the history.
 */
template <class T>
class ColumnSums {
  public:
    ColumnSums() = default;
    // It points into itself.
    ColumnSums(const ColumnSums&) = delete;
    ColumnSums& operator=(const ColumnSums&) = delete;
    ColumnSums(ColumnSums&&) noexcept = default;
    ColumnSums& operator=(ColumnSums&&) noexcept = default;
    ~ColumnSums() = default;
    /** As ConvKernel has them, with some weights. */
    ColumnSums(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes,
               std::int32_t timeDilation);

    /** For frames of `height` bins; stays inactive without channels or memory for it. */
    void Start(std::int32_t height);
    /** Until Start() or Reset(): the sums would lack a frame. */
    void Stop() { isActive_ = false; }
    /** After silence; sums that were stopped go on. */
    void Reset();
    /** Output channels that are summed here, the last ones; 0 while there are none. */
    std::int32_t channels() const { return isActive_ ? channels_ : 0; }

    /**
     * Whether sums are there for frame `index`. They take all frames since the last reset one by
     * one, from 0 on; any other one stops them.
     */
    bool Accepts(std::int64_t index);
    /**
     * The next frame. Writes the channels of the output frame that ends with it into bins of
     * outChannels values, unless `out` is null.
     */
    void AddFrame(const T* frame, T* out);

  private:
    std::int32_t ChannelsOf(std::int32_t bins) const {
        const std::int64_t run = std::int64_t{sizes_.height} * sizes_.inChannels;
        return columnChannels(sizes_.outChannels, run, bins);
    }
    std::int64_t HistoryLength() const {
        return (std::int64_t{sizes_.frames} - 1) * timeDilation_ + 1;
    }
    /** Some taps' weights, and the rows of sums that they add to: one for each tap and channel. */
    struct Part {
        const T* columns;
        std::int64_t firstWeight;
        const T* const* sums;
        T* const* out;
        std::int32_t count;
        /** The first rows, which begin with the bias. */
        std::int32_t started;
    };

    void PackWeights(const Tensor<T>& weights);
    void FindRows();
    T* const* RowsOfTap(std::int32_t tap) const {
        return rows_.data() + std::int64_t{tap} * channels_;
    }
    void SetProducts();
    void SeedRows(T* const* rows);
    void AddSilence();
    void AddColumns(const Part& part);

    ConvSizes sizes_;
    std::int32_t timeDilation_ = 1;
    std::int32_t channels_ = 0;
    bool isActive_ = false;
    std::int64_t nextFrame_ = 0;
    /** nextFrame_ modulo the history. */
    std::int64_t ringRow_ = 0;
    ConvReach reach_;
    std::vector<BinRange> entered_;
    /** [height, inChannels, frames, channels] */
    Tensor<T> weights_;
    /** The bias, or zeros: [channels] */
    std::vector<T> start_;
    FrameColumns<T> columns_;
    /** Bins by which the first column that a sum meets lies ahead. */
    std::int64_t columnShift_ = 0;
    const T* firstColumn_ = nullptr;
    ColumnProducts products_{};
    /** [history, channels, output bins] */
    Tensor<T> sums_;
    /** For each time tap and channel, its row of sums, and where they go. */
    std::vector<T*> rows_;
    std::vector<T*> out_;
};

extern template class ColumnSums<float>;

}  // namespace vorun
