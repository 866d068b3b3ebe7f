#include "neural/layers/TransposedWeights.h"

#include <algorithm>

namespace vorun {

template <class T>
TransposedWeights<T>::TransposedWeights(const Tensor<T>& weights, const TransposedSizes& sizes,
                                        std::int32_t narrowChannels)
    : sizes_(sizes),
      wideChannels_(sizes.outChannels - narrowChannels),
      narrowChannels_(narrowChannels) {
    wide_.Resize({sizes.frames, sizes.height, sizes.inChannels, wideChannels_});
    narrow_.Resize({sizes.height, sizes.inChannels, sizes.frames, narrowChannels});
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        PackTap(weights.readData() + tap * sizes_.height * BinVolume(), tap);
    }
}

template <class T>
typename TransposedWeights<T>::Part TransposedWeights<T>::Wide(std::int32_t tap) const {
    // A depthwise kernel has one row of weights a bin, over the input channels.
    const std::int32_t channels = sizes_.depthwise ? sizes_.inChannels : wideChannels_;
    const std::int64_t tapStride = std::int64_t{sizes_.height} * sizes_.inChannels * wideChannels_;
    return {wide_.readData() + tap * tapStride, channels, tapStride, 0, channels};
}

template <class T>
typename TransposedWeights<T>::Part TransposedWeights<T>::Narrow(std::int32_t tap) const {
    const std::int64_t tapStride = narrowChannels_;
    return {narrow_.readData() + tap * tapStride, sizes_.frames * tapStride, tapStride,
            wideChannels_, narrowChannels_};
}

template <class T>
void TransposedWeights<T>::PackTap(const T* kernel, std::int32_t tap) {
    const Part wide = Wide(tap);
    const Part narrow = Narrow(tap);
    T* toWide = wide_.data() + (wide.weights - wide_.readData());
    T* toNarrow = narrow_.data() + (narrow.weights - narrow_.readData());
    const TransposedReach reach(sizes_);
    for (std::int32_t phase = 0; phase < reach.phases(); ++phase) {
        for (std::int32_t i = reach.binsOfPhase(phase) - 1; i >= 0; --i) {
            const std::int64_t bin = phase + std::int64_t{i} * sizes_.heightStride;
            toWide = PackBin(kernel + bin * BinVolume(), wide, toWide);
            if (!sizes_.depthwise) {
                toNarrow = PackBin(kernel + bin * BinVolume(), narrow, toNarrow);
            }
        }
    }
}

template <class T>
T* TransposedWeights<T>::PackBin(const T* bin, const Part& part, T* packed) const {
    const std::int64_t inChannels = sizes_.inChannels;
    if (sizes_.depthwise) {
        return std::copy_n(bin, inChannels, packed);
    }
    for (std::int64_t in = 0; in < inChannels; ++in) {
        for (std::int64_t out = 0; out < part.channels; ++out) {
            packed[out] = bin[(part.firstChannel + out) * inChannels + in];
        }
        packed += part.weightStride;
    }
    return packed;
}

template class TransposedWeights<float>;

}  // namespace vorun
