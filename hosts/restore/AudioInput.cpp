#include "restore/AudioInput.h"

#include "restore/HostError.h"
#include "restore/PromisedLength.h"
#include "restore/ReadableFile.h"
#include "restore/SampleConversion.h"

namespace vorun::restore {
AudioInput::AudioInput(const std::string& path) : path_(path) {
    // libsndfile does not tell a missing file from a wrong one reliably; the system does.
    checkReadable(path, "cannot read '" + path + "'", ExitStatus::cannotReadInput);
    SF_INFO info{};
    file_.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (!file_) {
        throw HostError(ExitStatus::notAudio,
                        "'" + path + "' is not audio: " + sf_strerror(nullptr));
    }
    shape_ = {info.format, info.channels, info.samplerate, info.frames};
    if (shape_.channels < 1 || shape_.sampleRate < 1) {
        throw HostError(ExitStatus::notAudio, "'" + path + "' has no channels or no sample rate");
    }
}

void AudioInput::read(std::int32_t count, std::vector<float>& samples) {
    const auto channels = static_cast<std::size_t>(shape_.channels);
    samples.resize(static_cast<std::size_t>(count) * channels);
    const sf_count_t frames = sf_readf_float(file_.get(), samples.data(), count);
    if (frames < count && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
        throw HostError(ExitStatus::notAudio,
                        "'" + path_ + "' is damaged: " + sf_strerror(file_.get()));
    }
    samples.resize(static_cast<std::size_t>(frames) * channels);
    samplesRead_ += frames;
    nonFiniteSamples_ += silenceNonFinite(samples);
}

std::string AudioInput::earlyEnd() const {
    const SoundBytes bytes = soundBytes(path_);
    std::string missing;
    if (bytes.present < bytes.promised) {
        missing = std::to_string(bytes.promised - bytes.present) + " of " +
                  std::to_string(bytes.promised) + " bytes";
    } else if (samplesRead_ < shape_.frames && shape_.frames < SF_COUNT_MAX) {
        missing = std::to_string(shape_.frames - samplesRead_) + " of " +
                  std::to_string(shape_.frames) + " samples";
    }
    return missing.empty() ? missing
                           : "the file ends early: '" + path_ + "' lacks " + missing +
                                 " that its header promises; the rest was restored";
}

}  // namespace vorun::restore
