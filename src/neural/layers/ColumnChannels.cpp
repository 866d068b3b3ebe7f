#include "neural/layers/ColumnChannels.h"

#include <algorithm>
#include <cstddef>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

std::vector<BinRange> enteredBins(const ConvReach& reach) {
    std::vector<BinRange> entered;
    for (std::int64_t kernelBin = 0; kernelBin < reach.kernelHeight; ++kernelBin) {
        const IndexRange bins = reach.binsThatMeet({kernelBin, kernelBin + 1});
        entered.push_back(
            {static_cast<std::int32_t>(bins.begin), static_cast<std::int32_t>(bins.end)});
    }
    return entered;
}

template <class T>
std::vector<T> lastOfBias(const Tensor<T>& bias, std::int32_t outChannels, std::int32_t channels) {
    std::vector<T> values(static_cast<std::size_t>(channels));
    if (bias.volume() > 0) {
        std::copy_n(bias.readData() + outChannels - channels, channels, values.begin());
    }
    return values;
}

template <class T>
void writeLastChannels(const T* sums, std::int32_t channels, std::int32_t bins, T* out,
                       std::int32_t outChannels) {
    const std::int32_t count = channels * bins;
    checkedCall(count, [&] {
        return transposeBins(sums, count, bins, out + outChannels - channels, outChannels);
    });
}

template std::vector<float> lastOfBias(const Tensor<float>& bias, std::int32_t outChannels,
                                       std::int32_t channels);
template void writeLastChannels(const float* sums, std::int32_t channels, std::int32_t bins,
                                float* out, std::int32_t outChannels);

}  // namespace vorun
