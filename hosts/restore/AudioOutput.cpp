#include "restore/AudioOutput.h"

#include <cstdio>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

OutputFile& fileOf(void* user) {
    return *static_cast<OutputFile*>(user);
}

/**
 * libsndfile writes through these, since not each of its codecs reports a disk that runs full while
 * it closes. OutputFile remembers.
 */
SF_VIRTUAL_IO callbacks() {
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* user) -> sf_count_t { return fileOf(user).length(); };
    io.seek = [](sf_count_t offset, int origin, void* user) -> sf_count_t {
        return fileOf(user).seek(offset, origin);
    };
    io.read = [](void* bytes, sf_count_t count, void* user) -> sf_count_t {
        return fileOf(user).read(bytes, count);
    };
    io.write = [](const void* bytes, sf_count_t count, void* user) -> sf_count_t {
        fileOf(user).write(bytes, count);
        return count;
    };
    io.tell = [](void* user) -> sf_count_t { return fileOf(user).seek(0, SEEK_CUR); };
    return io;
}

}  // namespace

AudioOutput::AudioOutput(const std::string& path, int format, const StreamShape& shape)
    : path_(path), channels_(static_cast<std::size_t>(shape.channels)), target_(path) {
    SF_INFO info{};
    info.format = format;
    info.channels = shape.channels;
    info.samplerate = shape.sampleRate;
    SF_VIRTUAL_IO io = callbacks();
    file_.reset(sf_open_virtual(&io, SFM_WRITE, &info, &target_));
    target_.checkWritten();
    if (!file_) {
        throw HostError(ExitStatus::cannotCreateOutput,
                        "cannot create '" + path + "': " + sf_strerror(nullptr));
    }
    if (integerBits(format) > 0) {
        conversion_.emplace(integerBits(format));
    }
}

void AudioOutput::copyTags(const AudioInput& input) {
    for (int tag = SF_STR_FIRST; tag <= SF_STR_LAST; ++tag) {
        const char* const text = sf_get_string(input.file(), tag);
        if (text != nullptr) {
            // A container that has no such tag goes without.
            sf_set_string(file_.get(), tag, text);
        }
    }
    std::vector<int> places(channels_);
    const int bytes = static_cast<int>(places.size() * sizeof(int));
    if (sf_command(input.file(), SFC_GET_CHANNEL_MAP_INFO, places.data(), bytes) == SF_TRUE) {
        sf_command(file_.get(), SFC_SET_CHANNEL_MAP_INFO, places.data(), bytes);
    }
}

void AudioOutput::write(const std::vector<float>& samples) {
    const auto frames = static_cast<sf_count_t>(samples.size() / channels_);
    sf_count_t written = 0;
    if (conversion_) {
        conversion_->convert(samples, integers_);
        written = sf_writef_int(file_.get(), integers_.data(), frames);
    } else {
        written = sf_writef_float(file_.get(), samples.data(), frames);
    }
    checkWritten(written == frames);
}

void AudioOutput::finish() {
    const bool closed = sf_close(file_.release()) == 0;
    checkWritten(closed);
    target_.commit();
}

void AudioOutput::checkWritten(bool complete) const {
    target_.checkWritten();
    if (!complete) {
        const std::string reason = file_ ? sf_strerror(file_.get()) : "the end is missing";
        throw HostError(ExitStatus::writeFailed, "cannot write '" + path_ + "': " + reason);
    }
}

std::int64_t AudioOutput::clippedSamples() const {
    return conversion_ ? conversion_->clippedSamples() : 0;
}

}  // namespace vorun::restore
