#include "audio/SampleQueue.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

constexpr const char* shortage = "sample queue holds less than was asked for";

}  // namespace

void SampleQueue::push(const Signal32& block) {
    if (!block.hasBuffer() || block.length() == 0) {
        return;
    }
    if (channels_ == -1) {
        channels_ = block.channels();
    }
    if (block.channels() != channels_) {
        // The count stays unset although this block is kept: the next block decides it.
        clear();
    }
    if (block.length() > 0) {
        blocks_.push_back(block);
        pendingSamples_ += block.length();
    }
}

void SampleQueue::peek(Signal32& target) const {
    copyOut(target);
}

void SampleQueue::peekWindowed(const Signal32& window, std::int32_t offset,
                               Signal32& target) const {
    const std::int64_t need = static_cast<std::int64_t>(target.length()) - offset;
    if (offset < 0 || window.length() < need || window.channels() < target.channels()) {
        throw std::runtime_error("window does not cover the samples that it is to weight");
    }
    const auto weight = [&](std::int32_t c, const float* samples, std::int32_t done,
                            std::int32_t count) {
        checkedCall(count, [&] {
            return ippsMul_32f(samples, window.readData(c) + done,
                               target.channelData(c) + offset + done, count);
        });
    };
    walk(static_cast<std::int32_t>(need), target.channels(), weight);
}

void SampleQueue::discard(std::int32_t count) {
    if (count >= pendingSamples_) {
        dropAll();
        return;
    }
    requireHeld(count);
    dropSamples(count);
}

Signal32 SampleQueue::read(std::int32_t count) {
    if (channels_ < 1) {
        return {};
    }
    if (count > pendingSamples_) {
        throw std::runtime_error(shortage);
    }
    if (holdsAsOneBlock(count)) {
        Signal32 block = std::move(blocks_.front());
        blocks_.pop_front();
        pendingSamples_ -= count;
        return block;
    }
    Signal32 target(channels_, count);
    readInto(target);
    return target;
}

void SampleQueue::readInto(Signal32& target) {
    if (copyOut(target) < target.length()) {
        throw std::runtime_error(shortage);
    }
    dropSamples(target.length());
}

void SampleQueue::clear() {
    dropAll();
    channels_ = -1;
}

// Calls take(channel, samples, done, count) for each stretch of `need` samples from the read
// position on, as far as the list reaches, `done` samples being behind. Returns the samples taken.
template <class Take>
std::int32_t SampleQueue::walk(std::int32_t need, std::int32_t channels, Take&& take) const {
    std::int32_t done = 0;
    std::int32_t offset = readOffset_;
    for (auto block = blocks_.begin(); block != blocks_.end() && done < need; ++block) {
        if (block->channels() < channels) {
            throw std::runtime_error("queued block has fewer channels than the target");
        }
        const std::int32_t count = std::min(block->length() - offset, need - done);
        for (std::int32_t c = 0; c < channels; ++c) {
            take(c, block->readData(c) + offset, done, count);
        }
        done += count;
        offset = 0;
    }
    return done;
}

std::int32_t SampleQueue::copyOut(Signal32& target) const {
    const auto copy = [&](std::int32_t c, const float* samples, std::int32_t done,
                          std::int32_t count) {
        copySamples(samples, target.channelData(c) + done, count);
    };
    return walk(target.length(), target.channels(), copy);
}

// A host that pulls what it pushed then gets the processor's block without a copy.
bool SampleQueue::holdsAsOneBlock(std::int32_t count) const {
    return count > 0 && !blocks_.empty() && readOffset_ == 0 && blocks_.front().length() == count &&
           blocks_.front().channels() == channels_;
}

// The count of pending samples does not prove it: a negative read or discard lets that count grow.
void SampleQueue::requireHeld(std::int32_t count) const {
    std::int64_t held = -static_cast<std::int64_t>(readOffset_);
    for (auto block = blocks_.begin(); block != blocks_.end() && held < count; ++block) {
        held += block->length();
    }
    if (held < count) {
        throw std::runtime_error(shortage);
    }
}

void SampleQueue::dropSamples(std::int32_t count) {
    std::int32_t remaining = std::max(count, 0);
    while (remaining > 0) {
        const std::int32_t available = blocks_.front().length() - readOffset_;
        if (remaining < available) {
            readOffset_ += remaining;
            break;
        }
        blocks_.pop_front();
        readOffset_ = 0;
        remaining -= available;
    }
    pendingSamples_ -= count;
}

void SampleQueue::dropAll() {
    blocks_.clear();
    readOffset_ = 0;
    pendingSamples_ = 0;
}

}  // namespace vorun
