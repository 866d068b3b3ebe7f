#include <algorithm>
#include <chrono>
#include <signal.h>
#include <thread>

#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

class RestoreInterruptionTest : public RestoreTest {
  protected:
    RestoreInterruptionTest() {
        writeSlowModel(model_);
        writeRecording(input_, noiseRecording(1, 48000 * 60));
        writeBytes(output_, "what was there");
    }

    /** Sends a signal once the output has begun to grow beside its target. */
    ProcessSetup interruptedBy(int signal) const {
        ProcessSetup setup;
        setup.whileRunning = [this, signal](pid_t process) {
            const auto latest = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (!outputGrows() && std::chrono::steady_clock::now() < latest) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            kill(process, signal);
        };
        return setup;
    }

    bool outputGrows() const {
        const std::vector<std::string> names = folder_.names();
        return std::any_of(names.begin(), names.end(),
                           [](const std::string& name) { return name.starts_with(".out.wav."); });
    }
};

TEST_F(RestoreInterruptionTest, LeavesTheTargetAndNothingElse) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const ProcessResult result = run({}, interruptedBy(signal));
        EXPECT_EQ(result.status, 130);
        EXPECT_TRUE(isOneLine(result.err)) << result.err;
        EXPECT_THAT(result.err, HasSubstr("interrupted"));
        EXPECT_EQ(readBytes(output_), "what was there");
        EXPECT_THAT(folder_.names(), UnorderedElementsAre("model.vorun", "in.wav", "out.wav"));
    }
}

TEST_F(RestoreInterruptionTest, ProgressShowsOnATerminal) {
    ProcessSetup setup = interruptedBy(SIGINT);
    setup.errorsToTerminal = true;
    const ProcessResult result = run({"--block", "64"}, setup);
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.err, HasSubstr(" %  "));
    EXPECT_THAT(result.err, HasSubstr(" x real time"));
    EXPECT_THAT(result.err, HasSubstr("\r\033[Kvorun-restore: interrupted"));
}

}  // namespace
}  // namespace vorun::test
