#pragma once

#include <cstdint>

namespace vorun {

/** Of a transposed convolution's kernel: weights [frames, height, outChannels, inChannels]. */
struct TransposedSizes {
    std::int32_t frames = 0;
    std::int32_t height = 0;
    std::int32_t outChannels = 0;
    std::int32_t inChannels = 0;
    /** At least 1. */
    std::int32_t heightStride = 1;
    /** Each output channel is fed by the input channel of the same number alone. */
    bool depthwise = false;

    /** Output channels that the kernel feeds. */
    std::int32_t fedChannels() const { return depthwise ? inChannels : outChannels; }
};

}  // namespace vorun
