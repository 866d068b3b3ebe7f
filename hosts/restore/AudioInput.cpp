#include "restore/AudioInput.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "restore/HostError.h"
#include "restore/SampleConversion.h"

namespace vorun::restore {
namespace {

/** libsndfile does not tell a missing file from a wrong one reliably; the system does. */
void checkReadable(const std::string& path) {
    const std::string text = "cannot read '" + path + "'";
    // Without waiting: a pipe that nobody writes is not a recording.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        throw HostError(ExitStatus::cannotReadInput, withReason(text, errno));
    }
    struct stat status {};
    const bool known = fstat(file, &status) == 0;
    close(file);
    if (known && S_ISDIR(status.st_mode)) {
        throw HostError(ExitStatus::cannotReadInput, withReason(text, EISDIR));
    }
    if (known && !S_ISREG(status.st_mode)) {
        throw HostError(ExitStatus::cannotReadInput, text + ": not a file");
    }
}

}  // namespace

AudioInput::AudioInput(const std::string& path) : path_(path) {
    checkReadable(path);
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
    nonFiniteSamples_ += silenceNonFinite(samples);
}

}  // namespace vorun::restore
