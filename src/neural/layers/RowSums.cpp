#include "neural/layers/RowSums.h"

#include <cstddef>
#include <limits>

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
    FindRows(rows);
    const auto channels = static_cast<std::int32_t>(out_.size());
    ColumnProducts products{};
    products.columns = columns_.data();
    products.pitch = height;
    products.weights = weights_.readData() + sizes_.outChannels - channels;
    products.tapStride = std::int64_t{sizes_.height} * sizes_.outChannels;
    products.weightStride = sizes_.outChannels;
    products.sums = out_.data();
    products.out = out_.data();
    products.outStride = 1;
    products.start = start_.data();
    products.entered = entered_.data();
    products.taps = sizes_.frames;
    products.columnCount = 1;
    products.groups = sizes_.height;
    products.group = 1;
    products.bins = height;
    products.channels = channels;
    products.started = channels;
    checkedCall(channels, [&] { return addColumnProducts(products); });
    writeLastChannels(sums_.readData(), channels, height, out, sizes_.outChannels);
}

template <class T>
void RowSums<T>::Prepare(std::int32_t height) {
    reach_ = {sizes_.height, 1, height};
    entered_ = enteredBins(reach_);
    sums_.Resize({static_cast<std::int32_t>(out_.size()), height});
}

template <class T>
void RowSums<T>::FindRows(const std::vector<const T*>& rows) {
    for (std::size_t tap = 0; tap < columns_.size(); ++tap) {
        columns_[tap] = rows[tap] + reach_.position(0);
    }
    T* sums = sums_.data();
    for (T*& row : out_) {
        row = sums;
        sums += reach_.height;
    }
}

template class RowSums<float>;

}  // namespace vorun
