#include "neural/layers/ConvLayer.h"

#include <algorithm>
#include <limits>
#include <span>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {
namespace {

void requireRecord(bool condition, const char* text) {
    if (!condition) {
        throw std::runtime_error(text);
    }
}

/** Each value in `repeat` adjacent elements of the target. */
template <class T>
void repeatValues(const T* source, std::int32_t count, std::int32_t repeat, T* target) {
    for (std::int32_t i = 0; i < count; ++i) {
        checkedCall(repeat, [&] { return ippsSet_32f(source[i], target, repeat); });
        target += repeat;
    }
}

}  // namespace

template <class T>
ConvLayer<T>::ConvLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType) {
    ReadRecord(reader, version);
    DeriveSizes();
    CheckSizes();
    ChargeUnbackedSizes(reader);
    this->ChangeRates({1.0 / timeStride_, 1.0 / heightStride_});
    if (weights_.volume() > 0) {
        tapRows_.resize(static_cast<std::size_t>(kernelFrames_));
        runRows_.resize(static_cast<std::size_t>(kernelFrames_));
    }
}

template <class T>
void ConvLayer<T>::ReadRecord(ModelReader& reader, std::int32_t version) {
    weights_ = ReadTensor<T>(reader, version);
    bias_ = ReadTensor<T>(reader, version);
    timeStride_ = reader.ReadInt8();
    heightStride_ = reader.ReadInt8();
    timeDilation_ = reader.ReadInt8();
    reservedParameter_ = reader.ReadInt8();
    lookahead_ = reader.ReadInt8();
}

template <class T>
void ConvLayer<T>::DeriveSizes() {
    kernelFrames_ = weights_.dim(0);
    kernelHeight_ = weights_.dim(1);
    kernelInChannels_ = weights_.dim(2);
    kernelOutChannels_ = weights_.dim(3);
    const std::int64_t length = (std::int64_t{kernelFrames_} - 1) * timeDilation_ + 1;
    requireRecord(length >= 1, "convolution without a history row");
    requireRecord(length <= std::numeric_limits<std::int32_t>::max(),
                  "convolution history is too long");
    historyLength_ = static_cast<std::int32_t>(length);
}

/** Everything that the frame path takes for granted about the record. */
template <class T>
void ConvLayer<T>::CheckSizes() const {
    requireRecord(timeStride_ >= 1 && heightStride_ >= 1, "convolution stride is below 1");
    const std::int32_t volume = checkedVolume(weights_.shape());
    // Dimensions beyond the fourth are no part of the kernel, but it must stay inside the block.
    const std::span<const std::int32_t> kernel(weights_.shape());
    requireRecord(checkedVolume(kernel.first(std::min<std::size_t>(4, kernel.size()))) <= volume,
                  "convolution weights have no block");
    requireRecord(bias_.volume() == 0 || bias_.volume() >= kernelOutChannels_,
                  "convolution bias is too short");
}

/** Without values behind it, a kernel's shape alone would size the history and the output. */
template <class T>
void ConvLayer<T>::ChargeUnbackedSizes(ModelReader& reader) const {
    if (weights_.volume() == 0) {
        constexpr std::int64_t elementBytes = sizeof(T);
        constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / elementBytes;
        // The rows of a depthwise ring hold the output channels.
        const std::int64_t ring = std::int64_t{historyLength_} * std::max(kernelOutChannels_, 1);
        reader.ChargeUnbackedBytes(std::min(ring, most) * elementBytes);
    }
}

template <class T>
bool ConvLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t frames = input.dim(0);
    const std::int32_t channels = input.dim(2);
    if (frames > 0 && channels == 0) {
        throw std::runtime_error("convolution of frames without channels");
    }
    const std::int32_t rowChannels = IsDepthwise(channels) ? kernelOutChannels_ : channels;
    PrepareHistory(input.dim(1), rowChannels);
    bool reachedOutput = false;
    for (std::int32_t i = 0; i < frames; ++i) {
        StoreFrame(input, i, rowChannels);
        reachedOutput = ConvolveFrame(channels) || reachedOutput;
        ++frameCounter_;
    }
    return reachedOutput;
}

template <class T>
void ConvLayer<T>::PrepareHistory(std::int32_t height, std::int32_t rowChannels) {
    if (history_.volume() == 0) {
        history_.Resize({historyLength_, height, rowChannels});
        history_.Zero();
    }
    history_.MakeUnique();
}

