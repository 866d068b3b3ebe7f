#include "restore/FileFormat.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "restore/HostError.h"
#include "restore/NumberText.h"

namespace vorun::restore {
namespace {

struct NamedFormat {
    std::string_view name;
    SampleFormat format;
    int subtype;
};

constexpr std::array<NamedFormat, 6> namedFormats = {{
    {"pcm8", SampleFormat::pcm8, SF_FORMAT_PCM_S8},
    {"pcm16", SampleFormat::pcm16, SF_FORMAT_PCM_16},
    {"pcm24", SampleFormat::pcm24, SF_FORMAT_PCM_24},
    {"pcm32", SampleFormat::pcm32, SF_FORMAT_PCM_32},
    {"float", SampleFormat::single, SF_FORMAT_FLOAT},
    {"double", SampleFormat::doublePrecision, SF_FORMAT_DOUBLE},
}};

/** The first container of a suffix is taken unless the input has another of the same suffix. */
struct SuffixContainers {
    std::string_view suffix;
    std::vector<int> containers;
};

const std::vector<SuffixContainers>& suffixTable() {
    static const std::vector<SuffixContainers> table = {
        {".wav", {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64}},
        {".wave", {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64}},
        {".rf64", {SF_FORMAT_RF64}},
        {".w64", {SF_FORMAT_W64}},
        {".aif", {SF_FORMAT_AIFF}},
        {".aiff", {SF_FORMAT_AIFF}},
        {".aifc", {SF_FORMAT_AIFF}},
        {".au", {SF_FORMAT_AU}},
        {".snd", {SF_FORMAT_AU}},
        {".caf", {SF_FORMAT_CAF}},
        {".flac", {SF_FORMAT_FLAC}},
        {".ogg", {SF_FORMAT_OGG}},
        {".oga", {SF_FORMAT_OGG}},
        {".opus", {SF_FORMAT_OGG}},
        {".mp3", {SF_FORMAT_MPEG}},
    };
    return table;
}

std::string lowerSuffix(const std::string& path) {
    std::string suffix = std::filesystem::path(path).extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](char letter) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    });
    return suffix;
}

int containerFor(const std::string& path, const StreamShape& input) {
    const std::string suffix = lowerSuffix(path);
    const auto& table = suffixTable();
    const auto entry = std::find_if(table.begin(), table.end(), [&](const SuffixContainers& row) {
        return row.suffix == suffix;
    });
    if (entry == table.end()) {
        throw HostError(ExitStatus::cannotCreateOutput,
                        "the suffix of '" + path + "' names no container that can be written");
    }
    const int inputContainer = input.format & SF_FORMAT_TYPEMASK;
    const bool keeps = std::find(entry->containers.begin(), entry->containers.end(),
                                 inputContainer) != entry->containers.end();
    return keeps ? inputContainer : entry->containers.front();
}

/** Sample formats in the order in which they come near a wished one, that one first. */
std::vector<int> nearestFirst(int wished) {
    std::vector<int> order = {wished};
    const auto append = [&order](std::initializer_list<int> subtypes) {
        order.insert(order.end(), subtypes);
    };
    switch (wished) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            append({SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16});
            break;
        case SF_FORMAT_PCM_16:
            append({SF_FORMAT_PCM_24, SF_FORMAT_PCM_32});
            break;
        case SF_FORMAT_PCM_32:
            append({SF_FORMAT_DOUBLE, SF_FORMAT_PCM_24, SF_FORMAT_FLOAT});
            break;
        case SF_FORMAT_FLOAT:
            append({SF_FORMAT_DOUBLE, SF_FORMAT_PCM_32, SF_FORMAT_PCM_24});
            break;
        case SF_FORMAT_DOUBLE:
            append({SF_FORMAT_FLOAT, SF_FORMAT_PCM_32, SF_FORMAT_PCM_24});
            break;
        case SF_FORMAT_VORBIS:
        case SF_FORMAT_OPUS:
        case SF_FORMAT_MPEG_LAYER_III:
            // Lossy in every case; the container's own codec comes before plain samples.
            append({SF_FORMAT_VORBIS, SF_FORMAT_PCM_24});
            break;
        default:
            break;
    }
    append({SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_FLOAT, SF_FORMAT_VORBIS, SF_FORMAT_OPUS,
            SF_FORMAT_MPEG_LAYER_III});
    return order;
}

