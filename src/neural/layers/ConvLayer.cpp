#include "neural/layers/ConvLayer.h"

#include <algorithm>
#include <limits>
#include <span>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
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
    const ConvSizes sizes{kernelFrames_, kernelHeight_, kernelInChannels_, kernelOutChannels_,
                          heightStride_};
    kernel_ = ConvKernel<T>(weights_, bias_, sizes);
    if (timeStride_ == 1) {
        columnSums_ = ColumnSums<T>(weights_, bias_, sizes, timeDilation_);
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
        if (!FillsRow(input)) {
            columnSums_.Stop();
        }
        reachedOutput = ConvolveFrame(input, i) || reachedOutput;
        ++frameCounter_;
        ringRow_ = ringRow_ + 1 < historyLength_ ? ringRow_ + 1 : 0;
    }
    return reachedOutput;
}

template <class T>
void ConvLayer<T>::PrepareHistory(std::int32_t height, std::int32_t rowChannels) {
    if (history_.volume() == 0) {
        history_.Resize({historyLength_, height, rowChannels});
        history_.Zero();
        if (rowChannels == kernelInChannels_ && frameCounter_ == 0) {
            columnSums_.Start(height);
        }
    }
    history_.MakeUnique();
}

template <class T>
void ConvLayer<T>::StoreFrame(const Tensor<T>& input, std::int32_t frame,
                              std::int32_t rowChannels) {
    const std::int32_t channels = input.dim(2);
    if (rowChannels > channels && rowChannels / channels > 1) {
        const std::int32_t repeat = rowChannels / channels;
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
    const std::int64_t start = ringRow_ * rowStride;
    if (start + writtenCount > history_.volume()) {
        throw std::runtime_error("convolution frame is larger than its history");
    }
    return history_.data() + start;
}

/** Only frames that fill just their row of the ring are what sums by column take them for. */
template <class T>
bool ConvLayer<T>::FillsRow(const Tensor<T>& input) const {
    return input.dim(1) == history_.dim(1) && input.dim(2) == kernelInChannels_;
}

template <class T>
bool ConvLayer<T>::ConvolveFrame(const Tensor<T>& input, std::int32_t frame) {
    const bool isSwallowed = IsSwallowed();
    const bool byColumn = columnSums_.Accepts(frameCounter_);
    if (!isSwallowed) {
        PrepareOutput(input.dim(2));
        SumOverRing(IsDepthwise(input.dim(2)));
    }
    if (byColumn) {
        const std::int64_t volume = std::int64_t{input.dim(1)} * input.dim(2);
        columnSums_.AddFrame(input.readData() + frame * volume,
                             isSwallowed ? nullptr : output_.data());
    }
    if (isSwallowed) {
        BaseLayer<T>::SkipFrame();
        return false;
    }
    return this->PropagateToConsumers(output_, this);
}

template <class T>
void ConvLayer<T>::PrepareOutput(std::int32_t channels) {
    CheckChannels(IsDepthwise(channels));
    const std::int32_t height = history_.dim(1);
    const std::int32_t outHeight = heightStride_ == 1 ? height : height / heightStride_;
    output_.Resize({1, outHeight, kernelOutChannels_});
    output_.MakeUnique();
}

/** The channels that meet the rows of the ring; the others may hold anything afterwards. */
template <class T>
void ConvLayer<T>::SumOverRing(bool isDepthwise) {
    const std::int32_t channels = kernelOutChannels_ - columnSums_.channels();
    if (output_.volume() > 0 && channels > 0) {
        SetRows();
        kernel_.Convolve({history_.dim(1), history_.dim(2), isDepthwise, channels, output_.data()});
    }
}

template <class T>
void ConvLayer<T>::CheckChannels(bool isDepthwise) const {
    if (isDepthwise && history_.dim(2) > kernelOutChannels_) {
        throw std::runtime_error("depthwise convolution has more channels than its kernel");
    }
    if (!isDepthwise && history_.dim(2) < kernelInChannels_) {
        throw std::runtime_error("convolution has fewer channels than its kernel");
    }
}

template <class T>
void ConvLayer<T>::SetRows() {
    const std::int64_t rowStride = std::int64_t{history_.dim(1)} * history_.dim(2);
    const std::int32_t taps = weights_.volume() > 0 ? kernelFrames_ : 0;
    for (std::int32_t tap = 0; tap < taps; ++tap) {
        const std::int64_t behind = std::int64_t{kernelFrames_ - 1 - tap} * timeDilation_;
        const std::int64_t row = ringRow_ - behind + (behind > ringRow_ ? historyLength_ : 0);
        kernel_.SetRow(tap, history_.readData() + row * rowStride);
    }
}

template <class T>
bool ConvLayer<T>::IsSwallowed() const {
    return frameCounter_ < lookahead_ ||
           (timeStride_ > 1 && (frameCounter_ - lookahead_) % timeStride_ != 0);
}

template <class T>
void ConvLayer<T>::ResetState() {
    history_.Zero();
    columnSums_.Reset();
    frameCounter_ = 0;
    ringRow_ = 0;
}

template <class T>
std::int32_t ConvLayer<T>::GetLatency(std::int32_t scale) {
    const std::int64_t slowed = std::int64_t{scale} * timeStride_;
    const std::int64_t behind = BaseLayer<T>::GetLatency(latencyFrames(slowed));
    return latencyFrames(behind + std::int64_t{scale} * lookahead_);
}

template class ConvLayer<float>;

}  // namespace vorun
