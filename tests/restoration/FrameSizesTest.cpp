#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>

#include "restoration/FrameSizes.h"

namespace vorun {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(FrameScale, FollowsTheHostRateInPowersOfTwo) {
    struct Row {
        double hostRate;
        std::int32_t scaleLog2;
    };
    for (const Row row :
         {Row{192000.0, 2}, Row{96000.0, 1}, Row{88200.0, 1}, Row{48000.0, 0}, Row{44100.0, 0},
          Row{32000.0, 0}, Row{24000.0, -1}, Row{16000.0, -1}, Row{8000.0, -2}}) {
        EXPECT_EQ(frameScaleLog2(row.hostRate, 48000.0), row.scaleLog2) << row.hostRate;
    }
}

TEST(FrameScale, ExactPowerOfTwoGivesThatPower) {
    // 2^29 among them: the quotient of two rounded logarithms comes out just above 29.
    for (std::int32_t k = -30; k <= 30; ++k) {
        EXPECT_EQ(frameScaleLog2(std::ldexp(48000.0, k), 48000.0), k);
        EXPECT_EQ(frameScaleLog2(std::ldexp(44100.0, k), 44100.0), k);
    }
}

TEST(FrameScale, RatioJustAboveAPowerGivesOneMore) {
    for (std::int32_t k = -3; k <= 3; ++k) {
        const double ratio = std::ldexp(1.0, k);
        EXPECT_EQ(frameScaleLog2(std::nextafter(ratio, infinity), 1.0), k + 1) << k;
        EXPECT_EQ(frameScaleLog2(ratio * 1.0001, 1.0), k + 1) << k;
    }
}

TEST(FrameScale, RatioJustBelowAPowerGivesThatPower) {
    for (std::int32_t k = -3; k <= 3; ++k) {
        EXPECT_EQ(frameScaleLog2(std::ldexp(0.999, k), 1.0), k) << k;
    }
}

TEST(FrameScale, RatioBetweenAHalfAndOneGivesZero) {
    for (const double ratio : {0.5001, 0.6, 0.75, 0.9, 0.9999, 1.0}) {
        EXPECT_EQ(frameScaleLog2(48000.0 * ratio, 48000.0), 0) << ratio;
    }
    EXPECT_EQ(frameScaleLog2(24000.0, 48000.0), -1);
}

TEST(FrameScale, RatioOutOfRangeGivesNothing) {
    EXPECT_EQ(frameScaleLog2(infinity, 48000.0), std::nullopt);
    EXPECT_EQ(frameScaleLog2(1e308, 1e-308), std::nullopt);
    EXPECT_EQ(frameScaleLog2(1e-308, 1e308), std::nullopt);
    EXPECT_EQ(frameScaleLog2(48000.0, infinity), std::nullopt);
}

TEST(FrameScale, ExtremeButFiniteRatiosHaveAPower) {
    EXPECT_EQ(frameScaleLog2(std::ldexp(1.0, 1000), 1.0), 1000);
    EXPECT_EQ(frameScaleLog2(1.0, std::ldexp(1.0, 1000)), -1000);
    EXPECT_EQ(frameScaleLog2(std::numeric_limits<double>::denorm_min(), 1.0), -1074);
}

TEST(ScaledFrameSizes, MultiplyByThePowerOfTwo) {
    const FrameSizes model{1024, 768, 256};
    EXPECT_EQ(scaleFrameSizes(model, 2), (FrameSizes{4096, 3072, 1024}));
    EXPECT_EQ(scaleFrameSizes(model, 1), (FrameSizes{2048, 1536, 512}));
    EXPECT_EQ(scaleFrameSizes(model, 0), model);
    EXPECT_EQ(scaleFrameSizes(model, -2), (FrameSizes{256, 192, 64}));
}

TEST(ScaledFrameSizes, TiesRoundToEven) {
    EXPECT_EQ(scaleFrameSizes({32, 20, 5}, -1), (FrameSizes{16, 10, 2}));
    EXPECT_EQ(scaleFrameSizes({32, 20, 7}, -1), (FrameSizes{16, 10, 4}));
    EXPECT_EQ(scaleFrameSizes({32, 25, 5}, -1), (FrameSizes{16, 12, 2}));
    EXPECT_EQ(scaleFrameSizes({32, 27, 5}, -1), (FrameSizes{16, 14, 2}));
}

TEST(ScaledFrameSizes, OffTheTieRoundToNearest) {
    EXPECT_EQ(scaleFrameSizes({64, 33, 11}, -2), (FrameSizes{16, 8, 3}));
    EXPECT_EQ(scaleFrameSizes({64, 35, 9}, -2), (FrameSizes{16, 9, 2}));
}

TEST(ScaledFrameSizes, HopBelowOneIsRefused) {
    EXPECT_EQ(scaleFrameSizes({16, 16, 0}, 0), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({16, 16, -4}, 0), std::nullopt);
    // 0.5 rounds to 0, 1.5 to 2.
    EXPECT_EQ(scaleFrameSizes({16, 16, 1}, -1), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({16, 16, 3}, -1), (FrameSizes{8, 8, 2}));
}

TEST(ScaledFrameSizes, WindowBelowTwoHopsIsRefused) {
    EXPECT_EQ(scaleFrameSizes({16, 15, 8}, 0), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({16, 16, 8}, 0), (FrameSizes{16, 16, 8}));
    EXPECT_EQ(scaleFrameSizes({16, -16, 8}, 0), std::nullopt);
    // Two hops before the scaling, fewer after it: 7 and 4.
    EXPECT_EQ(scaleFrameSizes({16, 14, 7}, -1), std::nullopt);
}

TEST(ScaledFrameSizes, WindowAboveTheTransformIsRefused) {
    EXPECT_EQ(scaleFrameSizes({16, 17, 8}, 0), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({0, 16, 8}, 0), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({-16, 16, 8}, 0), std::nullopt);
}

TEST(ScaledFrameSizes, TransformBelowAPowerOfTwoIsNotRefused) {
    EXPECT_EQ(scaleFrameSizes({1000, 1000, 500}, 0), (FrameSizes{1000, 1000, 500}));
}

TEST(ScaledFrameSizes, OddTransformIsRefusedBecauseItsSpectrumLosesASample) {
    EXPECT_EQ(scaleFrameSizes({11, 10, 5}, 0), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({22, 20, 10}, -1), std::nullopt);
    EXPECT_EQ(scaleFrameSizes({11, 10, 5}, 1), (FrameSizes{22, 20, 10}));
}

TEST(ScaledFrameSizes, TransformAboveTheLongestIsRefused) {
    EXPECT_EQ(scaleFrameSizes({16384, 16384, 4096}, 6), (FrameSizes{1048576, 1048576, 262144}));
    EXPECT_EQ(scaleFrameSizes({16384, 16384, 4096}, 7), std::nullopt);
}

TEST(ScaledFrameSizes, HugePowersAreRefusedWithoutOverflow) {
    const FrameSizes model{1024, 1024, 512};
    for (const std::int32_t k :
         {21, 22, 31, 32, 64, 1000, 1100, -20, -31, -64, -1100,
          std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_EQ(scaleFrameSizes(model, k), std::nullopt) << k;
    }
}

}  // namespace
}  // namespace vorun
