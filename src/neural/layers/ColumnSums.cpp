#include "neural/layers/ColumnSums.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/layers/FloorDivide.h"
#include "neural/layers/RowSums.h"

namespace vorun {
namespace {

constexpr std::int32_t anyHeight = std::numeric_limits<std::int32_t>::max();

}  // namespace

template <class T>
ColumnSums<T>::ColumnSums(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes,
                          std::int32_t timeDilation)
    : sizes_(sizes), timeDilation_(timeDilation) {
    // Without a dilation all taps would meet in one row. Rows that are columns need none of this.
    const bool hasRows =
        weights.volume() > 0 && (sizes.frames == 1 || timeDilation > 0) && !RowSums<T>::suit(sizes);
    channels_ = hasRows ? ChannelsOf(anyHeight) : 0;
    if (channels_ > 0) {
        PackWeights(weights);
        rows_.resize(static_cast<std::size_t>(sizes.frames) * static_cast<std::size_t>(channels_));
        out_.resize(rows_.size());
        start_ = lastOfBias(bias, sizes.outChannels, channels_);
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
    entered_ = enteredBins(reach_);
    SetProducts();
    // Last: with sums it counts as started.
    sums_.Resize({static_cast<std::int32_t>(HistoryLength()), channels_, outHeight});
    // Touches the block's pages now, as the ring does, and not in the frames to come.
    sums_.Zero();
    Reset();
}

/** What all frames have in common. */
template <class T>
void ColumnSums<T>::SetProducts() {
    const std::int64_t columns = columns_.count();
    const std::int64_t place = reach_.position(0) * sizes_.inChannels;
    columnShift_ = floorDivide(place, columns);
    products_ = {};
    products_.pitch = columns_.pitch();
    products_.weightStride = std::int64_t{sizes_.frames} * channels_;
    products_.outStride = 1;
    products_.start = start_.data();
    products_.entered = entered_.data();
    products_.taps = 1;
    products_.columnCount = columns_.count();
    products_.firstColumn = static_cast<std::int32_t>(place - columnShift_ * columns);
    products_.groups = sizes_.height;
    products_.group = sizes_.inChannels;
    products_.bins = static_cast<std::int32_t>(reach_.outHeight());
}

template <class T>
void ColumnSums<T>::Reset() {
    isActive_ = sums_.volume() > 0;
    nextFrame_ = 0;
    ringRow_ = 0;
}

template <class T>
bool ColumnSums<T>::Accepts(std::int64_t index) {
    isActive_ = isActive_ && index == nextFrame_;
    return isActive_;
}

template <class T>
void ColumnSums<T>::AddFrame(const T* frame, T* out) {
    FindRows();
    if (sizes_.frames > 1 && nextFrame_ < timeDilation_) {
        AddSilence();
    }
    // The newest tap is the last that an output frame was waiting for. A channel that is alone has
    // its bins side by side in the output, too.
    const bool isAlone = sizes_.outChannels == 1 && out != nullptr;
    if (isAlone) {
        out_.back() = out;
    }
    AddColumns({columns_.Turn(frame), 0, rows_.data(), out_.data(),
                static_cast<std::int32_t>(rows_.size()), channels_});
    if (out != nullptr && !isAlone) {
        writeLastChannels(*RowsOfTap(sizes_.frames - 1), channels_,
                          static_cast<std::int32_t>(reach_.outHeight()), out, sizes_.outChannels);
    }
    ++nextFrame_;
    ringRow_ = ringRow_ + 1 < HistoryLength() ? ringRow_ + 1 : 0;
}

/** Tap 0 belongs to the output frame that is furthest ahead. */
template <class T>
void ColumnSums<T>::FindRows() {
    const std::int64_t outHeight = reach_.outHeight();
    std::int64_t ringRow = (ringRow_ > 0 ? ringRow_ : HistoryLength()) - 1;
    std::size_t row = 0;
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        T* sums = sums_.data() + ringRow * channels_ * outHeight;
        for (std::int32_t channel = 0; channel < channels_; ++channel) {
            rows_[row] = sums;
            out_[row++] = sums;
            sums += outHeight;
        }
        ringRow -= timeDilation_;
        ringRow += ringRow < 0 ? HistoryLength() : 0;
    }
}

/** What the older taps of the first frames meet. Each row has one tap more of it than the last. */
template <class T>
void ColumnSums<T>::AddSilence() {
    const T* const silence = columns_.Silence();
    SeedRows(RowsOfTap(0));
    const auto rowVolume = static_cast<std::int32_t>(channels_ * reach_.outHeight());
    for (std::int32_t tap = 1; tap < sizes_.frames; ++tap) {
        copySamples<T>(*RowsOfTap(tap - 1), *RowsOfTap(tap), rowVolume);
        AddColumns({silence, std::int64_t{tap - 1} * channels_, RowsOfTap(tap), RowsOfTap(tap),
                    channels_, 0});
    }
}

/** The bias, or zeros. */
template <class T>
void ColumnSums<T>::SeedRows(T* const* rows) {
    const auto outHeight = static_cast<std::int32_t>(reach_.outHeight());
    for (std::size_t channel = 0; channel < start_.size(); ++channel) {
        checkedCall(outHeight,
                    [&] { return ippsSet_32f(start_[channel], rows[channel], outHeight); });
    }
}

template <class T>
void ColumnSums<T>::AddColumns(const Part& part) {
    firstColumn_ = part.columns + columnShift_;
    products_.columns = &firstColumn_;
    products_.weights = weights_.readData() + part.firstWeight;
    products_.sums = part.sums;
    products_.out = part.out;
    products_.channels = part.count;
    products_.started = part.started;
    checkedCall(products_.group, [&] { return addColumnProducts(products_); });
}

template class ColumnSums<float>;

}  // namespace vorun
