#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "audio/Signal32.h"

namespace vorun {

/**
 * First-in first-out store of multichannel samples. Whole blocks are pushed by handle and read back
 * in pieces of any size, across block borders.
 *
 *     push ->  [ newest ] ... [ block 1 ] [ block 0: consumed | unread ]  -> read, peek, discard
 *                                           <-readOffset->
 *
 * A block is released with its last sample; blocks are never joined. A caller asks for at most
 * pendingSamples(). Asking for more than the list holds, or for more channels than a block in the
 * list has, raises std::runtime_error. No lock: one thread at a time.
 */
class SampleQueue {
  public:
    /**
     * Appends a block without copying it. A block of no buffer or no length changes nothing.
     *
     * A block of another channel count than the stream's drops what was queued, and the stream's
     * count is unset until the block after it: that one sets it, although the first still lies in
     * the list.
     */
    void push(const Signal32& block);

    /**
     * Copies up to target.length() samples to `target` and consumes nothing. What lies beyond the
     * queued samples stays as it was in `target`.
     */
    void peek(Signal32& target) const;

    /**
     * peek() and a product with `window` in one pass: fills `target` from sample `offset` to its
     * end. Raises std::runtime_error if the window has fewer channels than the target, or fewer
     * samples than are filled.
     */
    void peekWindowed(const Signal32& window, std::int32_t offset, Signal32& target) const;

    /**
     * Consumes without copying. A count at or above pendingSamples() drops all blocks; another
     * count below 1 is subtracted from pendingSamples() alone.
     */
    void discard(std::int32_t count);

    /**
     * Consumes `count` samples into a signal of channels() channels: a new one, or the oldest block
     * itself where that is just what is asked for. Returns an empty handle, and consumes nothing,
     * if the channel count is unset or 0.
     */
    Signal32 read(std::int32_t count);

    /** Consumes target.length() samples into `target`. A raise leaves the queue as it was. */
    void readInto(Signal32& target);

    /** Back to the state of a new queue. */
    void clear();

    /** Samples for each channel that can still be read. */
    std::int64_t pendingSamples() const noexcept { return pendingSamples_; }
    /** Channel count of the stream; -1 while unset. */
    std::int32_t channels() const noexcept { return channels_; }
    /** Samples of the first block that are consumed. */
    std::int32_t readOffset() const noexcept { return readOffset_; }
    std::size_t blockCount() const noexcept { return blocks_.size(); }

  private:
    template <class Take>
    std::int32_t walk(std::int32_t need, std::int32_t channels, Take&& take) const;
    std::int32_t copyOut(Signal32& target) const;
    bool holdsAsOneBlock(std::int32_t count) const;
    void requireHeld(std::int32_t count) const;
    void dropSamples(std::int32_t count);
    void dropAll();

    std::int64_t pendingSamples_ = 0;
    std::list<Signal32> blocks_;
    std::int32_t readOffset_ = 0;
    std::int32_t channels_ = -1;
};

}  // namespace vorun
