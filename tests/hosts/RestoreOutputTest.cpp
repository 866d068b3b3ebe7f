#include <filesystem>
#include <stdlib.h>
#include <string>

#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

TEST_F(RestoreTest, ReplacesAnOlderOutputAndLeavesNoOtherFile) {
    writeBytes(output_, "what was there");
    EXPECT_EQ(restored().samples.size(), 48000U);
    EXPECT_THAT(folder_.names(), UnorderedElementsAre("model.vorun", "in.wav", "out.wav"));
}

TEST_F(RestoreTest, OutputThroughALinkReplacesTheFileBehindIt) {
    std::filesystem::create_symlink("out.wav", folder_.file("link.wav"));
    writeBytes(output_, "what was there");
    const std::string target = output_;
    output_ = folder_.file("link.wav");
    restored();
    EXPECT_TRUE(std::filesystem::is_symlink(output_));
    EXPECT_EQ(readRecording(target).samples.size(), 48000U);
}

TEST_F(RestoreTest, OutputIsWholeThoughItsReportIsLost) {
    ProcessSetup setup;
    setup.out = ProcessSetup::Out::closed;
    const ProcessResult result = run({}, setup);
    EXPECT_EQ(result.status, 9);
    EXPECT_TRUE(isOneLine(result.err)) << result.err;
    EXPECT_EQ(readIntegers(output_), readIntegers(input_));
    setup.out = ProcessSetup::Out::fullDevice;
    EXPECT_EQ(run({}, setup).status, 9);
}

/** The address sanitizer holds freed memory back, up to 256 MiB; here it is to hold back little. */
void returnFreedMemory() {
    const char* const before = getenv("ASAN_OPTIONS");
    const std::string options = before == nullptr ? "" : std::string(before) + ":";
    const std::string small = "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
    setenv("ASAN_OPTIONS", (options + small).c_str(), 1);
}

/** A program that kept the 10 minutes as floats would need 19 MB more. */
TEST_F(RestoreTest, MemoryDoesNotGrowWithTheFile) {
    returnFreedMemory();
    Recording second = noiseRecording(1, 8000);
    second.sampleRate = 8000;
    writeRepeated(input_, second, 1);
    const ProcessResult brief = run();
    writeRepeated(input_, second, 600);
    const ProcessResult lasting = run();
    ASSERT_EQ(brief.status, 0);
    ASSERT_EQ(lasting.status, 0);
    EXPECT_THAT(lasting.out, HasSubstr("duration          600.000 s"));
    EXPECT_GT(brief.peakMemory, 0);
    EXPECT_LT(lasting.peakMemory - brief.peakMemory, 4096);
}

TEST_F(RestoreTest, TellsDurationSpeedAndLatency) {
    const ProcessResult result = run();
    EXPECT_THAT(result.out, HasSubstr("duration          1.000 s, 48000 samples\n"));
    EXPECT_THAT(result.out, HasSubstr("real-time factor  0."));
    // A window of two hops: two hops of 256.
    EXPECT_THAT(result.out, HasSubstr("latency           512 samples (10.7 ms)\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("clipped")));
    EXPECT_THAT(result.out, Not(HasSubstr("sample format")));
}

TEST_F(RestoreTest, LatencyIsThatOfTheRateOfTheInput) {
    noise_.sampleRate = 96000;
    writeRecording(input_, noise_);
    EXPECT_THAT(run().out, HasSubstr("latency           1024 samples (10.7 ms)\n"));
}

TEST_F(RestoreTest, NoProgressWhereStderrIsNoTerminal) {
    EXPECT_EQ(run().err, "");
}

TEST_F(RestoreTest, ProgressLineIsClearedAtTheEnd) {
    ProcessSetup setup;
    setup.errorsToTerminal = true;
    const ProcessResult result = run({}, setup);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr(" % "));
    EXPECT_TRUE(result.err.ends_with("\r\033[K")) << result.err;
}

TEST_F(RestoreTest, ModelThatShipsIsTheDefault) {
    EXPECT_EQ(runRestore({input_, output_}).status, 0);
    EXPECT_EQ(readRecording(output_).samples.size(), 48000U);
}

}  // namespace
}  // namespace vorun::test