template <class T>
void ConvLayer<T>::StoreFrame(const Tensor<T>& input, std::int32_t frame,
                              std::int32_t rowChannels) {
    const std::int32_t channels = input.dim(2);
    const std::int32_t repeat = rowChannels / channels;
    if (repeat > 1) {
        // Reads the first frame of the input whatever `frame` is: models feed depthwise
        // convolutions one frame at a time.
        const std::int64_t count = std::int64_t{input.dim(1)} * channels;
        T* row = RingRow(count * repeat);
        repeatValues(input.readData(), static_cast<std::int32_t>(count), repeat, row);
        return;
    }
    const std::int64_t rowLength = std::int64_t{input.dim(1)} * rowChannels;
    T* row = RingRow(rowLength);
    const std::int64_t offset = frame * rowLength;
    if (offset + rowLength > input.volume()) {
        throw std::runtime_error("convolution reads beyond its input");
    }
    if (rowLength > 0) {
        copySamples<T>(input.readData() + offset, row, static_cast<std::int32_t>(rowLength));
    }
}

/**
 * The row of the current frame. An input of another height than the first can spill into the rows
 * behind it, but not beyond the block.
 */
template <class T>
T* ConvLayer<T>::RingRow(std::int64_t writtenCount) {
    const std::int64_t rowStride = std::int64_t{history_.dim(1)} * history_.dim(2);
    const std::int64_t start = (frameCounter_ % historyLength_) * rowStride;
    if (start + writtenCount > history_.volume()) {
        throw std::runtime_error("convolution frame is larger than its history");
    }
    return history_.data() + start;
}

template <class T>
bool ConvLayer<T>::ConvolveFrame(std::int32_t channels) {
    if (IsSwallowed()) {
        BaseLayer<T>::SkipFrame();
        return false;
    }
    const Plane plane = MakePlane(channels);
    output_.Resize({1, plane.outHeight, kernelOutChannels_});
    output_.MakeUnique();
    SeedRows(plane.outHeight);
    if (weights_.volume() > 0) {
        AddTaps(plane);
    }
    return this->PropagateToConsumers(output_, this);
}

template <class T>
void ConvLayer<T>::AddTaps(const Plane& plane) {
    const std::int64_t rowStride = std::int64_t{plane.height} * plane.rowChannels;
    for (std::int64_t tap = 0; tap < kernelFrames_; ++tap) {
        const std::int64_t row = (tap * timeDilation_ + frameCounter_ + 1) % historyLength_;
        tapRows_[static_cast<std::size_t>(tap)] = history_.readData() + row * rowStride;
    }
    if (plane.rowChannels == (plane.depthwise ? kernelOutChannels_ : kernelInChannels_)) {
        AddRuns(plane);
    } else {
        AddKernelBins(plane);
    }
}

/** The remainder is that of signed division, and counts before the look-ahead has passed too. */
template <class T>
bool ConvLayer<T>::IsSwallowed() const {
    return (frameCounter_ - lookahead_) % timeStride_ != 0 || frameCounter_ < lookahead_;
}

template <class T>
typename ConvLayer<T>::Plane ConvLayer<T>::MakePlane(std::int32_t channels) const {
    const Plane plane{history_.dim(1), history_.dim(2), history_.dim(1) / heightStride_,
                      IsDepthwise(channels)};
    if (plane.depthwise && plane.rowChannels > kernelOutChannels_) {
        throw std::runtime_error("depthwise convolution has more channels than its kernel");
    }
    if (!plane.depthwise && plane.rowChannels < kernelInChannels_) {
        throw std::runtime_error("convolution has fewer channels than its kernel");
    }
    return plane;
}

template <class T>
void ConvLayer<T>::SeedRows(std::int32_t outHeight) {
    if (bias_.volume() == 0) {
        zeroFloats(output_.data(), output_.volume());
        return;
    }
    checkedCall(output_.volume(), [&] {
        return repeatRow(bias_.readData(), kernelOutChannels_, output_.data(), outHeight);
    });
}

/**
 * Where a ring bin holds just what the kernel takes of it, neighbouring bins of the ring and of the
 * kernel are one run. The kernel lies inside the input for all bins but some at both ends, whose
 * runs are shorter.
 */
