#include "neural/layers/NormLayer.h"

#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"

namespace vorun {

template <class T>
NormLayer<T>::NormLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType) {
    offset_ = ReadTensor<T>(reader, version);
    scale_ = ReadTensor<T>(reader, version);
}

template <class T>
bool NormLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const FrameShape shape = frameShapeOf(input);
    reshapeForFrames(input, output_);
    if (shape.hasValues()) {
        RequireValues(shape);
        const std::int32_t channels = shape.channels;
        const std::int64_t count = std::int64_t{shape.frames} * shape.frameVolume;
        for (std::int64_t row = 0; row < count; row += channels) {
            const T* inRow = input.readData() + row;
            T* outRow = output_.data() + row;
            checkedCall(channels,
                        [&] { return ippsMul_32f(inRow, scale_.readData(), outRow, channels); });
            checkedCall(channels,
                        [&] { return ippsAdd_32f(outRow, offset_.readData(), outRow, channels); });
        }
    }
    return this->PropagateToConsumers(output_, this);
}

/** The file's tensors are not compared with any shape when they are loaded. */
template <class T>
void NormLayer<T>::RequireValues(const FrameShape& shape) const {
    if (scale_.volume() < shape.channels || offset_.volume() < shape.channels) {
        throw std::runtime_error("norm has fewer values than the input has channels");
    }
}

template class NormLayer<float>;

}  // namespace vorun
