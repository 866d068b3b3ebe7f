#include "audio/SampleRateConversion.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "audio/SaturatedSize.h"
#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

constexpr std::int32_t longest = std::numeric_limits<std::int32_t>::max();
constexpr const char* noStream = "sample rates and samples waiting give no stream to resample";

}  // namespace

bool SampleRateConversion::prepare(const ChannelLayout& input, const ChannelLayout& output) {
    const Lock lock(mutex);
    if (input.channelCount() != output.channelCount()) {
        return false;
    }
    PolyphaseFilter newFilter({.inputRate = input.sampleRate,
                               .outputRate = output.sampleRate,
                               .lengthMs = filterLengthMs,
                               .bandwidthPercent = bandwidthPercent,
                               .phases = phases});
    BaseAudioProcessor::prepare(input, output);
    filter = std::move(newFilter);
    reset();
    return true;
}

std::int32_t SampleRateConversion::getLatency(std::int32_t /*blockSize*/) const {
    const Lock lock(mutex);
    return filter.taps() / 2 + 1;
}

void SampleRateConversion::reset() {
    const Lock lock(mutex);
    position = 0.0;
    inputQueue.clear();
    // Puts the filter's centre on input sample 0.
    inputQueue.push(Signal32(inputLayout.channelCount(), filter.taps() / 2, 0.0f));
}

Signal32 SampleRateConversion::process(const Signal32& input) {
    if (!input.hasBuffer() || input.length() == 0) {
        return {};
    }
    const Lock lock(mutex);
    const double ratio = inputLayout.sampleRate / outputLayout.sampleRate;
    inputQueue.push(input);
    const std::int32_t count = readyCount(ratio);
    if (count < 1) {
        return {};
    }
    Signal64 block = takeWaiting();
    Signal64 out(block.channels(), count);
    if (ratio == 1.0) {
        delay(block, out);
    } else {
        resample(block, ratio, out);
    }
    dropConsumed();
    return out.toFloat();
}

// One sample is kept back beside the taps: the second of two interpolated rows may start a sample
// later than the first.
std::int32_t SampleRateConversion::readyCount(double ratio) const {
    const double spare = static_cast<double>(inputQueue.pendingSamples()) - filter.taps() - 1.0;
    const double ready = spare / ratio;
    if (ready < 1.0) {
        return 0;
    }
    // The first comparison also fails for a quotient that is not a number.
    if (!(ready <= longest) || ratio < 0.0 || inputQueue.pendingSamples() > longest) {
        throw std::runtime_error(noStream);
    }
    return static_cast<std::int32_t>(ready);
}

Signal64 SampleRateConversion::takeWaiting() const {
    Signal32 waiting(inputLayout.channelCount(),
                     static_cast<std::int32_t>(inputQueue.pendingSamples()));
    inputQueue.peek(waiting);
    return waiting.toDouble();
}

void SampleRateConversion::delay(const Signal64& block, Signal64& out) {
    const std::int32_t start = filter.taps() / 2;
    if (start < 0) {
        throw std::runtime_error(noStream);
    }
    for (std::int32_t c = 0; c < out.channels(); ++c) {
        copySamples(block.readData(c) + start, out.channelData(c), out.length());
    }
    position += out.length();
}

// A call starts below position 1 and makes at most (waiting - taps - 1) / ratio samples, so its
// last one lies below waiting - taps, and the row after it ends with the last waiting sample. Only
// the rounding of some 100 million steps in one call could pass that; the filter finds silence
// there.
void SampleRateConversion::resample(Signal64& block, double ratio, Signal64& out) {
    const double* const* source = block.channelPointers();
    double* const* target = out.channelPointers();
    const std::int64_t waiting = block.length();
    for (std::int32_t i = 0; i < out.length(); ++i) {
        const double step = filter.phases() * position;
        const auto index = static_cast<std::int64_t>(step);
        const double share = static_cast<float>(step - static_cast<double>(index));
        for (std::int32_t c = 0; c < out.channels(); ++c) {
            target[c][i] = interpolatePhases ? filter.between(index, share, source[c], waiting)
                                             : filter.tapAt(index, source[c], waiting);
        }
        position += ratio;
    }
}

void SampleRateConversion::dropConsumed() {
    const auto whole = static_cast<std::int64_t>(position);
    position -= static_cast<double>(whole);
    inputQueue.discard(saturatedSize(whole));
}

}  // namespace vorun
