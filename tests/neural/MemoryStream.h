#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "foundation/BinaryStream.h"

namespace vorun::test {

/** A file in memory, which notes when a reader asks for more than it holds. */
class MemoryStream : public BinaryInputStream {
  public:
    explicit MemoryStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

    std::uint32_t Read(void* buffer, std::uint32_t count) override {
        const auto left = static_cast<std::uint32_t>(bytes_.size() - position_);
        const std::uint32_t given = std::min(count, left);
        largestRequest_ = std::max(largestRequest_, count);
        if (given > 0) {
            std::memcpy(buffer, bytes_.data() + position_, given);
            position_ += given;
        }
        return given;
    }
    bool SetPosition(std::uint64_t position) override {
        if (position > bytes_.size()) {
            return false;
        }
        position_ = position;
        return true;
    }
    std::int64_t GetPosition() override { return static_cast<std::int64_t>(position_); }
    std::int64_t GetSize() override { return static_cast<std::int64_t>(bytes_.size()); }

    /** The most bytes that one read has asked for. */
    std::uint32_t largestRequest() const { return largestRequest_; }

  private:
    std::vector<std::uint8_t> bytes_;
    std::uint64_t position_ = 0;
    std::uint32_t largestRequest_ = 0;
};

}  // namespace vorun::test
