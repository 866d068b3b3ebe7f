#include "neural/layers/RowSums.h"

#include <cstddef>
#include <limits>
#include <utility>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

template <class T>
RowSums<T>::RowSums(const Tensor<T>& weights, const Tensor<T>& bias, const ConvSizes& sizes)
    : sizes_(sizes), weights_(weights) {
    const std::int32_t channels = ChannelsOf(std::numeric_limits<std::int32_t>::max());
    start_ = lastOfBias(bias, sizes.outChannels, channels);
    columns_.resize(static_cast<std::size_t>(sizes.frames));
    out_.resize(start_.size());
}

template <class T>
std::int32_t RowSums<T>::ChannelsOf(std::int32_t height) const {
    // No sum is loaded or stored on the way.
    constexpr std::int64_t endless = std::int64_t{1} << 20;
    return columnChannels(sizes_.outChannels, endless, height);
}

template <class T>
void RowSums<T>::Sum(const std::vector<const T*>& rows, std::int32_t height, T* out) {
    if (height != reach_.height) {
        Prepare(height);
    }
    for (std::size_t tap = 0; tap < columns_.size(); ++tap) {
        columns_[tap] = rows[tap] + reach_.position(0);
    }
    checkedCall(products_.channels, [&] { return addColumnProducts(products_); });
    writeLastChannels(sums_.readData(), products_.channels, height, out, sizes_.outChannels);
}

/** What all frames of a height have in common. */
template <class T>
void RowSums<T>::Prepare(std::int32_t height) {
    const auto channels = static_cast<std::int32_t>(out_.size());
    const ConvReach reach{sizes_.height, 1, height};
    // What may be refused comes before anything changes.
    std::vector<BinRange> entered = enteredBins(reach);
    sums_.Resize({channels, height});
    entered_ = std::move(entered);
    T* sums = sums_.data();
    for (T*& row : out_) {
        row = sums;
        sums += height;
    }
    products_ = {};
    products_.columns = columns_.data();
    products_.pitch = height;
    products_.weights = weights_.readData() + sizes_.outChannels - channels;
    products_.tapStride = std::int64_t{sizes_.height} * sizes_.outChannels;
    products_.weightStride = sizes_.outChannels;
    products_.sums = out_.data();
    products_.out = out_.data();
    products_.outStride = 1;
    products_.start = start_.data();
    products_.entered = entered_.data();
    products_.taps = sizes_.frames;
    products_.columnCount = 1;
    products_.groups = sizes_.height;
    products_.group = 1;
    products_.bins = height;
    products_.channels = channels;
    products_.started = channels;
    reach_ = reach;
}

template class RowSums<float>;

}  // namespace vorun
