#include "neural/layers/NormLayer.h"

#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
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
        const std::int32_t bins = shape.frames * shape.height;
        T* const out = output_.data();
        checkedCall(bins, [&] {
            return multiplyBinsByRow(scale_.readData(), channels, input.readData(), out, bins);
        });
        checkedCall(bins,
                    [&] { return addRowToBins(offset_.readData(), channels, out, out, bins); });
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
