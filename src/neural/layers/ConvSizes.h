#pragma once

#include <cstdint>

namespace vorun {

/** Of a convolution's kernel: weights [frames, height, inChannels, outChannels]. */
struct ConvSizes {
    std::int32_t frames = 0;
    std::int32_t height = 0;
    std::int32_t inChannels = 0;
    std::int32_t outChannels = 0;
    std::int32_t heightStride = 1;
};

}  // namespace vorun
