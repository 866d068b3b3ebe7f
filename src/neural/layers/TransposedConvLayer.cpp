#include "neural/layers/TransposedConvLayer.h"

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

constexpr std::int32_t firstVersionWithOutChannels = 4104;

void require(bool condition, const char* text) {
    if (!condition) {
        throw std::runtime_error(text);
    }
}

}  // namespace

template <class T>
TransposedConvLayer<T>::TransposedConvLayer(LayerMap<T>& layers, ModelReader& reader,
                                            std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType), pending_(this->graph()) {
    ReadRecord(reader, version);
    CheckSizes();
    ChargeUnbackedSizes(reader);
    if (weights_.volume() > 0) {
        ArrangeWeights();
    }
    // A stride of 0 gives frames without bins, which no later layer widens again.
    this->ChangeRates({1.0 * timeStride_, 1.0 * std::max(heightStride_, 1)});
}

template <class T>
void TransposedConvLayer<T>::ReadRecord(ModelReader& reader, std::int32_t version) {
    weights_ = ReadTensor<T>(reader, version);
    bias_ = ReadTensor<T>(reader, version);
    kernelFrames_ = weights_.dim(0);
    kernelHeight_ = weights_.dim(1);
    kernelOutChannels_ = weights_.dim(2);
    kernelInChannels_ = weights_.dim(3);
    outChannels_ = version >= firstVersionWithOutChannels ? reader.ReadInt16() : kernelOutChannels_;
    timeStride_ = reader.ReadInt8();
    heightStride_ = reader.ReadInt8();
    timeDilation_ = reader.ReadInt8();
    reservedParameter_ = reader.ReadInt8();
    lookahead_ = reader.ReadInt8();
    historyLength_ = std::max(kernelFrames_, timeStride_);
}

/** Everything that the frame path takes for granted about the record. */
template <class T>
void TransposedConvLayer<T>::CheckSizes() const {
    require(timeStride_ >= 1, "transposed convolution time stride is below 1");
    require(heightStride_ >= 0, "transposed convolution height stride is negative");
    require(outChannels_ >= 0, "transposed convolution has a negative number of channels");
    const std::int32_t volume = checkedVolume(weights_.shape());
    // Dimensions beyond the fourth are no part of the kernel, but it must stay inside the block.
    const std::span<const std::int32_t> kernel(weights_.shape());
    require(checkedVolume(kernel.first(std::min<std::size_t>(4, kernel.size()))) <= volume,
            "transposed convolution weights have no block");
    require((IsDepthwise() ? kernelInChannels_ : kernelOutChannels_) <= outChannels_,
            "transposed convolution kernel has more channels than the output");
    require(bias_.volume() == 0 || bias_.volume() >= outChannels_,
            "transposed convolution bias is too short");
}

/** The ring and the output are sized by numbers that need not have any values behind them. */
template <class T>
void TransposedConvLayer<T>::ChargeUnbackedSizes(ModelReader& reader) const {
    constexpr std::int64_t elementBytes = sizeof(T);
    const bool hasKernel = weights_.volume() > 0;
    const std::int32_t kernelChannels = IsDepthwise() ? kernelInChannels_ : kernelOutChannels_;
    const bool hasChannels = (hasKernel && kernelChannels >= outChannels_) || bias_.volume() > 0;
    if (!hasChannels) {
        reader.ChargeUnbackedBytes(outChannels_ * elementBytes);
    }
    if (!hasKernel) {
        constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / elementBytes;
        const std::int64_t ring = std::int64_t{kernelFrames_} * std::max(outChannels_, 1);
        reader.ChargeUnbackedBytes(std::min(ring, most) * elementBytes);
    }
}

template <class T>
void TransposedConvLayer<T>::ArrangeWeights() {
    const TransposedSizes sizes{kernelFrames_,
                                kernelHeight_,
                                kernelOutChannels_,
                                kernelInChannels_,
                                std::max(heightStride_, 1),
                                IsDepthwise()};
    const bool gathers =
        heightStride_ > 0 && TransposedGather<T>::suits(sizes, timeStride_, outChannels_);
    constexpr std::int32_t anyHeight = std::numeric_limits<std::int32_t>::max();
    const TransposedWeights<T> arranged(
        weights_, sizes,
        gathers ? TransposedGather<T>::narrowChannels(sizes)
                : TransposedKernel<T>::narrowChannels(sizes, anyHeight));
    if (gathers) {
        gather_ = TransposedGather<T>(arranged, bias_, sizes, timeStride_);
    }
    // Beside the other one, the ring serves irregular streams alone.
    kernel_ = TransposedKernel<T>(arranged, sizes, !gathers);
    tapRows_.resize(static_cast<std::size_t>(kernelFrames_));
}

