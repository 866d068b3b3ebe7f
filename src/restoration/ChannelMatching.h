#pragma once

#include <cstdint>

#include "audio/ComplexSignal32.h"

namespace vorun {

/**
 * The signal at another channel count, on the way into a model and out of it. An equal count shares
 * the buffer. All other conversions go through mono: the average of the channels, copied to as many
 * as are wanted; nothing maps left to left.
 */
ComplexSignal32 matchChannels(const ComplexSignal32& signal, std::int32_t channels);

/**
 * What matchChannels() spreads: the signal itself at an equal count, otherwise the one channel that
 * all others would be copies of. What is done to each channel alike costs less before the copies.
 */
ComplexSignal32 distinctChannels(const ComplexSignal32& signal, std::int32_t channels);

/** One channel: channels 0, 1, 2 ... added in that order, then scaled by the float 1 / channels. */
ComplexSignal32 averageChannels(const ComplexSignal32& signal);

}  // namespace vorun
