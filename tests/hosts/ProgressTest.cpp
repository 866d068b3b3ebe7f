#include <gtest/gtest.h>

#include "restore/Progress.h"

namespace vorun::restore {
namespace {

TEST(Progress, TellsPercentSpeedAndTimeLeft) {
    EXPECT_EQ(progressText(48000 * 30, 48000 * 120, 48000.0, 3.0),
              "25 %  10.0 x real time  0:09 left");
}

TEST(Progress, EndsAtAHundredPercentWithNothingLeft) {
    EXPECT_EQ(progressText(8000, 8000, 8000.0, 0.5), "100 %  2.0 x real time  0:00 left");
}

TEST(Progress, KnowsNoTimeLeftBeforeTheFirstSample) {
    EXPECT_EQ(progressText(0, 8000, 8000.0, 0.0), "0 %  0.0 x real time");
}

TEST(Progress, CountsTimeWhenTheLengthIsUnknown) {
    EXPECT_EQ(progressText(8000 * 61, 0, 8000.0, 61.0), "1:01  1.0 x real time");
}

TEST(Progress, StaysWithinAHundredPercentWhenTheHeaderToldTooLittle) {
    EXPECT_EQ(progressText(9000, 8000, 8000.0, 1.0), "100 %  1.1 x real time  0:00 left");
}

}  // namespace
}  // namespace vorun::restore