template <class T>
void ConvLayer<T>::AddRuns(const Plane& plane) {
    const std::int64_t start = FirstPosition();
    // Rounded up, the first bin at or beyond position 0; then the first whose kernel hangs over.
    const std::int64_t wholeFrom =
        (std::max<std::int64_t>(0, -start) + heightStride_ - 1) / heightStride_;
    const std::int64_t room = plane.height - kernelHeight_ - start;
    const std::int64_t wholeTo = room < 0 ? 0 : room / heightStride_ + 1;
    const std::int64_t from = std::min<std::int64_t>(wholeFrom, plane.outHeight);
    const std::int64_t to = std::clamp<std::int64_t>(wholeTo, from, plane.outHeight);
    for (std::int64_t bin = 0; bin < from; ++bin) {
        AddRun(plane, bin, 1);
    }
    AddRun(plane, from, to - from);
    for (std::int64_t bin = to; bin < plane.outHeight; ++bin) {
        AddRun(plane, bin, 1);
    }
}

/** Bins whose kernels have the same part inside the input. */
template <class T>
void ConvLayer<T>::AddRun(const Plane& plane, std::int64_t bin, std::int64_t bins) {
    const std::int64_t position = FirstPosition() + bin * heightStride_;
    const std::int64_t first = std::max<std::int64_t>(0, -position);
    const std::int64_t end = std::min<std::int64_t>(kernelHeight_, plane.height - position);
    if (bins > 0 && first < end) {
        AddProducts(plane, {position + first, first, end - first, bin, bins, 0, kernelFrames_});
    }
}

/** One bin of the kernel after the other, each over all output bins that it meets inside. */
template <class T>
void ConvLayer<T>::AddKernelBins(const Plane& plane) {
    for (std::int64_t tap = 0; tap < kernelFrames_; ++tap) {
        for (std::int64_t kernelBin = 0; kernelBin < kernelHeight_; ++kernelBin) {
            const std::int64_t start = FirstPosition() + kernelBin;
            const std::int64_t bin =
                (std::max<std::int64_t>(0, -start) + heightStride_ - 1) / heightStride_;
            const std::int64_t room = plane.height - 1 - start;
            const std::int64_t end =
                room < 0 ? 0 : std::min<std::int64_t>(plane.outHeight, room / heightStride_ + 1);
            if (bin < end) {
                AddProducts(plane,
                            {start + bin * heightStride_, kernelBin, 1, bin, end - bin, tap, 1});
            }
        }
    }
}

template <class T>
void ConvLayer<T>::AddProducts(const Plane& plane, const Stretch& stretch) {
    const std::int64_t binWeights = std::int64_t{kernelInChannels_} * kernelOutChannels_;
    for (std::int64_t tap = stretch.tap; tap < stretch.tap + stretch.taps; ++tap) {
        const auto index = static_cast<std::size_t>(tap);
        runRows_[index] = tapRows_[index] + stretch.position * plane.rowChannels;
    }
    const std::int64_t tapStride = kernelHeight_ * binWeights;
    RunProducts products{};
    products.rows = runRows_.data() + stretch.tap;
    products.weights =
        weights_.readData() + stretch.tap * tapStride + stretch.kernelBin * binWeights;
    products.tapStride = tapStride;
    products.binStride = std::int64_t{heightStride_} * plane.rowChannels;
    products.outStride = kernelOutChannels_;
    products.out = output_.data() + stretch.bin * kernelOutChannels_;
    products.taps = static_cast<std::int32_t>(stretch.taps);
    products.bins = static_cast<std::int32_t>(stretch.bins);
    if (plane.depthwise) {
        products.run = static_cast<std::int32_t>(stretch.kernelBins);
        products.channels = plane.rowChannels;
        checkedCall(products.channels, [&] { return addChannelProducts(products); });
    } else {
        products.run = static_cast<std::int32_t>(stretch.kernelBins * kernelInChannels_);
        products.channels = kernelOutChannels_;
        checkedCall(std::min(products.run, products.channels),
                    [&] { return addRunProducts(products); });
    }
}

template <class T>
void ConvLayer<T>::ResetState() {
    history_.Zero();
    frameCounter_ = 0;
}

template <class T>
std::int32_t ConvLayer<T>::GetLatency(std::int32_t scale) {
    const std::int64_t slowed = std::int64_t{scale} * timeStride_;
    const std::int64_t behind = BaseLayer<T>::GetLatency(latencyFrames(slowed));
    return latencyFrames(behind + std::int64_t{scale} * lookahead_);
}

template class ConvLayer<float>;

}  // namespace vorun
