#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "neural/Tensor.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/ConvSizes.h"
#include "neural/layers/RowSums.h"

namespace vorun {

/**
 * The kernel of a convolution, and the sums of one output frame.
 *
 * Each output bin and channel is summed over the time taps, then over the bins of the kernel that
 * lie inside the input, then over the input channels. Bins whose kernel lies inside as a whole go
 * together, with those beside them that lack one end of it. Where rows have one channel, RowSums
 * takes the last output channels.
 */
template <class T>
class ConvKernel {
  public:
    /** The size of the rows that the kernel meets, and where the sums go. */
    struct Plane {
        std::int32_t height;
        std::int32_t rowChannels;
        bool depthwise;
        /** Output channels to sum, the first ones; all of them for kernels that RowSums suit. */
        std::int32_t channels;
        /** Bins of outChannels values. */
        T* out;
    };

    ConvKernel() = default;
    /**
     * `weights` holds [frames, height, inChannels, outChannels] values or none, `bias` at least
     * outChannels values or none.
     */
    ConvKernel(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes);

    /** The row that a time tap meets. */
    void SetRow(std::int32_t tap, const T* row) { rows_[static_cast<std::size_t>(tap)] = row; }
    /** Fills the channels of the output. */
    void Convolve(const Plane& plane);

  private:
    /**
     * Output bins and the bins of the kernel that they meet, over some of the time taps. The first
     * output bin may lack some at the start, the last one some at the end.
     */
    struct Stretch {
        IndexRange bins;
        IndexRange kernelBins;
        IndexRange taps;
        /** Whether sums begin with the bias, and not at what stands in the output. */
        bool isFirst;
    };

    ConvReach ReachIn(const Plane& plane) const {
        return {sizes_.height, sizes_.heightStride, plane.height};
    }
    bool HasBias() const { return bias_.volume() > 0; }
    bool HasRuns(const Plane& plane) const;
    void SeedBins(const Plane& plane, IndexRange bins) const;
    std::int32_t ChannelsByRow(const Plane& plane) const;
    void ConvolveByChannel(const Plane& plane);
    void AddRuns(const Plane& plane);
    void AddBinByBin(const Plane& plane, IndexRange bins);
    void AddByKernelBins(const Plane& plane);
    void AddProducts(const Plane& plane, const Stretch& stretch);

    ConvSizes sizes_;
    Tensor<T> weights_;
    Tensor<T> bias_;
    /** Of each time tap, its row and the place in it from which a stretch reads. */
    std::vector<const T*> rows_;
    std::vector<const T*> places_;
    RowSums<T> rowSums_;
};

extern template class ConvKernel<float>;

}  // namespace vorun