template <class T>
bool TransposedConvLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const std::int32_t frames = input.dim(0);
    bool reachedOutput = false;
    for (std::int32_t i = 0; i < frames; ++i) {
        reachedOutput = TakeFrame(FrameOf(input, i), input.dim(1)) || reachedOutput;
    }
    return reachedOutput;
}

/** Values are taken as kernelInChannels to a bin, whatever the shape says. */
template <class T>
const T* TransposedConvLayer<T>::FrameOf(const Tensor<T>& input, std::int32_t frame) const {
    require(input.dim(1) >= 0, "transposed convolution of a negative height");
    const std::int64_t volume = std::int64_t{input.dim(1)} * kernelInChannels_;
    const std::int64_t offset = frame * volume;
    require(offset + volume <= input.volume() || volume == 0,
            "transposed convolution reads beyond its input");
    return volume > 0 ? input.readData() + offset : nullptr;
}

template <class T>
bool TransposedConvLayer<T>::TakeFrame(const T* frame, std::int32_t height) {
    const std::int64_t wideHeight = std::int64_t{height} * heightStride_;
    const std::int64_t rowLength = wideHeight * outChannels_;
    require(std::max(wideHeight, rowLength) <= std::numeric_limits<std::int32_t>::max(),
            "transposed convolution output is too large");
    const auto outHeight = static_cast<std::int32_t>(wideHeight);
    PrepareHistory(height, outHeight);
    RequireInsideRing(rowLength);
    if (gather_.isActive() && gather_.height() != height) {
        ContinueInRing();
    }
    if (gather_.isActive()) {
        GatherFrame(frame, outHeight);
    } else {
        AddFrame(frame, height);
        ReleaseRows(outHeight);
        EmptyReleasedRows(static_cast<std::int32_t>(rowLength));
    }
    const bool isAlone = IsAlone();
    frameCounter_ += timeStride_;
    return isAlone ? this->PropagateToConsumers(output_, this) : DeliverPending();
}

template <class T>
void TransposedConvLayer<T>::GatherFrame(const T* frame, std::int32_t outHeight) {
    gather_.SetFrame(frame);
    try {
        ReleaseRows(outHeight);
    } catch (...) {
        // The ring keeps the sums of a frame that could not be released whole.
        const std::int32_t height = gather_.height();
        ContinueInRing();
        AddFrame(frame, height);
        throw;
    }
    gather_.CompleteFrame();
}

/** Puts into the ring what the frames so far would have left there. */
template <class T>
void TransposedConvLayer<T>::ContinueInRing() {
    const std::int32_t height = gather_.height();
    const std::int64_t now = frameCounter_;
    for (std::int32_t back = gather_.remembered(); back > 0; --back) {
        frameCounter_ = now - std::int64_t{back} * timeStride_;
        gather_.CopyRemembered(back, frame_.data());
        AddFrame(frame_.readData(), height);
        EmptyReleasedRows(height * heightStride_ * outChannels_);
    }
    frameCounter_ = now;
    gather_.Stop();
}

/** Tap 0 lands on the earliest output frame that is still open. */
template <class T>
void TransposedConvLayer<T>::AddFrame(const T* frame, std::int32_t height) {
    if (weights_.volume() == 0) {
        return;
    }
    for (std::size_t tap = 0; tap < tapRows_.size(); ++tap) {
        tapRows_[tap] = RingRow(static_cast<std::int64_t>(tap) + frameCounter_);
    }
    const std::int32_t outHeight = height * heightStride_;
    kernel_.AddFrame(frame, height,
                     {tapRows_.data(), outHeight, outChannels_, outHeight <= history_.dim(1)});
}

template <class T>
void TransposedConvLayer<T>::PrepareHistory(std::int32_t height, std::int32_t outHeight) {
    if (history_.volume() == 0) {
        gather_.Start(height);
        if (gather_.isActive()) {
            frame_.Resize({1, height, kernelInChannels_});
        }
        history_.Resize({historyLength_, outHeight, outChannels_});
        history_.Zero();
    }
    history_.MakeUnique();
}

