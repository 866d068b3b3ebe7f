#include "neural/layers/SelfAttentionLayer.h"

#include <algorithm>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {
namespace {

constexpr std::int32_t firstVersionWithWindow = 4103;

void require(bool condition, const char* text) {
    if (!condition) {
        throw std::runtime_error(text);
    }
}

}  // namespace

template <class T>
SelfAttentionLayer<T>::SelfAttentionLayer(LayerMap<T>& layers, ModelReader& reader,
                                          std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType) {
    projection_ = ReadTensor<T>(reader, version);
    projectionBias_ = ReadTensor<T>(reader, version);
    if (version >= firstVersionWithWindow) {
        lookahead_ = reader.ReadInt8();
        attentionWeights_ = ReadTensor<T>(reader, version);
    }
    if (HasWindow()) {
        historyLength_ = attentionWeights_.dim(0);
        require(attentionWeights_.volume() > 0 && historyLength_ >= 1,
                "attention window without a length");
        // The block of the weights has a value for each frame at least, or no frame will pass.
        windowRows_.resize(
            static_cast<std::size_t>(std::min(historyLength_, attentionWeights_.volume())));
    }
}

template <class T>
bool SelfAttentionLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const FrameShape shape = frameShapeOf(input);
    RequireValues(shape);
    PrepareOutput(input, shape);
    if (HasWindow()) {
        PrepareHistory(shape);
    }
    bool reachedOutput = false;
    for (std::int64_t i = 0; i < shape.frames; ++i) {
        if (shape.hasValues()) {
            const std::int64_t offset = i * shape.frameVolume;
            ComputeFrame(input.readData() + offset, shape, output_.data() + offset);
        }
        if (lookahead_ > 0 && frameCounter_ >= lookahead_) {
            reachedOutput = this->PropagateToConsumers(output_, this) || reachedOutput;
        }
        ++frameCounter_;
    }
    return lookahead_ == 0 ? this->PropagateToConsumers(output_, this) : reachedOutput;
}

/** Everything that the frames ahead take for granted, before any of them changes the ring. */
template <class T>
void SelfAttentionLayer<T>::RequireValues(const FrameShape& shape) const {
    require(lookahead_ <= 0 || shape.frames <= 1,
            "attention with a look-ahead takes one frame at a time");
    if (shape.hasValues()) {
        require(projectionBias_.volume() >= shape.frameVolume,
                "attention bias is too short for the input");
        require(projection_.volume() >= std::int64_t{shape.channels} * shape.channels,
                "attention projection is too small for the input");
    }
    if (HasWindow()) {
        // Holds for an input without frames too, whose shape sizes the ring all the same.
        require(attentionWeights_.volume() >= std::int64_t{historyLength_} * shape.channels,
                "attention weights are too few for the input");
        require(history_.volume() == 0 || shape.frameVolume <= filtered_.volume(),
                "attention frame is larger than its history");
    }
}

template <class T>
void SelfAttentionLayer<T>::PrepareOutput(const Tensor<T>& input, const FrameShape& shape) {
    if (lookahead_ > 0) {
        output_.Resize({1, shape.height, shape.channels});
        output_.MakeUnique();
    } else {
        reshapeForFrames(input, output_);
    }
}

template <class T>
void SelfAttentionLayer<T>::PrepareHistory(const FrameShape& shape) {
    if (history_.volume() == 0) {
        // First, so that a ring never stands without the scratch row that goes with it.
        filtered_.Resize({shape.height, shape.channels});
        history_.Resize({historyLength_, shape.height, shape.channels});
        history_.Zero();
    }
    history_.MakeUnique();
}

template <class T>
void SelfAttentionLayer<T>::ComputeFrame(const T* frame, const FrameShape& shape, T* out) {
    copySamples<T>(projectionBias_.readData(), out, shape.frameVolume);
    if (HasWindow()) {
        FilterFrame(frame, shape);
        Project(filtered_.readData(), shape, out);
    } else {
        Project(frame, shape, out);
    }
}

/**
 * Stores the frame, then sums the ring from its oldest row to the current one. A frame smaller than
 * the first leaves the rest of its row as it was.
 */
template <class T>
void SelfAttentionLayer<T>::FilterFrame(const T* frame, const FrameShape& shape) {
    filtered_.Zero();
    const std::int64_t rowStride = std::int64_t{history_.dim(1)} * history_.dim(2);
    const std::int64_t slot = frameCounter_ % historyLength_;
    copySamples<T>(frame, history_.data() + slot * rowStride, shape.frameVolume);
    for (std::int64_t j = 0; j < historyLength_; ++j) {
        const std::int64_t row = (frameCounter_ + j + 1) % historyLength_;
        windowRows_[static_cast<std::size_t>(j)] = history_.readData() + row * rowStride;
    }
    ChannelProducts products{};
    products.rows = windowRows_.data();
    products.weights = attentionWeights_.readData();
    products.tapStride = shape.channels;
    products.weightStride = shape.channels;
    products.binStride = shape.channels;
    products.outStride = shape.channels;
    products.out = filtered_.data();
    products.taps = historyLength_;
    products.run = 1;
    products.bins = shape.height;
    products.channels = shape.channels;
    checkedCall(shape.frameVolume, [&] { return addChannelProducts(products); });
}

template <class T>
void SelfAttentionLayer<T>::Project(const T* source, const FrameShape& shape, T* out) const {
    RunProducts products{};
    products.rows = &source;
    products.weights = projection_.readData();
    products.weightStride = shape.channels;
    products.binStride = shape.channels;
    products.outStride = shape.channels;
    products.out = out;
    products.taps = 1;
    products.run = shape.channels;
    products.bins = shape.height;
    products.channels = shape.channels;
    checkedCall(shape.frameVolume, [&] { return addRunProducts(products); });
}

template <class T>
void SelfAttentionLayer<T>::ResetState() {
    history_.Zero();
    frameCounter_ = 0;
}

template <class T>
std::int32_t SelfAttentionLayer<T>::GetLatency(std::int32_t scale) {
    return latencyFrames(std::int64_t{BaseLayer<T>::GetLatency(scale)} + lookahead_);
}

template class SelfAttentionLayer<float>;

}  // namespace vorun
