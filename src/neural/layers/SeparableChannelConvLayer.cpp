#include "neural/layers/SeparableChannelConvLayer.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {
namespace {

/** The number that the class was given within the program; that of its record is one above. */
constexpr std::int32_t storedLayerType = 14;

template <class T>
std::int32_t requireTaps(const Tensor<T>& kernel) {
    const std::int32_t taps = kernel.dim(0);
    if (taps < 1 || kernel.volume() < taps) {
        throw std::runtime_error("separable convolution kernel has no values for its taps");
    }
    return taps;
}

}  // namespace

template <class T>
SeparableChannelConvLayer<T>::SeparableChannelConvLayer(LayerMap<T>& layers, ModelReader& reader,
                                                        std::int32_t version)
    : BaseLayer<T>(layers, reader, storedLayerType) {
    timeKernel_ = ReadTensor<T>(reader, version);
    heightKernel_ = ReadTensor<T>(reader, version);
    timeTaps_ = requireTaps(timeKernel_);
    heightTaps_ = requireTaps(heightKernel_);
}

template <class T>
bool SeparableChannelConvLayer<T>::AddTensor(const Tensor<T>& input,
                                             const BaseLayer<T>* /*source*/) {
    const FrameShape shape = frameShapeOf(input);
    Prepare(shape);
    bool reachedOutput = false;
    for (std::int64_t i = 0; i < shape.frames; ++i) {
        output_.MakeUnique();
        if (shape.hasValues()) {
            StoreFrame(input.readData() + i * shape.frameVolume, shape);
            FilterTime(shape);
            FilterHeight(shape);
        }
        if (IsWarm()) {
            reachedOutput = this->PropagateToConsumers(output_, this) || reachedOutput;
        }
        ++frameCounter_;
    }
    return reachedOutput;
}

template <class T>
void SeparableChannelConvLayer<T>::Prepare(const FrameShape& shape) {
    if (history_.volume() == 0) {
        history_.Resize({timeTaps_, shape.height, shape.channels});
        history_.Zero();
    }
    // The time filter reads every row, the last one too, behind which the block ends.
    if (shape.frameVolume > history_.volume() / timeTaps_) {
        throw std::runtime_error("separable convolution frame is larger than its history");
    }
    smoothed_.Resize({1, shape.height, shape.channels});
    output_.Resize({1, shape.height, shape.channels});
    smoothed_.MakeUnique();
    history_.MakeUnique();
}

/** A frame smaller than the first leaves the rest of its row as it was. */
template <class T>
void SeparableChannelConvLayer<T>::StoreFrame(const T* frame, const FrameShape& shape) {
    copySamples<T>(frame, RingRow(frameCounter_ % timeTaps_), shape.frameVolume);
}

template <class T>
T* SeparableChannelConvLayer<T>::RingRow(std::int64_t row) {
    return history_.data() + row * history_.dim(1) * history_.dim(2);
}

template <class T>
void SeparableChannelConvLayer<T>::FilterTime(const FrameShape& shape) {
    const std::int32_t count = shape.frameVolume;
    T* sum = smoothed_.data();
    for (std::int32_t tap = 0; tap < timeTaps_; ++tap) {
        const T* row = RingRow((frameCounter_ - 1 + timeTaps_ - tap) % timeTaps_);
        const T weight = timeKernel_.readData()[tap];
        checkedCall(count, [&] {
            return tap == 0 ? ippsMulC_32f(row, weight, sum, count)
                            : ippsAddProductC_32f(row, weight, sum, count);
        });
    }
}

template <class T>
void SeparableChannelConvLayer<T>::FilterHeight(const FrameShape& shape) {
    const std::int32_t count = shape.frameVolume;
    const std::int32_t half = (heightTaps_ - 1) / 2;
    checkedCall(count, [&] {
        return ippsMulC_32f(smoothed_.readData(), heightKernel_.readData()[half], output_.data(),
                            count);
    });
    for (std::int32_t tap = 0; tap < heightTaps_; ++tap) {
        if (tap != half) {
            AddHeightTap(tap, std::int64_t{tap} - half, shape);
        }
    }
}

/** Adds smoothed[b - offset] to output[b], for the bins of which both are inside. */
template <class T>
void SeparableChannelConvLayer<T>::AddHeightTap(std::int32_t tap, std::int64_t offset,
                                                const FrameShape& shape) {
    const std::int64_t skipped = std::abs(offset) * shape.channels;
    if (skipped >= shape.frameVolume) {
        return;
    }
    const auto count = static_cast<std::int32_t>(shape.frameVolume - skipped);
    const T* from = smoothed_.readData() + (offset < 0 ? skipped : 0);
    T* to = output_.data() + (offset > 0 ? skipped : 0);
    checkedCall(
        count, [&] { return ippsAddProductC_32f(from, heightKernel_.readData()[tap], to, count); });
}

template <class T>
void SeparableChannelConvLayer<T>::ResetState() {
    history_.Zero();
    frameCounter_ = 0;
    smoothed_ = Tensor<T>();
}

template class SeparableChannelConvLayer<float>;

}  // namespace vorun
