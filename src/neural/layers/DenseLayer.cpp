#include "neural/layers/DenseLayer.h"

#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {

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
        for (std::int64_t frame = 0; frame < shape.frames; ++frame) {
            const std::int64_t offset = frame * shape.frameVolume;
            T* out = output_.data() + offset;
            MixBins(input.readData() + offset, shape, out);
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

template <class T>
void DenseLayer<T>::MixBins(const T* frame, const FrameShape& shape, T* out) const {
    const std::int64_t channels = shape.channels;
    const T* weightRow = weights_.readData();
    for (std::int64_t outBin = 0; outBin < shape.height; ++outBin) {
        T* outRow = out + outBin * channels;
        for (std::int64_t inBin = 0; inBin < shape.height; ++inBin) {
            const T* inRow = frame + inBin * channels;
            checkedCall(shape.channels, [&] {
                return ippsAddProduct_32f(inRow, weightRow, outRow, shape.channels);
            });
            weightRow += channels;
        }
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
