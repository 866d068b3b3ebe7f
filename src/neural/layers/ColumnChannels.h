#pragma once

#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/ConvReach.h"

// What convolutions that sum some output channels with bins side by side have in common.
namespace vorun {

/** Values in a register of the widest instruction set. */
inline constexpr std::int32_t widestRegister = 16;

/**
 * How many of a layer's output channels, the last ones, are better summed with bins side by side
 * in a register: those that would leave lanes of a register of channels empty. `run` counts the
 * products of a sum over one frame; with few of them, what it takes to load and store the sums of
 * many channels outweighs some empty lanes. The same on every processor, so that a model takes the
 * same memory everywhere.
 */
constexpr std::int32_t columnChannels(std::int32_t channels, std::int64_t run, std::int32_t bins) {
    // As many as are turned round a few registers at a time.
    constexpr std::int32_t always = 8;
    constexpr std::int64_t mostOfLongRuns = 13;
    constexpr std::int64_t loadAndStore = 4;
    const std::int32_t rest = channels % widestRegister;
    const bool isWorthIt = rest <= always || rest * (run + loadAndStore) <= mostOfLongRuns * run;
    return bins >= widestRegister && isWorthIt ? rest : 0;
}

/** For each bin of the kernel, the output bins that it meets inside. */
std::vector<BinRange> enteredBins(const ConvReach& reach);

/** The last `channels` values of a bias of `outChannels`, or zeros if it has none. */
template <class T>
std::vector<T> lastOfBias(const Tensor<T>& bias, std::int32_t outChannels, std::int32_t channels);

/** `channels` rows of sums, one behind the other, into the last channels of bins of outChannels. */
template <class T>
void writeLastChannels(const T* sums, std::int32_t channels, std::int32_t bins, T* out,
                       std::int32_t outChannels);

}  // namespace vorun
