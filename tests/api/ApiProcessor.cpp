#include "api/ApiProcessor.h"

#include <cstring>
#include <stdexcept>

namespace vorun::apitest {
namespace {

ProcessorHandle createSeparator(const std::vector<std::string>& paths, std::int32_t channels,
                                double sampleRate) {
    std::vector<const char*> pointers;
    for (const std::string& path : paths) {
        pointers.push_back(path.c_str());
    }
    return vorunCreateStemSeparator(static_cast<std::int32_t>(paths.size()), pointers.data(),
                                    channels, sampleRate);
}

std::vector<float> interleaved(const Planar& audio, int begin, int count) {
    std::vector<float> samples;
    for (int i = begin; i < begin + count; ++i) {
        for (const auto& channel : audio) {
            samples.push_back(channel[i]);
        }
    }
    return samples;
}

}  // namespace

ApiProcessor::ApiProcessor(const std::string& modelPath, std::int32_t channels, double sampleRate)
    : handle_(vorunCreateProcessor(modelPath.c_str(), channels, sampleRate)), channels_(channels) {}

ApiProcessor::ApiProcessor(const std::vector<std::string>& modelPaths, std::int32_t channels,
                           double sampleRate)
    : handle_(createSeparator(modelPaths, channels, sampleRate)), channels_(channels) {}

ApiProcessor::~ApiProcessor() {
    vorunDeleteProcessor(handle_);
}

void ApiProcessor::push(const Planar& audio, int begin, int count, Layout layout) {
    if (layout == Layout::interleaved) {
        const std::vector<float> samples = interleaved(audio, begin, count);
        vorunAddAudioInterleaved(handle_, samples.data(), count);
        return;
    }
    std::vector<const float*> pointers;
    for (const auto& channel : audio) {
        pointers.push_back(channel.data() + begin);
    }
    vorunAddAudio(handle_, pointers.data(), count);
}

bool ApiProcessor::tryPull(Planar& target, int count, Layout layout) {
    if (layout == Layout::planar) {
        std::vector<float*> pointers;
        for (auto& channel : target) {
            pointers.push_back(channel.data());
        }
        return vorunGetAudio(handle_, pointers.data(), count);
    }
    std::vector<float> samples = interleaved(target, 0, count);
    const bool delivered = vorunGetAudioInterleaved(handle_, samples.data(), count);
    for (int i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < target.size(); ++c) {
            target[c][i] = samples[i * target.size() + c];
        }
    }
    return delivered;
}

Planar ApiProcessor::pull(int count, Layout layout) {
    if (count == 0) {
        return silence(channels_, 0);
    }
    Planar target = silence(channels_, count);
    if (!tryPull(target, count, layout)) {
        throw std::logic_error("pending samples were refused");
    }
    return target;
}

std::string ApiProcessor::busName(std::int32_t index) const {
    char name[64];
    vorunGetOutputBusName(handle_, index, name, static_cast<std::int32_t>(sizeof(name)));
    return std::string(name, strnlen(name, sizeof(name)));
}

VorunProcessorInfo ApiProcessor::info() const {
    VorunProcessorInfo info;
    std::memset(&info, 0xA5, sizeof(info));
    vorunGetProcessorInfo(handle_, &info);
    return info;
}

}  // namespace vorun::apitest
