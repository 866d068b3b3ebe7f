#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "foundation/FileStream.h"
#include "support/ScratchFolder.h"

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

namespace vorun {
namespace {

constexpr std::int32_t forReading = 0;
constexpr std::int32_t forWriting = 1;
constexpr std::int32_t forBoth = 2;
constexpr std::int32_t mustExist = 0;
constexpr std::int32_t madeIfMissing = 1;
constexpr std::int32_t mustBeNew = 2;

template <class Call>
std::string failureOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

// Each test has a folder of its own, with a file of the bytes 0 to 9.
class FileStreamTest : public testing::Test {
  protected:
    void SetUp() override { folder.write("ten", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}); }

    std::string path(const std::string& name) const { return folder.path(name); }

    test::ScratchFolder folder;
};

TEST_F(FileStreamTest, JoinsAnInputAndAnOutputStream) {
    static_assert(std::is_base_of_v<InputStream, FileStream>);
    static_assert(std::is_base_of_v<OutputStream, FileStream>);
    static_assert(std::is_base_of_v<BinaryInputStream, InputStream>);
    static_assert(std::is_base_of_v<BinaryOutputStream, OutputStream>);
    static_assert(!std::is_copy_constructible_v<FileStream>);
}

TEST_F(FileStreamTest, MissingFileIsNotOpenedAndTheObjectDiesSafely) {
    auto stream = std::make_unique<FileStream>();
    EXPECT_FALSE(stream->Open(path("missing"), forReading, mustExist));
    EXPECT_FALSE(std::filesystem::exists(path("missing")));
    stream.reset();
}

TEST_F(FileStreamTest, StreamThatFailedToOpenReadsAndWritesNothing) {
    FileStream stream;
    ASSERT_FALSE(stream.Open(path("missing"), forReading, mustExist));
    char byte = 'x';
    EXPECT_EQ(stream.Read(&byte, 1), 0U);
    EXPECT_EQ(stream.Write(&byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
    EXPECT_FALSE(stream.SetPosition(0));
    stream.Flush();
    stream.Close();
    stream.Close();
}

TEST_F(FileStreamTest, ReadFillsTheBufferFromThePosition) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    char bytes[4] = {};
    EXPECT_EQ(stream.Read(bytes, 4), 4U);
    EXPECT_EQ(bytes[3], 3);
    EXPECT_EQ(stream.GetPosition(), 4);
    EXPECT_EQ(stream.Read(bytes, 4), 4U);
    EXPECT_EQ(bytes[0], 4);
}

TEST_F(FileStreamTest, ReadAcrossTheEndReturnsTheSmallerCount) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    ASSERT_TRUE(stream.SetPosition(7));
    char bytes[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(stream.Read(bytes, 8), 3U);
    EXPECT_EQ(bytes[2], 9);
    EXPECT_EQ(bytes[3], 'x');
}

TEST_F(FileStreamTest, ReadPastTheEndReturnsZeroAndLeavesTheBuffer) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    char byte = 'x';
    ASSERT_TRUE(stream.SetPosition(10));
    EXPECT_EQ(stream.Read(&byte, 1), 0U);
    ASSERT_TRUE(stream.SetPosition(1000));
    EXPECT_EQ(stream.Read(&byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(stream.GetPosition(), 1000);
}

TEST_F(FileStreamTest, ReadOfNoBytesReturnsZero) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(stream.Read(nullptr, 0), 0U);
    EXPECT_EQ(stream.GetPosition(), 0);
}

TEST_F(FileStreamTest, SetPositionZeroAfterReadsStartsAgainAtTheFirstByte) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    char bytes[6] = {};
    ASSERT_EQ(stream.Read(bytes, 6), 6U);
    EXPECT_TRUE(stream.SetPosition(0));
    EXPECT_EQ(stream.Read(bytes, 1), 1U);
    EXPECT_EQ(bytes[0], 0);
}

TEST_F(FileStreamTest, PositionsAboveTheLargestSignedOneAreRefusedAndChangeNothing) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    ASSERT_TRUE(stream.SetPosition(3));
    EXPECT_FALSE(stream.SetPosition(std::uint64_t{1} << 63));
    EXPECT_FALSE(stream.SetPosition(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(stream.GetPosition(), 3);
}

TEST_F(FileStreamTest, PositionsBeyond32BitsAreKept) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    ASSERT_TRUE(stream.SetPosition(std::uint64_t{1} << 33));
    EXPECT_EQ(stream.GetPosition(), std::int64_t{1} << 33);
}

TEST_F(FileStreamTest, GetSizeIsTheFilesSizeAtAnyPosition) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(stream.GetSize(), 10);
    ASSERT_TRUE(stream.SetPosition(5));
    EXPECT_EQ(stream.GetSize(), 10);
}

TEST_F(FileStreamTest, ClosedStreamRaisesForSizeAndPosition) {
    FileStream stream;
    EXPECT_EQ(failureOf([&] { stream.GetSize(); }), "Unable to get file size from WIN32 API");
    EXPECT_EQ(failureOf([&] { stream.GetPosition(); }),
              "Unable to get file position from WIN32 API");
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(failureOf([&] { stream.GetSize(); }), "none");
    stream.Close();
    EXPECT_EQ(failureOf([&] { stream.GetSize(); }), "Unable to get file size from WIN32 API");
    EXPECT_EQ(failureOf([&] { stream.GetPosition(); }),
              "Unable to get file position from WIN32 API");
}

TEST_F(FileStreamTest, ClosedStreamReadsAndWritesNothing) {
    FileStream stream;
    char byte = 'x';
    EXPECT_EQ(stream.Read(&byte, 1), 0U);
    EXPECT_EQ(stream.Write(&byte, 1), 0U);
    EXPECT_FALSE(stream.SetPosition(0));
    stream.Flush();
    EXPECT_EQ(byte, 'x');
}

