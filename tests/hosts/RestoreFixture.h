#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "hosts/AudioFiles.h"
#include "hosts/HostModels.h"
#include "hosts/HostProcess.h"
#include "hosts/TemporaryFolder.h"

namespace vorun::test {

/** A folder with a model whose mask is 1 and a second of mono noise. */
class RestoreTest : public testing::Test {
  protected:
    RestoreTest() {
        writeConstantMask(model_, 1.0F);
        noise_ = noiseRecording(1, 48000);
        writeRecording(input_, noise_);
        noise_ = readRecording(input_);
    }

    /** Runs with the fixture's model, input and output, and options behind them. */
    ProcessResult run(const std::vector<std::string>& options = {},
                      const ProcessSetup& setup = {}) {
        std::vector<std::string> words = {"--model", model_, input_, output_};
        words.insert(words.end(), options.begin(), options.end());
        return runRestore(words, setup);
    }

    /** The output of run(), which has to succeed without a word on stderr. */
    Recording restored(const std::vector<std::string>& options = {}) {
        const ProcessResult result = run(options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result.status == 0 ? readRecording(output_) : Recording();
    }

    const TemporaryFolder folder_;
    const std::string model_ = folder_.file("model.vorun");
    std::string input_ = folder_.file("in.wav");
    std::string output_ = folder_.file("out.wav");
    Recording noise_;
};

}  // namespace vorun::test
