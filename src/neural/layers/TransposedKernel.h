#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/ColumnChannels.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/FrameColumns.h"

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
    /** Where the sums go: for each time tap a row of `height` bins of `channels` values. */
    struct Rows {
        T* const* taps;
        std::int32_t height;
        std::int32_t channels;
        /** Whether no row reaches into another one. */
        bool areApart;
    };

    TransposedKernel() = default;
    /** `weights` holds [frames, height, outChannels, inChannels] values. */
    TransposedKernel(const Tensor<T>& weights, const Sizes& sizes);

    /** Adds what a frame of `height` bins of inChannels gives. */
    void AddFrame(const T* frame, std::int32_t height, const Rows& rows);

  private:
    /** Packed kernels of one time tap, for neighbouring output channels. */
    struct Part {
        T* weights;
        /** From one input value of the kernel to the next. */
        std::int64_t weightStride;
        std::int32_t firstChannel;
        std::int32_t channels;
    };
    /** Output bins, a stride apart, that meet the same bins of the kernel. */
    struct Stretch {
        std::int64_t outBin;
        std::int64_t bins;
        /** The first of the input bins that the first output bin meets, and how many there are. */
        std::int64_t inBin;
        std::int64_t met;
        /** Place in the packed phase of the first kernel bin. */
        std::int64_t kernelBin;
        /** Kernel bins that the first output bin lacks at the start, and the last one at the end.
         */
        std::int64_t lead = 0;
        std::int64_t trail = 0;
    };
    std::int32_t Phases() const { return std::min(sizes_.heightStride, sizes_.height); }
    /** The bins of the kernel at `phase`, from the stride on: phase, phase + stride and so on. */
    std::int32_t BinsOfPhase(std::int32_t phase) const {
        return (sizes_.height - 1 - phase) / sizes_.heightStride + 1;
    }
    std::int64_t FirstPosition() const { return -((sizes_.height - sizes_.heightStride) / 2); }
    /** Values of one kernel bin. */
    std::int64_t BinVolume() const { return std::int64_t{sizes_.inChannels} * sizes_.outChannels; }
    std::int32_t NarrowChannels(std::int32_t bins) const {
        const std::int64_t run = std::int64_t{BinsOfPhase(0)} * sizes_.inChannels;
        return columnChannels(sizes_.outChannels, run, bins);
    }
    /** A row of narrow channels alone holds so many values of each input bin's outputs. */
    std::int64_t PlanesOfRow() const { return std::int64_t{sizes_.heightStride} * narrowChannels_; }
    Part WidePart(std::int32_t tap) {
        const std::int64_t tapVolume =
            std::int64_t{sizes_.height} * sizes_.inChannels * wideChannels_;
        // A depthwise kernel has one row of weights a bin, over the input channels.
        return sizes_.depthwise
                   ? Part{wide_.data() + tap * tapVolume, sizes_.inChannels, 0, sizes_.inChannels}
                   : Part{wide_.data() + tap * tapVolume, wideChannels_, 0, wideChannels_};
    }
    Part NarrowPart(std::int32_t tap) {
        return {narrow_.data() + std::int64_t{tap} * narrowChannels_,
                std::int64_t{sizes_.frames} * narrowChannels_, wideChannels_, narrowChannels_};
    }

    void PackTap(const T* kernel, std::int32_t tap);
    void PackBin(const T* bin, Part& part) const;
    bool PrepareColumns(std::int32_t height, const Rows& rows);
    IndexRange OutputsOfPhase(std::int32_t phase, std::int32_t height,
                              std::int32_t outHeight) const;
    /** body(stretch) for all output bins of a phase. */
    template <class Body>
    void ForEachStretch(std::int32_t phase, std::int32_t height, std::int32_t outHeight,
                        Body body) const;
    void AddByChannel(const T* frame, std::int32_t height, const Rows& rows, std::int32_t tap,
                      const Part& part) const;
    void PreparePlanes(std::int32_t height, const Rows& rows);
    void SplitRows(const Rows& rows);
    void JoinRows(const Rows& rows) const;
    void FindColumns(const Rows& rows, std::int64_t outBin);
    void FindPlanes(std::int64_t outBin);
    void FindEntered(IndexRange outputs, std::int64_t reach, std::int32_t height);
    void AddByColumn(const T* columns, std::int32_t height, const Rows& rows, bool inPlanes);

    Sizes sizes_;
    /** The output channels: those summed a register of channels at a time, and the last ones. */
    std::int32_t wideChannels_ = 0;
    std::int32_t narrowChannels_ = 0;
    /** [frames, phase, kernel bin of the phase, input channel, wide channel] */
    Tensor<T> wide_;
    /** [phase, kernel bin of the phase, input channel, frames, narrow channel] */
    Tensor<T> narrow_;
    FrameColumns<T> columns_;
    std::int32_t columnHeight_ = 0;
    /** The rows of all taps, each value of a stride in a plane of its own: [planes, height]. */
    Tensor<T> planes_;
    /** Of each time tap and narrow channel, its first bin. */
    std::vector<T*> columnOut_;
    /** Of each bin of a phase's kernel, the output bins that it reaches. */
    std::vector<BinRange> entered_;
};

extern template class TransposedKernel<float>;

}  // namespace vorun
