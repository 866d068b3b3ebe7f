#include "neural/layers/PreNormLayer.h"

#include <cmath>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"
#include "neural/TensorReader.h"
#include "neural/layers/FrameShape.h"

namespace vorun {
namespace {

/** Keeps the gain of silence finite. */
constexpr float levelFloor = 1e-12f;

/** Root mean square of the values; 0 for none. */
float levelOf(const float* values, std::int32_t count) {
    float norm = 0.0f;
    checkedCall(count, [&] { return ippsNorm_L2_32f(values, count, &norm); });
    return count > 0 ? norm / std::sqrt(static_cast<float>(count)) : 0.0f;
}

float dotProduct(const float* a, const float* b, std::int32_t count) {
    float sum = 0.0f;
    checkedCall(count, [&] { return ippsDotProd_32f(a, b, count, &sum); });
    return sum;
}

}  // namespace

template <class T>
PreNormLayer<T>::PreNormLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version)
    : BaseLayer<T>(layers, reader, fileType), weights_(ReadTensor<T>(reader, version)) {
    stateLength_ = weights_.dim(0);
    if (stateLength_ < 1 || weights_.volume() < stateLength_) {
        throw std::runtime_error("level window has no length or too few weights");
    }
    levels_.Resize({stateLength_});
    levels_.Zero();
}

template <class T>
bool PreNormLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    const FrameShape shape = frameShapeOf(input);
    reshapeForFrames(input, output_);
    levels_.MakeUnique();
    const std::int32_t count = shape.frameVolume;
    for (std::int64_t i = 0; i < shape.frames; ++i) {
        const T* frame = input.readData() + i * count;
        StoreLevel(levelOf(frame, count));
        const T gain = GainOfWindow();
        T* out = output_.data() + i * count;
        checkedCall(count, [&] { return ippsMulC_32f(frame, gain, out, count); });
        ++frameCounter_;
    }
    return this->PropagateToConsumers(output_, this);
}

template <class T>
void PreNormLayer<T>::StoreLevel(T level) {
    if (frameCounter_ == 0) {
        checkedCall(stateLength_, [&] { return ippsSet_32f(level, levels_.data(), stateLength_); });
        return;
    }
    levels_.data()[frameCounter_ % stateLength_] = level;
}

/** The ring in two pieces: from the current frame's level to its end, and from its start. */
template <class T>
T PreNormLayer<T>::GainOfWindow() const {
    const auto current = static_cast<std::int32_t>(frameCounter_ % stateLength_);
    const std::int32_t untilEnd = stateLength_ - current;
    const T* weights = weights_.readData();
    const T toEnd = dotProduct(weights, levels_.readData() + current, untilEnd);
    const T fromStart = dotProduct(weights + untilEnd, levels_.readData(), current);
    return 1.0f / ((fromStart + toEnd) + levelFloor);
}

template <class T>
void PreNormLayer<T>::ResetState() {
    frameCounter_ = 0;
    levels_.Zero();
}

template class PreNormLayer<float>;

}  // namespace vorun
