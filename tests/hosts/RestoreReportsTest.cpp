#include <sstream>

#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(RestoreTest, ListsBusesByIndexAndName) {
    writeTwoMasks(model_);
    const ProcessResult result = runRestore({"--model", model_, "--list-buses"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "0\tVoice\n1\tMusic\n2\tResidual\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(RestoreTest, InfoTellsTheModelAtItsOwnRate) {
    const ProcessResult result = runRestore({"--model", model_, "--info"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("rate         48000 Hz\n"));
    EXPECT_THAT(result.out, HasSubstr("transform    512 samples\n"));
    EXPECT_THAT(result.out, HasSubstr("window       512 samples\n"));
    EXPECT_THAT(result.out, HasSubstr("hop          256 samples\n"));
    EXPECT_THAT(result.out, HasSubstr("look-ahead   0 frames\n"));
    EXPECT_THAT(result.out, HasSubstr("latency      512 samples (10.7 ms) at 48000 Hz\n"));
    EXPECT_THAT(result.out, HasSubstr("buses        Processed, Residual\n"));
}

TEST_F(RestoreTest, InfoTellsTheModelAtTheRateOfAnInput) {
    noise_.sampleRate = 16000;
    writeRecording(input_, noise_);
    const ProcessResult result = runRestore({"--model", model_, "--info", input_});
    EXPECT_THAT(result.out, HasSubstr("latency      256 samples (16.0 ms) at 16000 Hz\n"));
}

TEST_F(RestoreTest, HelpDocumentsEveryOptionAndExitStatus) {
    const ProcessResult result = runRestore({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char* const text :
         {"INPUT",   "OUTPUT",           "--model",   "--residual-db",   "--sensitivity",
          "--gain",  "--sensitivity-of", "--solo",    "--block",         "--list-buses",
          "--info",  "--help",           "--version", "--sample-format", "\n  0 ",
          "\n  1 ",  "\n  2 ",           "\n  3 ",    "\n  4 ",          "\n  5 ",
          "\n  6 ",  "\n  7 ",           "\n  8 ",    "\n  9 ",          "\n  10 ",
          "\n  130 "}) {
        EXPECT_THAT(result.out, HasSubstr(text));
    }
}

TEST_F(RestoreTest, HelpFitsATerminalOfEightyColumns) {
    std::istringstream lines(runRestore({"--help"}).out);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(RestoreTest, VersionIsOneLine) {
    const ProcessResult result = runRestore({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(isOneLine(result.out));
    EXPECT_THAT(result.out, StartsWith("vorun-restore "));
}

}  // namespace
}  // namespace vorun::test
