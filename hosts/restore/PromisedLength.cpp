#include "restore/PromisedLength.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace vorun::restore {
namespace {

constexpr std::int64_t chunkHeaderBytes = 8;
constexpr std::int64_t wideSize = 0xFFFFFFFF;

/** A file made of chunks, each with a name of four letters and a length of 32 bits. */
class ChunkReader {
  public:
    explicit ChunkReader(const std::string& path) : file_(path, std::ios::binary | std::ios::ate) {
        length_ = file_ ? static_cast<std::int64_t>(file_.tellg()) : 0;
    }

    std::int64_t length() const { return length_; }

    std::string name(std::int64_t place) {
        std::string text(4, '\0');
        file_.seekg(place);
        file_.read(text.data(), 4);
        return file_ ? text : std::string();
    }

    /** An unsigned number of up to 8 bytes; 0 beyond the end of the file. */
    std::uint64_t number(std::int64_t place, std::size_t bytes, bool bigEndian) {
        std::array<unsigned char, 8> digits{};
        std::string text(bytes, '\0');
        file_.seekg(place);
        file_.read(text.data(), static_cast<std::streamsize>(bytes));
        if (!file_) {
            return 0;
        }
        std::copy(text.begin(), text.end(), digits.begin());
        if (bigEndian) {
            std::reverse(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(bytes));
        }
        std::uint64_t value = 0;
        for (std::size_t i = bytes; i > 0; --i) {
            value = value << 8U | digits[i - 1];
        }
        return value;
    }

  private:
    std::ifstream file_;
    std::int64_t length_ = 0;
};

/** What programs write that cannot go back to the header: about 2 GiB, 4 GiB, or nothing. */
bool isStandIn(std::int64_t size) {
    constexpr std::int64_t twoGib = 0x80000000;
    constexpr std::int64_t room = 0x1000;
    return size == 0 || (size >= twoGib - room && size <= twoGib + room) || size > wideSize - room;
}

SoundBytes atPlace(std::int64_t place, std::int64_t promised, std::int64_t fileLength) {
    return {promised, std::min(promised, std::max<std::int64_t>(0, fileLength - place))};
}

/** The length of the sound when 32 bits are too few for it; the first chunk of RF64 has it. */
std::int64_t lengthInRf64(ChunkReader& file) {
    constexpr std::int64_t firstChunk = 12;
    constexpr std::int64_t place = firstChunk + chunkHeaderBytes + 8;
    const std::uint64_t length = file.name(firstChunk) == "ds64" ? file.number(place, 8, false) : 0;
    constexpr std::uint64_t largest = std::uint64_t{1} << 62U;
    return length < largest ? static_cast<std::int64_t>(length) : 0;
}

}  // namespace

SoundBytes soundBytes(const std::string& path) {
    ChunkReader file(path);
    const std::string form = file.name(0);
    const bool bigEndian = form == "FORM" || form == "RIFX";
    if (!bigEndian && form != "RIFF" && form != "RF64") {
        return {};
    }
    const std::string_view wanted = form == "FORM" ? "SSND" : "data";
    std::int64_t place = 12;
    while (place + chunkHeaderBytes <= file.length()) {
        auto size = static_cast<std::int64_t>(file.number(place + 4, 4, bigEndian));
        if (file.name(place) != wanted) {
            // Chunks start at even places.
            place += chunkHeaderBytes + size + size % 2;
            continue;
        }
        const bool isWide = form == "RF64" && size == wideSize;
        size = isWide ? lengthInRf64(file) : size;
        if (!isWide && isStandIn(size)) {
            return {};
        }
        // In AIFF two numbers of 4 bytes come before the sound.
        const std::int64_t inFront = form == "FORM" ? 8 : 0;
        return atPlace(place + chunkHeaderBytes + inFront, size - inFront, file.length());
    }
    return {};
}

}  // namespace vorun::restore
