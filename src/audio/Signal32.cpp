#include "audio/Signal32.h"

#include <stdexcept>

#include "audio/Signal64.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

namespace {

void requireRange(std::int64_t offset, std::int64_t count, std::int32_t length) {
    if (offset < 0 || offset + count > length) {
        throw std::runtime_error("sample range lies outside the signal");
    }
}

}  // namespace

Signal32::Signal32(std::int32_t channelCount, std::int32_t samples)
    : SignalHandle<float>(channelCount, samples) {}

Signal32::Signal32(std::int32_t channelCount, std::int32_t samples, float value)
    : SignalHandle<float>(channelCount, samples) {
    fill(value);
}

void Signal32::fill(float value, std::int32_t start, std::int32_t end, std::int32_t channel) {
    const std::int32_t stop = end == -1 ? length() : end;
    const std::int64_t count = static_cast<std::int64_t>(stop) - start;
    if (!hasSamples() || count < 1) {
        return;
    }
    requireRange(start, count, length());
    const std::int32_t first = channel == -1 ? 0 : channel;
    const std::int32_t last = channel == -1 ? channels() - 1 : channel;
    for (std::int32_t c = first; c <= last; ++c) {
        float* samples = channelData(c);
        checkStatus(ippsSet_32f(value, samples + start, static_cast<std::int32_t>(count)));
    }
}

Signal32 Signal32::multiplied(const Signal32& other) const {
    if (!hasBuffer()) {
        return {};
    }
    requireCoveredBy(other);
    Signal32 product(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            return ippsMul_32f(readData(c), other.readData(c), product.channelData(c), length());
        });
    }
    return product;
}

Signal32 Signal32::scaled(float factor) const {
    if (!hasBuffer()) {
        return {};
    }
    Signal32 product(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            return ippsMulC_32f(readData(c), factor, product.channelData(c), length());
        });
    }
    return product;
}

void Signal32::divideBy(const Signal32& other) {
    requireCoveredBy(other);
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            float* quotient = channelData(c);
            return ippsDiv_32f(other.readData(c), quotient, quotient, length());
        });
    }
}

Signal32 Signal32::replicated(std::int32_t count) const {
    if (count < 2 || !hasBuffer()) {
        return *this;
    }
    Signal32 copies(count, length());
    for (std::int32_t c = 0; c < count; ++c) {
        copySamples(readData(0), copies.channelData(c), length());
    }
    return copies;
}

void Signal32::writeAt(std::int32_t offset, const Signal32& source) {
    const std::int32_t count = source.length();
    if (!source.hasBuffer() || count < 1 || channels() < 1) {
        return;
    }
    requireRange(offset, count, length());
    if (source.channels() < channels()) {
        throw std::runtime_error("source has fewer channels than the signal it is written to");
    }
    for (std::int32_t c = 0; c < channels(); ++c) {
        float* samples = channelData(c);
        copySamples(source.readData(c), samples + offset, count);
    }
}

void Signal32::readAt(std::int32_t offset, Signal32& target) const {
    const std::int32_t count = target.length();
    if (count < 1 || channels() < 1) {
        return;
    }
    requireRange(offset, count, length());
    if (target.channels() < channels()) {
        throw std::runtime_error("target has fewer channels than the signal it is read from");
    }
    for (std::int32_t c = 0; c < channels(); ++c) {
        float* samples = target.channelData(c);
        copySamples(readData(c) + offset, samples, count);
    }
}

Signal64 Signal32::toDouble() const {
    if (!hasBuffer()) {
        return {};
    }
    Signal64 wide(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(),
                    [&] { return ippsConvert_32f64f(readData(c), wide.channelData(c), length()); });
    }
    return wide;
}

}  // namespace vorun
