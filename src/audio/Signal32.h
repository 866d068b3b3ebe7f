#pragma once

#include <cstdint>

#include "audio/SignalHandle.h"

namespace vorun {

class Signal64;

/**
 * Multichannel block of 32-bit float samples, a handle as SignalHandle tells.
 *
 * Operations on two signals raise std::runtime_error if the second one does not cover the channels
 * and samples that are read or written; a failed vector primitive raises "IPP exception: ...".
 * Operations on an empty handle do nothing, or return an empty handle.
 */
class Signal32 : public SignalHandle<float> {
  public:
    Signal32() = default;
    /** Samples are undefined. */
    Signal32(std::int32_t channels, std::int32_t length);
    /** Every sample is `value`. */
    Signal32(std::int32_t channels, std::int32_t length, float value);

    /**
     * Sets samples `start` up to but not including `end` of one channel, or of all if `channel` is
     * -1. An `end` of -1 means length().
     */
    void fill(float value, std::int32_t start = 0, std::int32_t end = -1,
              std::int32_t channel = -1);

    /** this * other, sample by sample, in this signal's shape. */
    Signal32 multiplied(const Signal32& other) const;
    /** this * factor; a factor of 0 gives zeros, whatever the samples are. */
    Signal32 scaled(float factor) const;
    /** this = this / other. Zero divisors raise nothing. */
    void divideBy(const Signal32& other);

    /**
     * `count` channels, each a copy of channel 0. A count below 2 shares this buffer instead,
     * whatever channel count it has.
     */
    Signal32 replicated(std::int32_t count) const;

    /**
     * Copies all of `source` to sample `offset` of this signal, for each channel of this signal.
     * The opposite of readAt().
     */
    void writeAt(std::int32_t offset, const Signal32& source);
    /**
     * Fills `target` from sample `offset` of this signal, for each channel of this signal. The
     * opposite of writeAt().
     */
    void readAt(std::int32_t offset, Signal32& target) const;

    /** The same samples as doubles. The opposite of Signal64::toFloat(). */
    Signal64 toDouble() const;
};

}  // namespace vorun
