#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/MemoryStream.h"
#include "neural/TensorReader.h"

namespace vorun {
namespace {

using test::FloatTensor;
using test::MemoryStream;
using test::valuesOf;
using testing::Each;
using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;
using Shape = std::vector<std::int32_t>;

constexpr std::uint8_t half = 0;
constexpr std::uint8_t single = 1;
constexpr std::uint8_t marker = 0x5A;

void append32(Bytes& bytes, std::uint32_t word) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>((word >> shift) & 0xFFU));
    }
}

/** Element type (from version 4105 on), rank and dimensions. */
Bytes blockHead(std::int32_t version, std::uint8_t elementType, const Shape& shape) {
    Bytes bytes;
    if (version >= 4105) {
        bytes.push_back(elementType);
    }
    bytes.push_back(static_cast<std::uint8_t>(shape.size()));
    for (const std::int32_t dimension : shape) {
        append32(bytes, static_cast<std::uint32_t>(dimension));
    }
    return bytes;
}

Bytes& append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

struct Outcome {
    FloatTensor tensor;
    std::int32_t next;
    std::uint32_t largestRequest;
};

/** Reads a block and the byte behind it. */
Outcome readBlock(const Bytes& bytes, std::int32_t version) {
    MemoryStream stream(bytes);
    ModelReader reader(stream);
    FloatTensor tensor = ReadTensor<float>(reader, version);
    const std::int32_t next = reader.ReadInt8();
    return {tensor, next, stream.largestRequest()};
}

const Bytes oneAndMinusTwo = {0, 0, 0x80, 0x3F, 0, 0, 0, 0xC0};

TEST(TensorReader, SinglesLandAsTheyStandWithAnElementTypeFromVersion4105On) {
    for (const std::int32_t version : {4100, 4104, 4105, 4106, 2147483647}) {
        Bytes bytes = blockHead(version, single, {2, 1});
        append(append(bytes, oneAndMinusTwo), {marker});
        const Outcome outcome = readBlock(bytes, version);
        EXPECT_EQ(outcome.tensor.shape(), (Shape{2, 1}));
        EXPECT_THAT(valuesOf(outcome.tensor), ElementsAre(1, -2));
        EXPECT_EQ(outcome.tensor.capacity(), 2);
        EXPECT_EQ(outcome.next, marker);
    }
}

TEST(TensorReader, HalvesAreExpanded) {
    Bytes bytes = blockHead(4105, half, {3});
    append(bytes, {0x00, 0x3C, 0x00, 0x7C, 0x01, 0x00, marker});
    const Outcome outcome = readBlock(bytes, 4105);
    EXPECT_THAT(valuesOf(outcome.tensor), ElementsAre(1.0F, 65536.0F, 0x1p-24F));
    EXPECT_EQ(outcome.next, marker);
}

TEST(TensorReader, RankZeroConsumesNoValuesAndHasNoStorage) {
    Bytes bytes = blockHead(4105, single, {});
    const Outcome outcome = readBlock(append(bytes, {marker}), 4105);
    EXPECT_EQ(outcome.tensor.rank(), 0);
    EXPECT_FALSE(outcome.tensor.hasStorage());
    EXPECT_EQ(outcome.next, marker);
}

TEST(TensorReader, ZeroDimensionConsumesNoValuesButKeepsTheShape) {
    for (const std::uint8_t elementType : {half, single}) {
        Bytes bytes = blockHead(4105, elementType, {3, 0, 2});
        const Outcome outcome = readBlock(append(bytes, {marker}), 4105);
        EXPECT_EQ(outcome.tensor.shape(), (Shape{3, 0, 2}));
        EXPECT_FALSE(outcome.tensor.hasStorage());
        EXPECT_EQ(outcome.next, marker);
    }
}

TEST(TensorReader, NegativeProductConsumesNoValues) {
    Bytes bytes = blockHead(4105, single, {-3, 2});
    const Outcome outcome = readBlock(append(bytes, {marker}), 4105);
    EXPECT_EQ(outcome.tensor.volume(), -6);
    EXPECT_FALSE(outcome.tensor.hasStorage());
    EXPECT_EQ(outcome.next, marker);
}

TEST(TensorReader, ProductThatWrapsToZeroConsumesNoValues) {
    Bytes bytes = blockHead(4105, single, {65536, 65536});
    const Outcome outcome = readBlock(append(bytes, {marker}), 4105);
    EXPECT_EQ(outcome.tensor.volume(), 0);
    EXPECT_EQ(outcome.next, marker);
}

TEST(TensorReader, ProductThatWrapsToASmallNumberReadsThatManyValues) {
    // 65537 * -65535 is 1 modulo 2 to the power 32.
    Bytes bytes = blockHead(4105, single, {65537, -65535});
    append(bytes, {0, 0, 0x80, 0x3F, marker});
    const Outcome outcome = readBlock(bytes, 4105);
    EXPECT_EQ(outcome.tensor.volume(), 1);
    EXPECT_EQ(outcome.tensor.capacity(), 1);
    EXPECT_EQ(outcome.next, marker);
}

TEST(TensorReader, OtherElementTypesConsumeNoValuesAndLoadWithZeros) {
    for (const std::uint8_t elementType : Bytes{2, 127, 128, 255}) {
        Bytes bytes = blockHead(4105, elementType, {5, 20});
        const Outcome outcome = readBlock(append(bytes, {marker}), 4105);
        ASSERT_EQ(outcome.tensor.volume(), 100);
        EXPECT_THAT(valuesOf(outcome.tensor), Each(0.0F));
        EXPECT_EQ(outcome.next, marker);
    }
}

TEST(TensorReader, OtherElementTypesCannotTakeMemoryOutOfProportionToTheFile) {
    Bytes bytes = blockHead(4105, 2, {500'000'000});
    const std::uint64_t before = TensorData<float>::bytesAllocated();
    EXPECT_THROW(readBlock(append(bytes, {marker}), 4105), std::runtime_error);
    EXPECT_EQ(TensorData<float>::bytesAllocated(), before);
}

TEST(TensorReader, ValuesThatTheFileCannotHoldTakeNoMemory) {
    for (const std::uint8_t elementType : {half, single}) {
        Bytes bytes = blockHead(4105, elementType, {500'000'000});
        append(append(bytes, oneAndMinusTwo), {marker});
        const std::uint64_t before = TensorData<float>::bytesAllocated();
        EXPECT_THROW(readBlock(bytes, 4105), std::runtime_error);
        EXPECT_EQ(TensorData<float>::bytesAllocated(), before);
    }
}

TEST(TensorReader, NegativeRankRaisesVectorTooLong) {
    for (const std::uint8_t rank : Bytes{128, 255}) {
        try {
            readBlock({single, rank, marker}, 4105);
            FAIL() << "no failure";
        } catch (const std::length_error& failure) {
            EXPECT_STREQ(failure.what(), "vector too long");
        }
    }
}

TEST(TensorReader, Rank127IsRead) {
    Bytes bytes = blockHead(4105, single, Shape(127, 1));
    append(bytes, {0, 0, 0x80, 0x3F, marker});
    const Outcome outcome = readBlock(bytes, 4105);
    EXPECT_EQ(outcome.tensor.rank(), 127);
    EXPECT_THAT(valuesOf(outcome.tensor), ElementsAre(1));
}

}  // namespace
}  // namespace vorun
