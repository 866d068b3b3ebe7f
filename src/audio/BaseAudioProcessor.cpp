#include "audio/BaseAudioProcessor.h"

#include <utility>

namespace vorun {

namespace {

// A rate that is not a number equals nothing, not even itself.
bool describesSameStream(const ChannelLayout& left, const ChannelLayout& right) {
    return left.sampleRate == right.sampleRate && left.speakerIds == right.speakerIds;
}

}  // namespace

bool BaseAudioProcessor::prepare(const ChannelLayout& input, const ChannelLayout& output) {
    if (describesSameStream(input, inputLayout) && describesSameStream(output, outputLayout)) {
        return true;
    }
    ChannelLayout newOutput = output;  // `output` may be the field that is written next.
    inputLayout = input;
    outputLayout = std::move(newOutput);
    return true;
}

std::int32_t BaseAudioProcessor::getLatency(std::int32_t /*blockSize*/) const {
    return 0;
}

void BaseAudioProcessor::reset() {}

}  // namespace vorun