bool canHold(int format, const StreamShape& shape) {
    const bool isMp3 = (format & SF_FORMAT_SUBMASK) == SF_FORMAT_MPEG_LAYER_III;
    if (isMp3 && (format & SF_FORMAT_TYPEMASK) != SF_FORMAT_MPEG) {
        // A WAV file may hold MP3, but hardly anything reads that.
        return false;
    }
    SF_INFO info{};
    info.format = format;
    info.channels = shape.channels;
    info.samplerate = shape.sampleRate;
    return sf_format_check(&info) != 0;
}

std::optional<int> nearestHeld(int container, const StreamShape& shape, int wished) {
    for (const int subtype : nearestFirst(wished)) {
        if (canHold(container | subtype, shape)) {
            return container | subtype;
        }
    }
    return std::nullopt;
}

/** At most, for what a WAV file can hold. */
double bytesPerSample(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_DOUBLE:
            return 8.0;
        case SF_FORMAT_FLOAT:
            return 4.0;
        default:
            return static_cast<double>(integerBits(format)) / 8.0;
    }
}

/** A plain WAV header counts bytes in 32 bits. */
int widenedForLength(int format, const StreamShape& shape) {
    const int container = format & SF_FORMAT_TYPEMASK;
    if (container != SF_FORMAT_WAV && container != SF_FORMAT_WAVEX) {
        return format;
    }
    // 4 GiB less room for tags.
    constexpr double largestWav = 4.2e9;
    const double bytes = static_cast<double>(shape.frames) * static_cast<double>(shape.channels) *
                         bytesPerSample(format);
    const int wide = SF_FORMAT_RF64 | (format & SF_FORMAT_SUBMASK);
    return bytes > largestWav && canHold(wide, shape) ? wide : format;
}

}  // namespace

SampleFormat sampleFormatOfName(const std::string& name) {
    for (const NamedFormat& entry : namedFormats) {
        if (entry.name == name) {
            return entry.format;
        }
    }
    throw HostError(
        ExitStatus::badUsage,
        "--sample-format takes pcm8, pcm16, pcm24, pcm32, float or double, not '" + name + "'");
}

int subtypeOf(SampleFormat format) {
    const auto* const entry =
        std::find_if(namedFormats.begin(), namedFormats.end(),
                     [format](const NamedFormat& candidate) { return candidate.format == format; });
    return entry->subtype;
}

std::string subtypeName(int subtype) {
    SF_FORMAT_INFO info{};
    info.format = subtype & SF_FORMAT_SUBMASK;
    const bool known = sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0;
    return known && info.name != nullptr ? info.name : "another sample format";
}

int outputFormat(const std::string& path, const StreamShape& input, int wishedSubtype) {
    const int container = containerFor(path, input);
    const bool isOpus = lowerSuffix(path) == ".opus";
    const std::optional<int> format =
        nearestHeld(container, input, isOpus ? SF_FORMAT_OPUS : wishedSubtype);
    const bool wrongCodec = isOpus && format && (*format & SF_FORMAT_SUBMASK) != SF_FORMAT_OPUS;
    if (!format || wrongCodec) {
        throw HostError(ExitStatus::cannotCreateOutput,
                        "a file like '" + path + "' cannot hold " + channelsText(input.channels) +
                            " at " + std::to_string(input.sampleRate) + " Hz");
    }
    return widenedForLength(*format, input);
}

int integerBits(int subtype) {
    switch (subtype & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            return 8;
        case SF_FORMAT_PCM_24:
        case SF_FORMAT_ALAC_24:
            return 24;
        case SF_FORMAT_ALAC_20:
            return 20;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_ALAC_32:
            return 32;
        case SF_FORMAT_FLOAT:
        case SF_FORMAT_DOUBLE:
        case SF_FORMAT_VORBIS:
        case SF_FORMAT_OPUS:
        case SF_FORMAT_MPEG_LAYER_I:
        case SF_FORMAT_MPEG_LAYER_II:
        case SF_FORMAT_MPEG_LAYER_III:
            return 0;
        default:
            // The logarithmic and predicting codes of telephony take 16-bit samples.
            return 16;
    }
}

}  // namespace vorun::restore
