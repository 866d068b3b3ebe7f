#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "foundation/FileStream.h"
#include "foundation/PlatformFile.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

TEST(PlatformFilePosix, APipeByNameIsRefusedWithoutWaitingForItsOtherEnd) {
    const test::ScratchFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const int access : {0, 1, 2}) {
        FileStream stream;
        EXPECT_FALSE(stream.Open(pipe, access, 0)) << access;
    }
}

TEST(PlatformFilePosix, OneReadCollectsWhatTheSystemDeliversInParts) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread writer([end = ends[1]] {
        for (const std::string part : {"ab", "cd", "e"}) {
            EXPECT_EQ(::write(end, part.data(), part.size()), static_cast<ssize_t>(part.size()));
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ::close(end);
    });
    // A handle is the descriptor plus one.
    const platform::FileHandle handle = ends[0] + 1;
    char bytes[8] = {};
    std::uint32_t done = 0;
    EXPECT_TRUE(platform::readFile(handle, bytes, 8, done));
    EXPECT_EQ(std::string(bytes, done), "abcde");
    std::int64_t position = 0;
    EXPECT_FALSE(platform::setFilePointer(handle, 0, platform::Origin::current, position));
    EXPECT_TRUE(platform::closeHandle(handle));
    writer.join();
}

}  // namespace
}  // namespace vorun
