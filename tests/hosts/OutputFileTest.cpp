#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hosts/AudioFiles.h"
#include "hosts/TemporaryFolder.h"
#include "restore/HostError.h"
#include "restore/OutputFile.h"

namespace vorun::restore {
namespace {

using test::readBytes;
using test::writeBytes;
using testing::ElementsAre;
using testing::IsEmpty;

class OutputFileTest : public testing::Test {
  protected:
    test::TemporaryFolder folder_;
};

TEST_F(OutputFileTest, AppearsUnderItsNameOnlyWhenCommitted) {
    const std::string target = folder_.file("out.wav");
    OutputFile file(target);
    file.write("new", 3);
    EXPECT_FALSE(std::filesystem::exists(target));
    file.commit();
    EXPECT_EQ(readBytes(target), "new");
    EXPECT_THAT(folder_.names(), ElementsAre("out.wav"));
}

TEST_F(OutputFileTest, WithoutCommitTheOldFileStaysAndNothingElseIsLeft) {
    const std::string target = folder_.file("out.wav");
    writeBytes(target, "old");
    {
        OutputFile file(target);
        file.write("new", 3);
        EXPECT_EQ(folder_.names().size(), 2U);
    }
    EXPECT_EQ(readBytes(target), "old");
    EXPECT_THAT(folder_.names(), ElementsAre("out.wav"));
}

TEST_F(OutputFileTest, KeepsTheModeOfTheFileThatItReplaces) {
    const std::string target = folder_.file("out.wav");
    writeBytes(target, "old");
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    OutputFile file(target);
    file.commit();
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & static_cast<mode_t>(0777), static_cast<mode_t>(0640));
}

TEST_F(OutputFileTest, NewFileHasTheModeThatTheMaskLeaves) {
    const mode_t before = umask(027);
    OutputFile file(folder_.file("out.wav"));
    file.commit();
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(folder_.file("out.wav").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & static_cast<mode_t>(0777), static_cast<mode_t>(0640));
}

TEST_F(OutputFileTest, ReplacesTheFileBehindALinkAndKeepsTheLink) {
    writeBytes(folder_.file("real.wav"), "old");
    std::filesystem::create_symlink("real.wav", folder_.file("link.wav"));
    OutputFile file(folder_.file("link.wav"));
    file.write("new", 3);
    file.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.file("link.wav")));
    EXPECT_EQ(readBytes(folder_.file("real.wav")), "new");
}

TEST_F(OutputFileTest, MakesTheMissingFileBehindALinkAndKeepsTheLink) {
    std::filesystem::create_directory(folder_.file("sub"));
    std::filesystem::create_symlink("sub/second.wav", folder_.file("first.wav"));
    std::filesystem::create_symlink("../fresh.wav", folder_.file("sub/second.wav"));
    OutputFile file(folder_.file("first.wav"));
    file.write("new", 3);
    file.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.file("first.wav")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.file("sub/second.wav")));
    EXPECT_EQ(readBytes(folder_.file("fresh.wav")), "new");
}

TEST_F(OutputFileTest, FollowsAnAbsoluteLinkToAMissingFile) {
    std::filesystem::create_symlink(folder_.file("fresh.wav"), folder_.file("link.wav"));
    OutputFile file(folder_.file("link.wav"));
    file.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.file("link.wav")));
    EXPECT_TRUE(std::filesystem::is_regular_file(folder_.file("fresh.wav")));
}

TEST_F(OutputFileTest, RefusesLinksInACircle) {
    std::filesystem::create_symlink("b.wav", folder_.file("a.wav"));
    std::filesystem::create_symlink("a.wav", folder_.file("b.wav"));
    EXPECT_THROW(OutputFile(folder_.file("a.wav")), HostError);
    EXPECT_EQ(folder_.names().size(), 2U);
}

TEST_F(OutputFileTest, RefusesFoldersAndDevicesAndMissingFolders) {
    EXPECT_THROW(OutputFile(folder_.file("")), HostError);
    EXPECT_THROW(OutputFile("/dev/null"), HostError);
    EXPECT_THROW(OutputFile(folder_.file("missing/out.wav")), HostError);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(OutputFileTest, SeeksAndReadsWhatItWrote) {
    OutputFile file(folder_.file("out.wav"));
    file.write("abcdef", 6);
    EXPECT_EQ(file.seek(2, SEEK_SET), 2);
    char text[2] = {};
    EXPECT_EQ(file.read(text, 2), 2);
    EXPECT_EQ(std::string(text, 2), "cd");
    EXPECT_EQ(file.length(), 6);
}

TEST_F(OutputFileTest, VeryLongNamesFitTheirTemporaryName) {
    const std::string name = std::string(250, 'a') + ".wav";
    OutputFile file(folder_.file(name));
    file.commit();
    EXPECT_THAT(folder_.names(), ElementsAre(name));
}

TEST_F(OutputFileTest, SameFileIsSeenThroughLinks) {
    writeBytes(folder_.file("a"), "1");
    writeBytes(folder_.file("b"), "1");
    std::filesystem::create_symlink("a", folder_.file("soft"));
    std::filesystem::create_hard_link(folder_.file("a"), folder_.file("hard"));
    EXPECT_TRUE(isSameFile(folder_.file("a"), folder_.file("./a")));
    EXPECT_TRUE(isSameFile(folder_.file("a"), folder_.file("soft")));
    EXPECT_TRUE(isSameFile(folder_.file("a"), folder_.file("hard")));
    EXPECT_FALSE(isSameFile(folder_.file("a"), folder_.file("b")));
    EXPECT_FALSE(isSameFile(folder_.file("a"), folder_.file("missing")));
}

}  // namespace
}  // namespace vorun::restore
