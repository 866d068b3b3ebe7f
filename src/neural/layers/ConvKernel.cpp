#include "neural/layers/ConvKernel.h"

#include <algorithm>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {

template <class T>
ConvKernel<T>::ConvKernel(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes)
    : sizes_(sizes), weights_(weights), bias_(bias) {
    if (weights_.volume() > 0) {
        rows_.resize(static_cast<std::size_t>(sizes_.frames));
        places_.resize(rows_.size());
        if (RowSums<T>::suit(sizes)) {
            rowSums_ = RowSums<T>(weights, bias, sizes);
        }
    }
}

template <class T>
void ConvKernel<T>::Convolve(const Plane& plane) {
    const std::int32_t byRow = ChannelsByRow(plane);
    Plane others = plane;
    others.channels -= byRow;
    if (others.channels > 0) {
        ConvolveByChannel(others);
    }
    if (byRow > 0) {
        rowSums_.Sum(rows_, plane.height, plane.out);
    }
}

/** Channels whose sums take several bins of a row at once. */
template <class T>
std::int32_t ConvKernel<T>::ChannelsByRow(const Plane& plane) const {
    const bool areColumns = plane.rowChannels == 1 && !plane.depthwise;
    return areColumns ? rowSums_.ChannelsOf(plane.height) : 0;
}

template <class T>
void ConvKernel<T>::ConvolveByChannel(const Plane& plane) {
    const IndexRange all{0, ReachIn(plane).outHeight()};
    const bool hasProducts = weights_.volume() > 0;
    if (!HasBias() || !hasProducts || !HasRuns(plane)) {
        SeedBins(plane, all);
    }
    if (hasProducts && HasRuns(plane)) {
        AddRuns(plane);
    } else if (hasProducts) {
        AddByKernelBins(plane);
    }
}

/** Whether a bin holds just what the kernel takes of it, so that neighbouring bins are one run. */
template <class T>
bool ConvKernel<T>::HasRuns(const Plane& plane) const {
    return plane.rowChannels == (plane.depthwise ? sizes_.outChannels : sizes_.inChannels);
}

/** The bias, or zeros, in all channels. */
template <class T>
void ConvKernel<T>::SeedBins(const Plane& plane, IndexRange bins) const {
    T* const out = plane.out + bins.begin * sizes_.outChannels;
    const auto count = static_cast<std::int32_t>(bins.size());
    if (HasBias()) {
        checkedCall(std::min(count, sizes_.outChannels),
                    [&] { return repeatRow(bias_.readData(), sizes_.outChannels, out, count); });
    } else {
        zeroFloats(out, count * sizes_.outChannels);
    }
}

template <class T>
void ConvKernel<T>::AddRuns(const Plane& plane) {
    const ConvReach reach = ReachIn(plane);
    IndexRange bins = reach.binsInside();
    // The neighbours lack one end of the kernel, by at most a stride: they go together with those
    // that have all of it.
    if (!plane.depthwise && !bins.isEmpty()) {
        bins.begin -= bins.begin > 0 ? 1 : 0;
        bins.end += bins.end < reach.outHeight() ? 1 : 0;
    }
    AddBinByBin(plane, {0, bins.begin});
    AddProducts(plane, {bins, {0, sizes_.height}, {0, sizes_.frames}, true});
    AddBinByBin(plane, {bins.end, reach.outHeight()});
}

template <class T>
void ConvKernel<T>::AddBinByBin(const Plane& plane, IndexRange bins) {
    for (std::int64_t bin = bins.begin; bin < bins.end; ++bin) {
        const IndexRange kernelBins = ReachIn(plane).kernelBinsInside(bin);
        if (kernelBins.isEmpty()) {
            SeedBins(plane, {bin, bin + 1});
        }
        AddProducts(plane, {{bin, bin + 1}, kernelBins, {0, sizes_.frames}, true});
    }
}

/** One bin of the kernel after the other, each over all output bins that it meets inside. */
template <class T>
void ConvKernel<T>::AddByKernelBins(const Plane& plane) {
    for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
        for (std::int64_t kernelBin = 0; kernelBin < sizes_.height; ++kernelBin) {
            const IndexRange one{kernelBin, kernelBin + 1};
            AddProducts(plane, {ReachIn(plane).binsThatMeet(one), one, {tap, tap + 1}, false});
        }
    }
}

template <class T>
void ConvKernel<T>::AddProducts(const Plane& plane, const Stretch& stretch) {
    const auto count =
        static_cast<std::int32_t>(std::min(stretch.bins.size(), stretch.kernelBins.size()));
    if (count == 0) {
        return;
    }
    const ConvReach reach = ReachIn(plane);
    const std::int64_t position = reach.position(stretch.bins.begin) + stretch.kernelBins.begin;
    const std::int64_t lead = std::max<std::int64_t>(0, -position);
    const std::int64_t trail = std::max<std::int64_t>(
        0, reach.position(stretch.bins.end - 1) + stretch.kernelBins.end - plane.height);
    for (std::int64_t tap = stretch.taps.begin; tap < stretch.taps.end; ++tap) {
        const auto index = static_cast<std::size_t>(tap);
        places_[index] = rows_[index] + (position + lead) * plane.rowChannels;
    }
    const std::int64_t binWeights = std::int64_t{sizes_.inChannels} * sizes_.outChannels;
    RunProducts products{};
    products.rows = places_.data() + stretch.taps.begin;
    products.tapStride = sizes_.height * binWeights;
    products.weights = weights_.readData() + stretch.taps.begin * products.tapStride +
                       stretch.kernelBins.begin * binWeights;
    products.weightStride = sizes_.outChannels;
    products.binStride = std::int64_t{sizes_.heightStride} * plane.rowChannels;
    products.outStride = sizes_.outChannels;
    products.out = plane.out + stretch.bins.begin * sizes_.outChannels;
    products.start = stretch.isFirst && HasBias() ? bias_.readData() : nullptr;
    products.taps = static_cast<std::int32_t>(stretch.taps.size());
    products.bins = static_cast<std::int32_t>(stretch.bins.size());
    if (plane.depthwise) {
        products.run = static_cast<std::int32_t>(stretch.kernelBins.size());
        products.channels = std::min(plane.channels, plane.rowChannels);
        checkedCall(products.channels, [&] { return addChannelProducts(products); });
    } else {
        products.run = static_cast<std::int32_t>(stretch.kernelBins.size() * sizes_.inChannels);
        products.channels = plane.channels;
        products.lead = static_cast<std::int32_t>(lead * sizes_.inChannels);
        products.trail = static_cast<std::int32_t>(trail * sizes_.inChannels);
        checkedCall(std::min(products.run, products.channels),
                    [&] { return addRunProducts(products); });
    }
}

template class ConvKernel<float>;

}  // namespace vorun