TEST_F(FileStreamTest, IsValidIsTrueEvenAfterAFailedOpen) {
    FileStream stream;
    EXPECT_TRUE(stream.IsValid());
    EXPECT_FALSE(stream.Open(path("missing"), forReading, mustExist));
    EXPECT_TRUE(stream.IsValid());
    EXPECT_TRUE(static_cast<BinaryOutputStream&>(stream).IsValid());
}

TEST_F(FileStreamTest, CloseTwiceIsHarmlessAndTheStreamOpensAgain) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    stream.Close();
    stream.Close();
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(stream.GetSize(), 10);
}

TEST_F(FileStreamTest, SeveralStreamsReadOneFileEachAtItsOwnPosition) {
    FileStream first;
    FileStream second;
    ASSERT_TRUE(first.Open(path("ten"), forReading, mustExist));
    ASSERT_TRUE(second.Open(path("ten"), forReading, mustExist));
    char byte = 0;
    ASSERT_TRUE(first.SetPosition(5));
    EXPECT_EQ(second.Read(&byte, 1), 1U);
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(first.Read(&byte, 1), 1U);
    EXPECT_EQ(byte, 5);
}

TEST_F(FileStreamTest, WritesAtThePositionThroughEitherSide) {
    {
        FileStream stream;
        ASSERT_TRUE(stream.Open(path("new"), forBoth, mustBeNew));
        BinaryOutputStream& output = stream;
        EXPECT_EQ(output.Write("abcdef", 6), 6U);
        EXPECT_EQ(output.GetPosition(), 6);
        EXPECT_TRUE(output.SetPosition(2));
        EXPECT_EQ(stream.GetPosition(), 2);
        EXPECT_EQ(output.Write("XY", 2), 2U);
        output.Flush();
        EXPECT_TRUE(stream.SetPosition(1));
        char bytes[4] = {};
        EXPECT_EQ(stream.Read(bytes, 4), 4U);
        EXPECT_EQ(std::string(bytes, 4), "bXYe");
        output.Close();
        EXPECT_EQ(stream.Read(bytes, 1), 0U);
    }
    EXPECT_EQ(std::filesystem::file_size(path("new")), 6U);
}

TEST_F(FileStreamTest, AccessModeLimitsWhatTheStreamDoes) {
    char byte = 'x';
    FileStream reading;
    ASSERT_TRUE(reading.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(reading.Write(&byte, 1), 0U);
    FileStream writing;
    ASSERT_TRUE(writing.Open(path("ten"), forWriting, mustExist));
    EXPECT_EQ(writing.Read(&byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(writing.Write(&byte, 1), 1U);
    EXPECT_EQ(writing.GetSize(), 10) << "opening does not cut the file";
}

TEST_F(FileStreamTest, DispositionsDecideOnMissingAndPresentFiles) {
    FileStream stream;
    EXPECT_FALSE(stream.Open(path("a"), forWriting, mustExist));
    EXPECT_TRUE(stream.Open(path("a"), forWriting, madeIfMissing));
    EXPECT_EQ(stream.Write("12", 2), 2U);
    EXPECT_TRUE(stream.Open(path("a"), forReading, madeIfMissing));
    EXPECT_EQ(stream.GetSize(), 2);
    EXPECT_FALSE(stream.Open(path("a"), forWriting, mustBeNew));
    EXPECT_TRUE(stream.Open(path("b"), forWriting, mustBeNew));
}

TEST_F(FileStreamTest, UnknownDispositionOpensNothing) {
    FileStream stream;
    EXPECT_FALSE(stream.Open(path("ten"), forReading, 3));
    EXPECT_FALSE(stream.Open(path("ten"), forReading, -1));
    EXPECT_FALSE(stream.Open(path("made"), forWriting, 3));
    EXPECT_FALSE(std::filesystem::exists(path("made")));
}

TEST_F(FileStreamTest, UnknownAccessModeOpensForQuestionsOnly) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), 3, mustExist));
    char byte = 'x';
    EXPECT_EQ(stream.Read(&byte, 1), 0U);
    EXPECT_EQ(stream.Write(&byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(stream.GetSize(), 10);
}

TEST_F(FileStreamTest, DirectoryIsNotOpened) {
    FileStream stream;
    EXPECT_FALSE(stream.Open(folder.path(), forReading, mustExist));
    EXPECT_FALSE(stream.Open(folder.path(), forBoth, madeIfMissing));
}

#ifndef _WIN32

TEST_F(FileStreamTest, SecondOpenGivesBackTheFirstDescriptor) {
    FileStream stream;
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    const auto openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = openFiles();
    ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
    EXPECT_EQ(openFiles(), before);
    EXPECT_FALSE(stream.Open(path("missing"), forReading, mustExist));
    EXPECT_EQ(openFiles(), before - 1);
}

TEST_F(FileStreamTest, DescriptorZeroIsAFileLikeAnyOther) {
    const int kept = ::dup(0);
    ::close(0);
    {
        FileStream stream;
        ASSERT_TRUE(stream.Open(path("ten"), forReading, mustExist));
        EXPECT_EQ(stream.GetSize(), 10);
        ASSERT_GE(::fcntl(0, F_GETFD), 0) << "the file took the lowest descriptor";
        EXPECT_TRUE((::fcntl(0, F_GETFD) & FD_CLOEXEC) != 0);
    }
    EXPECT_LT(::fcntl(0, F_GETFD), 0) << "closed by the destructor";
    if (kept >= 0) {
        ::dup2(kept, 0);
        ::close(kept);
    }
}

#endif

}  // namespace
}  // namespace vorun
