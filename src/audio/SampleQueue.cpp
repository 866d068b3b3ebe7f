#include "audio/SampleQueue.h"

#include <algorithm>
#include <stdexcept>

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

// Copies from the read position on, as far as target and list reach. Returns the samples copied.
std::int32_t SampleQueue::copyOut(Signal32& target) const {
    const std::int32_t need = target.length();
    std::int32_t copied = 0;
    std::int32_t offset = readOffset_;
    for (auto block = blocks_.begin(); block != blocks_.end() && copied < need; ++block) {
        if (block->channels() < target.channels()) {
            throw std::runtime_error("queued block has fewer channels than the target");
        }
        const std::int32_t count = std::min(block->length() - offset, need - copied);
        for (std::int32_t c = 0; c < target.channels(); ++c) {
            copySamples(block->readData(c) + offset, target.channelData(c) + copied, count);
        }
        copied += count;
        offset = 0;
    }
    return copied;
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
