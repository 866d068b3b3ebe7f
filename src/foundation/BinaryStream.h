#pragma once

#include <cstdint>

namespace vorun {

/// A source of bytes at a position that can be moved. No buffering, no decoding. One thread at a
/// time.
class BinaryInputStream {
  public:
    BinaryInputStream() = default;
    BinaryInputStream(const BinaryInputStream&) = delete;
    BinaryInputStream& operator=(const BinaryInputStream&) = delete;
    virtual ~BinaryInputStream() = default;

    /// Reads up to `count` bytes into `buffer` and returns how many came: fewer at the end, 0 past
    /// it or on failure.
    virtual std::uint32_t Read(void* buffer, std::uint32_t count) = 0;
    /// Moves to `position` bytes from the start. False if that is impossible.
    virtual bool SetPosition(std::uint64_t position) = 0;
    /// Bytes from the start to the next one read. Raises std::runtime_error on failure.
    virtual std::int64_t GetPosition() = 0;
    /// Size in bytes. Raises std::runtime_error on failure.
    virtual std::int64_t GetSize() = 0;
    virtual bool IsValid() { return true; }
    virtual void Close() {}
};

class InputStream : public BinaryInputStream {};

/// A target of bytes at a position that can be moved; the writing side of BinaryInputStream.
class BinaryOutputStream {
  public:
    BinaryOutputStream() = default;
    BinaryOutputStream(const BinaryOutputStream&) = delete;
    BinaryOutputStream& operator=(const BinaryOutputStream&) = delete;
    virtual ~BinaryOutputStream() = default;

    /// Writes `count` bytes from `buffer` and returns how many went: 0 on failure.
    virtual std::uint32_t Write(const void* buffer, std::uint32_t count) = 0;
    virtual void Flush() {}
    virtual bool SetPosition(std::uint64_t position) = 0;
    virtual std::int64_t GetPosition() = 0;
    virtual bool IsValid() { return true; }
    virtual void Close() {}
};

class OutputStream : public BinaryOutputStream {};

}  // namespace vorun
