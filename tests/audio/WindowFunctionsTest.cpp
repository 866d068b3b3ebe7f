#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <stdexcept>

#include "AudioTestSupport.h"
#include "audio/WindowFunctions.h"

namespace vorun {
namespace {

using test::channelOf;

// The Hann window is the square of a sine; half a float step of 1 bounds the rounding to float.
constexpr double kRounding = 0.6e-7;

double sineAt(int n, int length) {
    return std::sin(std::numbers::pi * (n + 0.5) / length);
}

TEST(WindowFunctions, HannIsTheSquareOfASineAtHalfSamples) {
    for (const int length : {1, 2, 3, 10, 1024}) {
        const Signal32 window = hannWindow(1, length);
        for (int n = 0; n < length; ++n) {
            const double sine = sineAt(n, length);
            EXPECT_NEAR(static_cast<double>(window.readData(0)[n]), sine * sine, kRounding);
        }
    }
}

TEST(WindowFunctions, SqrtHannIsTheSineAtHalfSamples) {
    for (const int length : {1, 2, 3, 10, 1024}) {
        const Signal32 window = sqrtHannWindow(1, length);
        for (int n = 0; n < length; ++n) {
            EXPECT_NEAR(static_cast<double>(window.readData(0)[n]), sineAt(n, length), kRounding);
        }
    }
}

TEST(WindowFunctions, AreSymmetricWithoutAZeroAtEitherEnd) {
    for (const Signal32& window : {hannWindow(1, 512), sqrtHannWindow(1, 512)}) {
        const float* w = window.readData(0);
        EXPECT_GT(w[0], 0.0F);
        for (int n = 0; n < 256; ++n) {
            EXPECT_NEAR(static_cast<double>(w[n]), static_cast<double>(w[511 - n]), kRounding);
        }
    }
}

TEST(WindowFunctions, HannSumsToOneAtHalfItsLength) {
    const Signal32 window = hannWindow(1, 960);
    const float* w = window.readData(0);
    for (int n = 0; n < 480; ++n) {
        EXPECT_NEAR(static_cast<double>(w[n]) + static_cast<double>(w[n + 480]), 1.0,
                    2 * kRounding);
    }
}

TEST(WindowFunctions, EveryChannelIsTheSame) {
    const Signal32 window = sqrtHannWindow(3, 40);
    EXPECT_EQ(window.channels(), 3);
    EXPECT_EQ(channelOf(window, 1), channelOf(window, 0));
    EXPECT_EQ(channelOf(window, 2), channelOf(window, 0));
}

TEST(WindowFunctions, AWindowWithoutSamplesOrChannelsIsEmpty) {
    EXPECT_EQ(hannWindow(2, 0).length(), 0);
    EXPECT_EQ(hannWindow(2, -3).length(), -3);
    EXPECT_EQ(sqrtHannWindow(0, 8).channels(), 0);
    EXPECT_EQ(sqrtHannWindow(-1, 8).channels(), -1);
}

TEST(WindowFunctions, AWindowBeyondTheAllocatorIsRefused) {
    EXPECT_THROW(hannWindow(1, 1 << 29), std::runtime_error);
}

}  // namespace
}  // namespace vorun
