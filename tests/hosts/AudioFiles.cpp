#include "hosts/AudioFiles.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>

namespace vorun::test {
namespace {

struct Closer {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using File = std::unique_ptr<SNDFILE, Closer>;

File openForWriting(const std::string& path, const Recording& shape) {
    SF_INFO info{};
    info.channels = shape.channels;
    info.samplerate = shape.sampleRate;
    info.format = shape.format;
    File file(sf_open(path.c_str(), SFM_WRITE, &info));
    if (!file) {
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    }
    if (!shape.title.empty()) {
        sf_set_string(file.get(), SF_STR_TITLE, shape.title.c_str());
    }
    return file;
}

File openForReading(const std::string& path, SF_INFO& info) {
    File file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file) {
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    }
    return file;
}

}  // namespace

Recording noiseRecording(int channels, int frames, float peak, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> level(-peak, peak);
    Recording recording;
    recording.channels = channels;
    recording.samples.resize(static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames));
    std::generate(recording.samples.begin(), recording.samples.end(),
                  [&] { return level(random); });
    return recording;
}

void writeRecording(const std::string& path, const Recording& recording) {
    writeRepeated(path, recording, 1);
}

void writeRepeated(const std::string& path, const Recording& recording, int times) {
    const File file = openForWriting(path, recording);
    const auto count = static_cast<sf_count_t>(recording.samples.size());
    for (int time = 0; time < times; ++time) {
        if (sf_write_float(file.get(), recording.samples.data(), count) != count) {
            throw std::runtime_error("cannot write " + path);
        }
    }
}

void writeIntegers(const std::string& path, const Recording& shape,
                   const std::vector<std::int32_t>& values) {
    const File file = openForWriting(path, shape);
    const auto count = static_cast<sf_count_t>(values.size());
    if (sf_write_int(file.get(), values.data(), count) != count) {
        throw std::runtime_error("cannot write " + path);
    }
}

Recording readRecording(const std::string& path) {
    SF_INFO info{};
    const File file = openForReading(path, info);
    Recording recording;
    recording.channels = info.channels;
    recording.sampleRate = info.samplerate;
    recording.format = info.format;
    recording.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
    const sf_count_t read = sf_read_float(file.get(), recording.samples.data(),
                                          static_cast<sf_count_t>(recording.samples.size()));
    recording.samples.resize(static_cast<std::size_t>(read));
    const char* const title = sf_get_string(file.get(), SF_STR_TITLE);
    recording.title = title == nullptr ? "" : title;
    return recording;
}

std::vector<std::int32_t> readIntegers(const std::string& path) {
    SF_INFO info{};
    const File file = openForReading(path, info);
    std::vector<std::int32_t> values(static_cast<std::size_t>(info.frames * info.channels));
    const sf_count_t read =
        sf_read_int(file.get(), values.data(), static_cast<sf_count_t>(values.size()));
    values.resize(static_cast<std::size_t>(read));
    return values;
}

std::string readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

float largestDifference(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) {
        return std::numeric_limits<float>::infinity();
    }
    float largest = 0.0F;
    for (std::size_t i = 0; i < a.size(); ++i) {
        // Written so that NaN is no small difference.
        const float difference = std::fabs(a[i] - b[i]);
        largest = difference <= largest ? largest : difference;
    }
    return largest;
}

std::vector<float> scaled(std::vector<float> samples, float factor) {
    for (float& sample : samples) {
        sample *= factor;
    }
    return samples;
}

}  // namespace vorun::test
