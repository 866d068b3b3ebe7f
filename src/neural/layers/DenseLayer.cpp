#include "neural/layers/DenseLayer.h"

#include <stdexcept>
#include <vector>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {
namespace {

/** Below this, channels alone would leave most of a register empty. */
constexpr std::int32_t fewChannels = 8;

}  // namespace

template <class T>
DenseLayer<T>::DenseLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType) {
    weights_ = ReadTensor<T>(reader, version);
    bias_ = ReadTensor<T>(reader, version);
}

template <class T>
bool DenseLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const FrameShape shape = frameShapeOf(input);
    output_.Resize(input.shape());
    output_.Zero();
    if (shape.hasValues()) {
        RequireValues(shape);
        PackWeights(shape);
        for (std::int64_t frame = 0; frame < shape.frames; ++frame) {
            const std::int64_t offset = frame * shape.frameVolume;
            T* out = output_.data() + offset;
            if (shape.channels < fewChannels) {
                MixByChannel(input.readData() + offset, shape, out);
            } else {
                MixByBin(input.readData() + offset, shape, out);
            }
            AddBias(out, shape.frameVolume);
        }
    }
    return this->PropagateToConsumers(output_, this);
}

/** The file's tensors are not compared with any shape when they are loaded. */
template <class T>
void DenseLayer<T>::RequireValues(const FrameShape& shape) const {
    if (weights_.volume() < std::int64_t{shape.height} * shape.frameVolume) {
        throw std::runtime_error("dense weights are too few for the input");
    }
    if (bias_.volume() != 0 && bias_.volume() < shape.frameVolume) {
        throw std::runtime_error("dense bias is too short for the input");
    }
}

/** Only the frames tell how the flat weights are cut, so that the first one of a size pays. */
template <class T>
void DenseLayer<T>::PackWeights(const FrameShape& shape) {
    const std::vector<std::int32_t> wanted = {shape.channels, shape.height, shape.height};
    if (shape.channels >= fewChannels || packed_.shape() == wanted) {
        return;
    }
    packed_.Resize(wanted);
    column_.Resize({shape.height});
    sums_.Resize({shape.height});
    const std::int64_t height = shape.height;
    const T* weights = weights_.readData();
    for (std::int64_t outBin = 0; outBin < height; ++outBin) {
        for (std::int64_t inBin = 0; inBin < height; ++inBin) {
            for (std::int64_t channel = 0; channel < shape.channels; ++channel) {
                packed_.data()[(channel * height + inBin) * height + outBin] = *weights++;
            }
        }
    }
}

/** Channels fill a register: one output bin after the other. */
template <class T>
void DenseLayer<T>::MixByBin(const T* frame, const FrameShape& shape, T* out) const {
    ChannelProducts products{};
    products.rows = &frame;
    products.weights = weights_.readData();
    products.weightStride = shape.channels;
    products.out = out;
    products.taps = 1;
    products.run = shape.height;
    products.bins = 1;
    products.channels = shape.channels;
    for (std::int32_t outBin = 0; outBin < shape.height; ++outBin) {
        checkedCall(shape.frameVolume, [&] { return addChannelProducts(products); });
        products.weights += shape.frameVolume;
        products.out += shape.channels;
    }
}

/** Few channels: each alone, over all output bins at once. */
template <class T>
void DenseLayer<T>::MixByChannel(const T* frame, const FrameShape& shape, T* out) {
    const std::int64_t channels = shape.channels;
    const T* column = column_.readData();
    RunProducts products{};
    products.rows = &column;
    products.weights = packed_.readData();
    products.weightStride = shape.height;
    products.out = sums_.data();
    products.taps = 1;
    products.run = shape.height;
    products.bins = 1;
    products.channels = shape.height;
    for (std::int64_t channel = 0; channel < channels; ++channel) {
        for (std::int64_t bin = 0; bin < shape.height; ++bin) {
            column_.data()[bin] = frame[bin * channels + channel];
        }
        zeroFloats(sums_.data(), shape.height);
        checkedCall(shape.height, [&] { return addRunProducts(products); });
        for (std::int64_t bin = 0; bin < shape.height; ++bin) {
            out[bin * channels + channel] = sums_.readData()[bin];
        }
        products.weights += std::int64_t{shape.height} * shape.height;
    }
}

template <class T>
void DenseLayer<T>::AddBias(T* out, std::int32_t count) const {
    if (bias_.volume() != 0) {
        checkedCall(count, [&] { return ippsAdd_32f(bias_.readData(), out, out, count); });
    }
}

template class DenseLayer<float>;

}  // namespace vorun
