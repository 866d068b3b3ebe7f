#pragma once

#include <cstdint>
#include <string>

#include "foundation/BinaryStream.h"

namespace vorun {

/**
 * Decodes the primitive forms of a model file: little-endian, packed, as the machine holds them.
 *
 * Every operation throws when the file ends before the value does, so a cut file never continues
 * with stale values. Memory is never taken on the word of a file alone: lengths are compared with
 * what the file still holds first.
 */
class ModelReader {
  public:
    /** Starts at the stream's first byte; throws if that cannot be reached. */
    explicit ModelReader(BinaryInputStream& stream);

    std::int32_t ReadInt8() { return ReadValue<std::int8_t>(); }
    std::int32_t ReadUnsignedByte() { return ReadValue<std::uint8_t>(); }
    std::int32_t ReadInt16() { return ReadValue<std::int16_t>(); }
    std::int32_t ReadInt32() { return ReadValue<std::int32_t>(); }
    float ReadFloat() { return ReadValue<float>(); }
    double ReadDouble() { return ReadValue<double>(); }
    /** Throws std::length_error "vector too long" for a negative length. */
    std::string ReadString();

    /** Fills the whole target or throws. */
    void ReadBytes(void* target, std::int64_t count);
    /** Throws if fewer bytes are left. */
    void RequireBytes(std::int64_t count);
    /**
     * Accounts for memory that a file asks for without holding its contents; throws once the sum
     * over the file passes twice the file's size (64 KiB for small files).
     */
    void ChargeUnbackedBytes(std::int64_t count);

    /** Size of the file in bytes. */
    std::int64_t size() const { return size_; }
    /** Bytes from the start of the file to what is read next. */
    std::int64_t position() const { return stream_.GetPosition(); }

  private:
    template <class Value>
    Value ReadValue() {
        Value value{};
        ReadBytes(&value, sizeof(value));
        return value;
    }

    BinaryInputStream& stream_;
    std::int64_t size_;
    std::int64_t unbackedBytesLeft_;
};

}  // namespace vorun
