#pragma once

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "api/AllocationMeter.h"
#include "api/ExerciseFile.h"

namespace vorun::apitest {

/**
 * For tests that run files of doubtful content within bounds of memory. Where nothing counts the
 * heap such a test still runs and can fail, but if it does not it is shown as skipped.
 */
class BoundedFileTest : public testing::Test {
  protected:
    void TearDown() override {
        if (boundsUnchecked_) {
            GTEST_SKIP() << "nothing counts the heap here: all but the memory bounds was checked";
        }
    }

    /** Runs one file and compares what it took with the bounds. */
    Exercise expectBounded(const std::vector<std::uint8_t>& bytes) {
        file_.rewrite(bytes);
        const Exercise exercise = exerciseFile(file_);
        if (meter::isAvailable()) {
            EXPECT_LE(exercise.loadBytes, loadBound(bytes.size()));
            EXPECT_LE(exercise.tensorBytes, tensorBound(bytes.size()));
            EXPECT_LE(exercise.audioBytes, audioBound(bytes.size()));
        } else {
            boundsUnchecked_ = true;
        }
        return exercise;
    }

    /** Runs `call` and compares the most that it took at once with `bound` bytes. */
    template <class Call>
    void expectPeakWithin(std::size_t bound, Call&& call) {
        const std::size_t before = meter::liveBytes();
        meter::restartPeak();
        call();
        if (meter::isAvailable()) {
            EXPECT_LE(meter::peakBytes(), before + bound);
        } else {
            boundsUnchecked_ = true;
        }
    }

  private:
    TemporaryFile file_{{}};
    bool boundsUnchecked_ = false;
};

}  // namespace vorun::apitest
