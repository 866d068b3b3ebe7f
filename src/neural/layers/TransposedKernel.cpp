#include "neural/layers/TransposedKernel.h"

#include <algorithm>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {
namespace {

/** Rounds towards minus infinity; `divisor` is positive. */
std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value >= 0 ? value / divisor : -((divisor - 1 - value) / divisor);
}

}  // namespace

template <class T>
TransposedKernel<T>::TransposedKernel(const Tensor<T>& weights, const Sizes& sizes)
    : sizes_(sizes), packed_(weights.shape()) {
    const std::int64_t tapVolume = sizes_.height * BinVolume();
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        const T* kernel = weights.readData() + tap * tapVolume;
        T* packed = packed_.data() + tap * tapVolume;
        for (std::int32_t phase = 0; phase < std::min(sizes_.heightStride, sizes_.height);
             ++phase) {
            PackPhase(kernel, phase, packed);
            packed += BinsOfPhase(phase) * BinVolume();
        }
    }
}

template <class T>
std::int32_t TransposedKernel<T>::BinsOfPhase(std::int32_t phase) const {
    return phase >= sizes_.height ? 0 : (sizes_.height - 1 - phase) / sizes_.heightStride + 1;
}

template <class T>
void TransposedKernel<T>::PackPhase(const T* kernel, std::int32_t phase, T* packed) const {
    for (std::int32_t i = BinsOfPhase(phase) - 1; i >= 0; --i) {
        const std::int64_t bin = phase + std::int64_t{i} * sizes_.heightStride;
        PackBin(kernel + bin * BinVolume(), packed);
        packed += BinVolume();
    }
}

/** Output channels become the inner ones, as many of which a register takes at once. */
template <class T>
void TransposedKernel<T>::PackBin(const T* bin, T* packed) const {
    const std::int64_t inChannels = sizes_.inChannels;
    const std::int64_t outChannels = sizes_.outChannels;
    for (std::int64_t in = 0; in < inChannels; ++in) {
        for (std::int64_t out = 0; out < outChannels; ++out) {
            packed[in * outChannels + out] = bin[out * inChannels + in];
        }
    }
}

template <class T>
void TransposedKernel<T>::AddTap(std::int32_t tap, const T* frame, std::int32_t height,
                                 const Row& row) const {
    const T* kernel = packed_.readData() + tap * sizes_.height * BinVolume();
    for (std::int32_t phase = 0; phase < std::min(sizes_.heightStride, sizes_.height); ++phase) {
        AddPhase(kernel, phase, frame, height, row);
        kernel += BinsOfPhase(phase) * BinVolume();
    }
}

/**
 * Output bins of one phase are numbered by the last input bin that reaches them. Those at both ends
 * meet fewer input bins than there are bins of the kernel.
 */
template <class T>
void TransposedKernel<T>::AddPhase(const T* kernel, std::int32_t phase, const T* frame,
                                   std::int32_t height, const Row& row) const {
    const std::int64_t stride = sizes_.heightStride;
    const std::int64_t reach = BinsOfPhase(phase) - 1;
    const std::int64_t start = FirstPosition() + phase;
    const std::int64_t first = std::max<std::int64_t>(0, floorDivide(-start + stride - 1, stride));
    const std::int64_t end =
        std::min(height + reach, floorDivide(row.height - 1 - start, stride) + 1);
    RunProducts products{};
    products.rows = &frame;
    products.taps = 1;
    products.outStride = stride * row.channels;
    products.binStride = sizes_.inChannels;
    products.channels = sizes_.depthwise ? sizes_.inChannels : sizes_.outChannels;
    for (std::int64_t last = first; last < end;) {
        const std::int64_t from = std::max<std::int64_t>(0, last - reach);
        const std::int64_t to = std::min<std::int64_t>(last, height - 1);
        // All whose kernel lies inside the input go together.
        const bool isWhole = last >= reach && last < height;
        const std::int64_t bins = isWhole ? std::min<std::int64_t>(height, end) - last : 1;
        const T* const x = frame + from * sizes_.inChannels;
        products.rows = &x;
        products.weights = kernel + (from - (last - reach)) * BinVolume();
        products.out = row.values + (start + last * stride) * row.channels;
        products.bins = static_cast<std::int32_t>(bins);
        const std::int64_t met = to - from + 1;
        if (sizes_.depthwise) {
            products.run = static_cast<std::int32_t>(met);
            checkedCall(products.channels, [&] { return addChannelProducts(products); });
        } else {
            products.run = static_cast<std::int32_t>(met * sizes_.inChannels);
            checkedCall(std::min(products.run, products.channels),
                        [&] { return addRunProducts(products); });
        }
        last += bins;
    }
}

template class TransposedKernel<float>;

}  // namespace vorun
