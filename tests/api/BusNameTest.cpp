#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

using Buffer = std::array<char, 32>;

/** A text, then zeros, then untouched bytes to the end. */
Buffer filledBuffer(std::string_view text, std::size_t zeros) {
    Buffer buffer;
    buffer.fill('\x55');
    auto* behind = std::copy(text.begin(), text.end(), buffer.begin());
    std::fill_n(behind, zeros, '\0');
    return buffer;
}

class BusNames : public testing::Test {
  protected:
    static TestModel denoiser() {
        TestModel model = constantMasks(frameHeader(32, 32, 16), {0.5F});
        model.header.busNames = {"Processed", "Residual"};
        return model;
    }

    /** A buffer of 32 bytes of 0x55 after a call that was offered `nameSize` of them. */
    Buffer bytesAfter(std::int32_t index, std::int32_t nameSize) {
        Buffer buffer = filledBuffer("", 0);
        vorunGetOutputBusName(processor_.handle(), index, buffer.data(), nameSize);
        return buffer;
    }

    TemporaryModel file_{denoiser()};
    ApiProcessor processor_{file_.path(), 1, 48000.0};
};

TEST_F(BusNames, CountIncludesTheResidual) {
    EXPECT_EQ(processor_.busCount(), 2);
}

TEST_F(BusNames, IndexBelowTheCountGivesTheNamesInOrder) {
    EXPECT_EQ(processor_.busName(0), "Processed");
    EXPECT_EQ(processor_.busName(1), "Residual");
}

TEST_F(BusNames, IndexEqualToTheCountGivesAnEmptyName) {
    EXPECT_EQ(bytesAfter(2, 8), filledBuffer("", 8));
}

TEST_F(BusNames, IndicesWrapOverTheNamesAndOneEmptyPlace) {
    EXPECT_EQ(processor_.busName(3), "Processed");
    EXPECT_EQ(processor_.busName(4), "Residual");
    EXPECT_EQ(processor_.busName(5), "");
    EXPECT_EQ(processor_.busName(-1), "");
    EXPECT_EQ(processor_.busName(-2), "Residual");
    EXPECT_EQ(processor_.busName(-3), "Processed");
    EXPECT_EQ(processor_.busName(-4), "");
}

TEST_F(BusNames, TheExtremeIndicesWrapToo) {
    // 2^31 - 1 leaves 1 modulo 3; -2^31 leaves 1 as well, the remainder taken non-negative.
    EXPECT_EQ(processor_.busName(std::numeric_limits<std::int32_t>::max()), "Residual");
    EXPECT_EQ(processor_.busName(std::numeric_limits<std::int32_t>::min()), "Residual");
    EXPECT_EQ(processor_.busName(std::numeric_limits<std::int32_t>::max() - 1), "Processed");
    EXPECT_EQ(processor_.busName(std::numeric_limits<std::int32_t>::min() + 1), "");
}

TEST_F(BusNames, AShorterNameIsFollowedByZerosToTheEndOfTheBuffer) {
    EXPECT_EQ(bytesAfter(0, 20), filledBuffer("Processed", 11));
}

TEST_F(BusNames, ANameAsLongAsTheBufferHasNoTerminator) {
    EXPECT_EQ(bytesAfter(0, 9), filledBuffer("Processed", 0));
}

TEST_F(BusNames, ALongerNameIsCutWithoutTerminator) {
    EXPECT_EQ(bytesAfter(0, 4), filledBuffer("Proc", 0));
    EXPECT_EQ(bytesAfter(0, 1), filledBuffer("P", 0));
}

TEST_F(BusNames, ABufferWithoutBytesStaysAsItIs) {
    EXPECT_EQ(bytesAfter(0, 0), filledBuffer("", 0));
    EXPECT_EQ(bytesAfter(0, -1), filledBuffer("", 0));
    EXPECT_EQ(bytesAfter(0, std::numeric_limits<std::int32_t>::min()), filledBuffer("", 0));
    EXPECT_EQ(bytesAfter(2, 0), filledBuffer("", 0));
    vorunGetOutputBusName(processor_.handle(), 0, nullptr, 0);
}

TEST(BusNamesOfAModel, AreTheFilesWithEveryByteKept) {
    TestModel model = constantMasks(frameHeader(32, 32, 16, 1, 1, 3), {0.1F});
    const std::string odd("a\0b", 3);
    model.header.busNames = {std::string(300, 'x'), "", odd, "Gesang \xC3\xA4"};
    const TemporaryModel file(model);
    const ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    EXPECT_EQ(processor.busCount(), 4);
    char name[5] = {1, 1, 1, 1, 1};
    vorunGetOutputBusName(processor.handle(), 2, name, 5);
    EXPECT_EQ(std::string(name, 5), std::string("a\0b\0\0", 5));
    std::vector<char> longName(400, 'q');
    vorunGetOutputBusName(processor.handle(), 0, longName.data(), 400);
    EXPECT_EQ(std::count(longName.begin(), longName.end(), 'x'), 300);
    EXPECT_EQ(std::count(longName.begin(), longName.end(), '\0'), 100);
    EXPECT_EQ(processor.busName(1), "");
    EXPECT_EQ(processor.busName(3), "Gesang \xC3\xA4");
}

TEST(BusNamesOfAModel, FilesWithoutNamesHaveProcessedAndResidual) {
    for (const int version : {4100, 4101}) {
        TestModel model = constantMasks(frameHeader(32, 32, 16), {0.5F});
        model.header.version = version;
        const TemporaryModel file(model);
        const ApiProcessor processor(file.path(), 1, 48000.0);
        ASSERT_TRUE(processor.created());
        EXPECT_EQ(processor.busCount(), 2);
        EXPECT_EQ(processor.busName(0), "Processed");
        EXPECT_EQ(processor.busName(1), "Residual");
    }
}

}  // namespace
}  // namespace vorun::apitest