/**
 * A frame of more bins than the first spills into the rows behind its own, but not beyond the
 * block. All rows are touched but for those that no tap reaches before the first release.
 */
template <class T>
void TransposedConvLayer<T>::RequireInsideRing(std::int64_t rowLength) const {
    const bool tapsOnly = kernelFrames_ < timeStride_ && ReadyFrames() == 0;
    const std::int64_t rowsTouched = tapsOnly ? kernelFrames_ : historyLength_;
    const std::int64_t rowStride = std::int64_t{history_.dim(1)} * outChannels_;
    require(rowsTouched == 0 || (rowsTouched - 1) * rowStride + rowLength <= history_.volume(),
            "transposed convolution frame is larger than its history");
}

template <class T>
T* TransposedConvLayer<T>::RingRow(std::int64_t outputFrame) {
    const std::int64_t rowStride = std::int64_t{history_.dim(1)} * outChannels_;
    return history_.data() + (outputFrame % historyLength_) * rowStride;
}

/** Until the stream has run past the look-ahead, a frame releases fewer rows or none. */
template <class T>
std::int32_t TransposedConvLayer<T>::ReadyFrames() const {
    const std::int64_t ready = frameCounter_ - lookahead_ + timeStride_;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(ready, 0, timeStride_));
}

/** Whether just one frame is to go out, which then needs no queue. */
template <class T>
bool TransposedConvLayer<T>::IsAlone() const {
    return ReadyFrames() == 1 && pending_.empty();
}

template <class T>
void TransposedConvLayer<T>::ReleaseRows(std::int32_t outHeight) {
    const std::int32_t ready = ReadyFrames();
    if (ready == 0) {
        return;
    }
    output_.Resize({1, outHeight, outChannels_});
    for (std::int32_t i = timeStride_ - ready; i < timeStride_; ++i) {
        // A frame in the queue shares the block, so that each that follows takes one of its own.
        output_.MakeUnique();
        if (output_.volume() > 0) {
            WriteOutput(i, outHeight);
        }
        if (!IsAlone()) {
            pending_.Push(output_);
        }
    }
}

/** The bias enters here, never in the ring: rows that no tap reaches come out with it. */
template <class T>
void TransposedConvLayer<T>::WriteOutput(std::int32_t index, std::int32_t outHeight) {
    if (gather_.isActive()) {
        gather_.Write(index, output_.data());
        return;
    }
    const T* const row = RingRow(index + frameCounter_);
    if (bias_.volume() == 0) {
        copySamples<T>(row, output_.data(), output_.volume());
        return;
    }
    checkedCall(output_.volume(), [&] {
        return addRowToBins(bias_.readData(), outChannels_, row, output_.data(), outHeight);
    });
}

/** Rows that the look-ahead held back are emptied all the same: those frames are lost. */
template <class T>
void TransposedConvLayer<T>::EmptyReleasedRows(std::int32_t rowLength) {
    if (kernelFrames_ <= timeStride_) {
        history_.Zero();
        return;
    }
    // The rows at kernelFrames and beyond are those at 0 and beyond, around the ring.
    for (std::int64_t i = 0; i < timeStride_; ++i) {
        zeroFloats(RingRow(i + kernelFrames_ + frameCounter_), rowLength);
    }
}

/**
 * Stops at the first frame that reaches an output layer. A frame leaves the queue before it is
 * handed on, so that one that raises does not come back for ever.
 */
template <class T>
bool TransposedConvLayer<T>::DeliverPending() {
    while (!pending_.empty()) {
        const Tensor<T> oldest = pending_.Pop();
        if (this->PropagateToConsumers(oldest, this)) {
            return true;
        }
    }
    return false;
}

template <class T>
void TransposedConvLayer<T>::SkipFrame() {
    DeliverPending();
    BaseLayer<T>::SkipFrame();
}

template <class T>
void TransposedConvLayer<T>::ResetState() {
    history_.Zero();
    gather_.Reset();
    pending_.Clear();
    frameCounter_ = 0;
}

template <class T>
std::int32_t TransposedConvLayer<T>::GetLatency(std::int32_t scale) {
    const std::int64_t behind = BaseLayer<T>::GetLatency(scale / timeStride_);
    return latencyFrames(behind + std::int64_t{scale} * lookahead_);
}

template class TransposedConvLayer<float>;

}  // namespace vorun
