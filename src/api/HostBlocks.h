#pragma once

#include <cstdint>

#include "audio/Signal32.h"

namespace vorun {

/*
 * Samples between a host's buffers and signals. Planar buffers are one pointer for each channel;
 * interleaved ones hold the channels of one sample side by side. A count of 0 or below moves
 * nothing and touches no buffer.
 */

Signal32 fromPlanar(const float* const* channels, std::int32_t numChannels,
                    std::int32_t numSamples);

/** Undoes fromPlanar(). Throws std::runtime_error if the block is smaller than what is asked for.
 */
void toPlanar(const Signal32& block, float* const* channels, std::int32_t numChannels,
              std::int32_t numSamples);

Signal32 fromInterleaved(const float* samples, std::int32_t numChannels, std::int32_t numSamples);

/** Undoes fromInterleaved(). Throws as toPlanar() does. */
void toInterleaved(const Signal32& block, float* samples, std::int32_t numChannels,
                   std::int32_t numSamples);

}  // namespace vorun
