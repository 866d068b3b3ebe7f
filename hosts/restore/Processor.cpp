#include "restore/Processor.h"

#include <array>

#include "restore/HostError.h"
#include "restore/NumberText.h"
#include "restore/ReadableFile.h"

namespace vorun::restore {
namespace {

constexpr std::int32_t gainFamily = 256;
constexpr std::int32_t sensitivityFamily = 512;

struct ModelDeleter {
    void operator()(ModelHandle* model) const { vorunDeleteModel(model); }
};

}  // namespace

VorunModelInfo readModelInfo(const std::string& modelPath) {
    // The engine only says null; the host can still tell a file that is not there.
    checkReadable(modelPath, "cannot open the model '" + modelPath + "'", ExitStatus::modelRefused);
    const std::unique_ptr<ModelHandle, ModelDeleter> model(vorunCreateModel(modelPath.c_str()));
    if (!model) {
        throw HostError(ExitStatus::modelRefused,
                        "the engine refuses '" + modelPath + "' as a model");
    }
    VorunModelInfo info{};
    vorunGetProcessorInfo(model.get(), &info);
    return info;
}

Processor::Processor(const std::string& modelPath, std::int32_t channels, double sampleRate)
    : channels_(channels) {
    readModelInfo(modelPath);
    handle_.reset(vorunCreateProcessor(modelPath.c_str(), channels, sampleRate));
    if (!handle_) {
        throw HostError(ExitStatus::modelRefused, "the model '" + modelPath + "' cannot run on " +
                                                      channelsText(channels) + " at " +
                                                      fixedText(sampleRate, 0) + " Hz");
    }
}

std::int32_t Processor::latency() const {
    VorunProcessorInfo info{};
    vorunGetProcessorInfo(handle_.get(), &info);
    return info.latency;
}

std::vector<std::string> Processor::busNames() const {
    std::vector<std::string> names;
    const auto count = static_cast<std::int32_t>(vorunGetNumOfOutputBusses(handle_.get()));
    for (std::int32_t bus = 0; bus < count; ++bus) {
        std::array<char, 256> name{};
        // One byte less than there is: the engine ends a name that fills its room with no NUL.
        vorunGetOutputBusName(handle_.get(), bus, name.data(), 255);
        names.emplace_back(name.data());
    }
    return names;
}

void Processor::setBusGain(std::size_t bus, float gain) {
    vorunSetParameterValue(handle_.get(), gainFamily + static_cast<std::int32_t>(bus), gain);
}

void Processor::setBusSensitivity(std::size_t bus, float sensitivity) {
    vorunSetParameterValue(handle_.get(), sensitivityFamily + static_cast<std::int32_t>(bus),
                           sensitivity);
}

void Processor::push(const std::vector<float>& samples) {
    const auto count = samples.size() / static_cast<std::size_t>(channels_);
    vorunAddAudioInterleaved(handle_.get(), samples.data(), static_cast<std::int32_t>(count));
}

std::int32_t Processor::pending() const {
    return vorunGetNumOfPendingSamples(handle_.get());
}

std::vector<float> Processor::pull(std::int32_t count) {
    std::vector<float> samples(static_cast<std::size_t>(count) *
                               static_cast<std::size_t>(channels_));
    if (!vorunGetAudioInterleaved(handle_.get(), samples.data(), count)) {
        throw std::runtime_error("pending samples were not delivered");
    }
    return samples;
}

}  // namespace vorun::restore
