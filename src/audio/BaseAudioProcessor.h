#pragma once

#include <cstdint>

#include "audio/ChannelLayout.h"
#include "audio/Signal32.h"

namespace vorun {

/**
 * Root of all that takes audio blocks in and gives audio blocks back.
 *
 * prepare() comes first; then process() any number of times, with blocks of any length, which
 * returns what has become ready, more or less than was put in; reset() goes back to the state after
 * prepare(). Nothing is flushed at the end of a stream. One thread at a time.
 */
class BaseAudioProcessor {
  public:
    BaseAudioProcessor() = default;
    virtual ~BaseAudioProcessor() = default;
    BaseAudioProcessor(const BaseAudioProcessor&) = delete;
    BaseAudioProcessor& operator=(const BaseAudioProcessor&) = delete;

    /**
     * Stores the layouts, sharing their speaker records, unless both equal the stored ones in rate
     * and ids. Always true here; a subclass returns false for layouts that it cannot work with, and
     * is then to be discarded.
     */
    virtual bool prepare(const ChannelLayout& input, const ChannelLayout& output);

    /**
     * Input samples after which the output of a given input sample has come out, for a caller that
     * always pushes `blockSize` samples. 0 here.
     */
    virtual std::int32_t getLatency(std::int32_t blockSize) const;

    /** Drops the running state; layouts stay. Nothing to drop here. */
    virtual void reset();

    /** Takes a block of the input layout's channels, returns one of the output layout's. */
    virtual Signal32 process(const Signal32& input) = 0;

    ChannelLayout inputLayout;
    ChannelLayout outputLayout;
};

}  // namespace vorun
