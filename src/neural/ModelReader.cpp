#include "neural/ModelReader.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace vorun {
namespace {

std::int64_t sizeFromStart(BinaryInputStream& stream) {
    if (!stream.SetPosition(0)) {
        throw std::runtime_error("model file cannot be positioned");
    }
    return stream.GetSize();
}

// A block whose values the file leaves out can be as large as one stored in 16 bits, changed to a
// 32-bit block without values: hence twice the size. The floor lets small blocks load anywhere.
std::int64_t unbackedBytesAllowed(std::int64_t fileSize) {
    constexpr std::int64_t floorBytes = 65536;
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max() / 2;
    return std::max(floorBytes, 2 * std::clamp<std::int64_t>(fileSize, 0, largest));
}

}  // namespace

ModelReader::ModelReader(BinaryInputStream& stream)
    : stream_(stream),
      size_(sizeFromStart(stream)),
      unbackedBytesLeft_(unbackedBytesAllowed(size_)) {}

std::string ModelReader::ReadString() {
    const std::int32_t length = ReadInt32();
    if (length < 0) {
        throw std::length_error("vector too long");
    }
    RequireBytes(length);
    std::string text(static_cast<std::size_t>(length), '\0');
    ReadBytes(text.data(), length);
    return text;
}

void ModelReader::ReadBytes(void* target, std::int64_t count) {
    if (count == 0) {
        return;
    }
    if (count < 0 || count > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("vector too long");
    }
    const auto wanted = static_cast<std::uint32_t>(count);
    if (stream_.Read(target, wanted) != wanted) {
        throw std::runtime_error("model file ends early");
    }
}

void ModelReader::RequireBytes(std::int64_t count) {
    if (count > size_ - stream_.GetPosition()) {
        throw std::runtime_error("model file ends early");
    }
}

void ModelReader::ChargeUnbackedBytes(std::int64_t count) {
    if (count > unbackedBytesLeft_) {
        throw std::runtime_error("model file asks for more memory than its size allows");
    }
    unbackedBytesLeft_ -= count;
}

}  // namespace vorun
