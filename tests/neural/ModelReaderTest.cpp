#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/MemoryStream.h"
#include "neural/ModelReader.h"

namespace vorun {
namespace {

using test::MemoryStream;

using Bytes = std::vector<std::uint8_t>;

TEST(ModelReader, IntegersAreLittleEndianAndSignExtended) {
    MemoryStream stream({0x85, 0x85, 0xFE, 0xFF, 0x04, 0x03, 0x02, 0x81});
    ModelReader reader(stream);
    EXPECT_EQ(reader.ReadInt8(), -123);
    EXPECT_EQ(reader.ReadUnsignedByte(), 133);
    EXPECT_EQ(reader.ReadInt16(), -2);
    EXPECT_EQ(reader.ReadInt32(), static_cast<std::int32_t>(0x81020304U));
}

TEST(ModelReader, FloatsAreIeeeLittleEndian) {
    MemoryStream stream({0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0x04, 0xC0});
    ModelReader reader(stream);
    EXPECT_EQ(reader.ReadFloat(), 1.0F);
    EXPECT_EQ(reader.ReadDouble(), -2.5);
}

TEST(ModelReader, StartsAtTheFirstByteWhateverThePosition) {
    MemoryStream stream({7, 8, 9});
    stream.SetPosition(2);
    ModelReader reader(stream);
    EXPECT_EQ(reader.ReadInt8(), 7);
}

TEST(ModelReader, StringIsItsBytesAndLengthZeroIsEmpty) {
    MemoryStream stream({2, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0, 5});
    ModelReader reader(stream);
    EXPECT_EQ(reader.ReadString(), std::string("\0\xFF", 2));
    EXPECT_EQ(reader.ReadString(), "");
    EXPECT_EQ(reader.ReadInt8(), 5);
}

TEST(ModelReader, NegativeStringLengthRaisesVectorTooLong) {
    MemoryStream stream({0xFF, 0xFF, 0xFF, 0xFF});
    ModelReader reader(stream);
    try {
        reader.ReadString();
        FAIL() << "no failure";
    } catch (const std::length_error& failure) {
        EXPECT_STREQ(failure.what(), "vector too long");
    }
}

TEST(ModelReader, StringLongerThanTheRestOfTheFileIsNeverAskedFor) {
    MemoryStream stream({0xFF, 0xFF, 0xFF, 0x7F, 'a', 'b'});
    ModelReader reader(stream);
    EXPECT_THROW(reader.ReadString(), std::runtime_error);
    EXPECT_EQ(stream.largestRequest(), 4U);
}

TEST(ModelReader, ValueThatTheFileCutsOffRaises) {
    for (const std::size_t length : {0U, 1U, 2U, 3U}) {
        MemoryStream stream(Bytes(length, 1));
        ModelReader reader(stream);
        EXPECT_THROW(reader.ReadInt32(), std::runtime_error);
    }
}

TEST(ModelReader, UnbackedBytesAreLimitedOverTheWholeFile) {
    MemoryStream stream(Bytes(100'000, 0));
    ModelReader reader(stream);
    reader.ChargeUnbackedBytes(150'000);
    reader.ChargeUnbackedBytes(50'000);
    EXPECT_THROW(reader.ChargeUnbackedBytes(1), std::runtime_error);
}

TEST(ModelReader, UnbackedBytesOfASmallFileMayReach64KiB) {
    MemoryStream stream(Bytes(10, 0));
    ModelReader reader(stream);
    reader.ChargeUnbackedBytes(65'536);
    EXPECT_THROW(reader.ChargeUnbackedBytes(1), std::runtime_error);
}

}  // namespace
}  // namespace vorun
