#include "neural/layers/ColumnSums.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {
namespace {

constexpr std::int32_t anyHeight = std::numeric_limits<std::int32_t>::max();

}  // namespace

template <class T>
ColumnSums<T>::ColumnSums(const Tensor<T>& weights, const Tensor<T>& bias, const Sizes& sizes,
                          std::int32_t timeDilation)
    : sizes_(sizes), timeDilation_(timeDilation), bias_(bias) {
    // Without a dilation all taps would meet in one row.
    const bool hasRows = weights.volume() > 0 && (sizes.frames == 1 || timeDilation > 0);
    channels_ = hasRows ? ChannelsOf(anyHeight) : 0;
    if (channels_ > 0) {
        PackWeights(weights);
        rows_.resize(static_cast<std::size_t>(sizes.frames) * static_cast<std::size_t>(channels_));
        places_.resize(rows_.size());
    }
}

/** All taps of an element one behind the other, since they meet the same input. */
template <class T>
void ColumnSums<T>::PackWeights(const Tensor<T>& weights) {
    weights_.Resize({sizes_.height, sizes_.inChannels, sizes_.frames, channels_});
    const std::int64_t elements = std::int64_t{sizes_.height} * sizes_.inChannels;
    T* packed = weights_.data();
    for (std::int64_t element = 0; element < elements; ++element) {
        for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
            const T* const row =
                weights.readData() + (tap * elements + element + 1) * sizes_.outChannels;
            packed = std::copy(row - channels_, row, packed);
        }
    }
}

template <class T>
void ColumnSums<T>::Start(std::int32_t height) {
    reach_ = {sizes_.height, sizes_.heightStride, height};
    const auto outHeight = static_cast<std::int32_t>(reach_.outHeight());
    // As many as a block can hold; the ring may still fit where these sums do not.
    constexpr std::int64_t most = TensorData<T>::largestCapacity;
    if (channels_ == 0 || ChannelsOf(outHeight) == 0 ||
        HistoryLength() > most / (std::int64_t{channels_} * outHeight) ||
        !columns_.Resize(height, sizes_.inChannels, sizes_.heightStride)) {
        return;
    }
    sums_.Resize({static_cast<std::int32_t>(HistoryLength()), channels_, outHeight});
    // Touches the block's pages now, as the ring does, and not in the frames to come.
    sums_.Zero();
    Reset();
}

template <class T>
void ColumnSums<T>::Reset() {
    isActive_ = sums_.volume() > 0;
    nextFrame_ = 0;
}

template <class T>
void ColumnSums<T>::AddFrame(const T* frame, std::int64_t index) {
    if (!isActive_ || index != nextFrame_) {
        Stop();
        return;
    }
    ++nextFrame_;
    FindRows(index);
    SeedRows(RowsOfTap(0));
    if (index < timeDilation_) {
        AddSilence();
    }
    columns_.Turn(frame);
    AddColumns({0, rows_.data(), rows_.size()});
}

/** Tap 0 belongs to the output frame that is furthest ahead. */
template <class T>
void ColumnSums<T>::FindRows(std::int64_t index) {
    const std::int64_t outHeight = reach_.outHeight();
    T* const* const end = rows_.data() + rows_.size();
    std::int64_t outFrame = index + HistoryLength() - 1;
    for (T** row = rows_.data(); row != end; outFrame -= timeDilation_) {
        T* sums = sums_.data() + outFrame % HistoryLength() * channels_ * outHeight;
        for (std::int32_t channel = 0; channel < channels_; ++channel) {
            *row++ = sums;
            sums += outHeight;
        }
    }
}

/** The bias, or zeros. */
template <class T>
void ColumnSums<T>::SeedRows(T* const* rows) {
    const std::int64_t firstChannel = sizes_.outChannels - channels_;
    const auto outHeight = static_cast<std::int32_t>(reach_.outHeight());
    for (std::int64_t channel = 0; channel < channels_; ++channel) {
        const T bias = bias_.volume() > 0 ? bias_.readData()[firstChannel + channel] : T(0);
        checkedCall(outHeight, [&] { return ippsSet_32f(bias, rows[channel], outHeight); });
    }
}

/** What the older taps of the first frames meet. Each row has one tap more of it than the last. */
template <class T>
void ColumnSums<T>::AddSilence() {
    columns_.Clear();
    const auto rowVolume = static_cast<std::int32_t>(channels_ * reach_.outHeight());
    for (std::int32_t tap = 1; tap < sizes_.frames; ++tap) {
        copySamples<T>(*RowsOfTap(tap - 1), *RowsOfTap(tap), rowVolume);
        AddColumns({std::int64_t{tap - 1} * channels_, RowsOfTap(tap),
                    static_cast<std::size_t>(channels_)});
    }
}

template <class T>
void ColumnSums<T>::AddColumns(const Part& part) {
    const IndexRange whole = reach_.binsInside();
    const auto addOneByOne = [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t bin = begin; bin < end; ++bin) {
            AddProducts(part, {bin, bin + 1}, reach_.kernelBinsInside(bin));
        }
    };
    addOneByOne(0, whole.begin);
    if (!whole.isEmpty()) {
        AddProducts(part, whole, {0, sizes_.height});
    }
    addOneByOne(whole.end, reach_.outHeight());
}

template <class T>
void ColumnSums<T>::AddProducts(const Part& part, IndexRange bins, IndexRange kernelBins) {
    for (std::size_t i = 0; i < part.count; ++i) {
        places_[i] = part.rows[i] + bins.begin;
    }
    const std::int64_t place = (reach_.position(bins.begin) + kernelBins.begin) * sizes_.inChannels;
    ColumnProducts products{};
    products.columns = columns_.readData() + place / columns_.count();
    products.pitch = columns_.pitch();
    products.weightStride = std::int64_t{sizes_.frames} * channels_;
    products.weights = weights_.readData() + part.firstWeight +
                       kernelBins.begin * sizes_.inChannels * products.weightStride;
    products.out = places_.data();
    products.outStride = 1;
    products.columnCount = columns_.count();
    products.firstColumn = static_cast<std::int32_t>(place % columns_.count());
    products.run = static_cast<std::int32_t>(kernelBins.size() * sizes_.inChannels);
    products.bins = static_cast<std::int32_t>(bins.size());
    products.channels = static_cast<std::int32_t>(part.count);
    checkedCall(products.run, [&] { return addColumnProducts(products); });
}

template <class T>
void ColumnSums<T>::CopyResult(std::int64_t index, T* out) const {
    const auto outHeight = static_cast<std::int32_t>(reach_.outHeight());
    const std::int32_t count = channels_ * outHeight;
    checkedCall(count, [&] {
        return transposeBins(sums_.readData() + index % HistoryLength() * count, count, outHeight,
                             out + sizes_.outChannels - channels_, sizes_.outChannels);
    });
}

template class ColumnSums<float>;

}  // namespace vorun
