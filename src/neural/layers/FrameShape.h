#pragma once

#include <cstdint>
#include <stdexcept>

#include "neural/Tensor.h"

namespace vorun {

/** An input as the layers that walk it frame by frame read it. */
struct FrameShape {
    std::int32_t frames = 0;
    std::int32_t height = 0;
    std::int32_t channels = 0;
    /** Values of one frame, height * channels; 0 where there is no frame. */
    std::int32_t frameVolume = 0;

    bool hasValues() const { return frameVolume > 0; }
};

/**
 * The first three dimensions. Throws std::runtime_error for rank 1 and 2, and where a dimension
 * behind them leaves the input without the values that they promise.
 */
template <class T>
FrameShape frameShapeOf(const Tensor<T>& input) {
    FrameShape shape{input.dim(0), input.dim(1), input.dim(2), 0};
    if (shape.frames == 0) {
        return shape;
    }
    const std::int64_t frameVolume = std::int64_t{shape.height} * shape.channels;
    if (frameVolume > input.volume() / shape.frames) {
        throw std::runtime_error("tensor has fewer values than its frames");
    }
    shape.frameVolume = static_cast<std::int32_t>(frameVolume);
    return shape;
}

/**
 * Gives the layer's own tensor the input's shape and no other owner. The values of the frames are
 * whatever they were; those that a fourth dimension adds behind them are zero.
 */
template <class T>
void reshapeForFrames(const Tensor<T>& input, Tensor<T>& own) {
    own.Resize(input.shape());
    own.MakeUnique();
    if (input.rank() > 3) {
        own.Zero();
    }
}

}  // namespace vorun
