#include "api/HostBlocks.h"

#include <cstddef>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

/** The loops over interleaved samples have no vector primitive to refuse a null pointer for them.
 */
void requireHostBuffer(const void* samples) {
    if (samples == nullptr) {
        checkStatus(ippStsNullPtrErr);
    }
}

void requireShape(const Signal32& block, std::int32_t numChannels, std::int32_t numSamples) {
    if (block.channels() < numChannels || block.length() < numSamples) {
        throw std::runtime_error("block is smaller than the host's buffer");
    }
}

}  // namespace

Signal32 fromPlanar(const float* const* channels, std::int32_t numChannels,
                    std::int32_t numSamples) {
    Signal32 block(numChannels, numSamples);
    for (std::int32_t channel = 0; numSamples > 0 && channel < numChannels; ++channel) {
        copySamples(channels[channel], block.channelData(channel), numSamples);
    }
    return block;
}

void toPlanar(const Signal32& block, float* const* channels, std::int32_t numChannels,
              std::int32_t numSamples) {
    if (numSamples <= 0) {
        return;
    }
    requireShape(block, numChannels, numSamples);
    for (std::int32_t channel = 0; channel < numChannels; ++channel) {
        copySamples(block.readData(channel), channels[channel], numSamples);
    }
}

Signal32 fromInterleaved(const float* samples, std::int32_t numChannels, std::int32_t numSamples) {
    Signal32 block(numChannels, numSamples);
    if (numSamples <= 0 || numChannels <= 0) {
        return block;
    }
    requireHostBuffer(samples);
    float* const* channels = block.channelPointers();
    for (std::int32_t i = 0; i < numSamples; ++i) {
        for (std::int32_t channel = 0; channel < numChannels; ++channel) {
            channels[channel][i] = *samples++;
        }
    }
    return block;
}

void toInterleaved(Signal32 block, float* samples, std::int32_t numChannels,
                   std::int32_t numSamples) {
    if (numSamples <= 0 || numChannels <= 0) {
        return;
    }
    requireShape(block, numChannels, numSamples);
    requireHostBuffer(samples);
    float* const* channels = block.channelPointers();
    for (std::int32_t i = 0; i < numSamples; ++i) {
        for (std::int32_t channel = 0; channel < numChannels; ++channel) {
            *samples++ = channels[channel][i];
        }
    }
}

}  // namespace vorun
