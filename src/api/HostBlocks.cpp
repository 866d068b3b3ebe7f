#include "api/HostBlocks.h"

#include <algorithm>
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

/**
 * Calls move(channel, first, count) for stretches of each channel in turn, so short that the
 * interleaved samples of all channels stay in the first-level cache until the last one is done.
 */
template <class Move>
void inStretches(std::int32_t numChannels, std::int32_t numSamples, Move&& move) {
    constexpr std::int32_t samplesAtOnce = 4096;
    const std::int32_t longest = std::max(samplesAtOnce / numChannels, 16);
    for (std::int32_t first = 0; first < numSamples;) {
        const std::int32_t count = std::min(longest, numSamples - first);
        for (std::int32_t channel = 0; channel < numChannels; ++channel) {
            move(channel, first, count);
        }
        first += count;
    }
}

void gather(const float* source, std::ptrdiff_t stride, float* target, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) {
        target[i] = source[i * stride];
    }
}

void scatter(const float* source, float* target, std::ptrdiff_t stride, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) {
        target[i * stride] = source[i];
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
    const std::ptrdiff_t stride = numChannels;
    inStretches(numChannels, numSamples, [&](auto channel, auto first, auto count) {
        gather(samples + first * stride + channel, stride, block.channelData(channel) + first,
               count);
    });
    return block;
}

void toInterleaved(const Signal32& block, float* samples, std::int32_t numChannels,
                   std::int32_t numSamples) {
    if (numSamples <= 0 || numChannels <= 0) {
        return;
    }
    requireShape(block, numChannels, numSamples);
    requireHostBuffer(samples);
    const std::ptrdiff_t stride = numChannels;
    inStretches(numChannels, numSamples, [&](auto channel, auto first, auto count) {
        scatter(block.readData(channel) + first, samples + first * stride + channel, stride, count);
    });
}

}  // namespace vorun
