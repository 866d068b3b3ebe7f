#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <vector>

#include "restoration/MaskShaping.h"
#include "restoration/support/Spectra.h"

namespace vorun {
namespace {

using test::constantSpectrum;
using test::Grid;
using test::randomSpectrum;
using test::toGrid;

/** A row of real masks. */
ComplexSignal32 realMask(const std::vector<float>& values) {
    std::vector<Ipp32fc> row;
    for (const float value : values) {
        row.push_back({value, 0.0f});
    }
    return test::toSpectrum({row});
}

/** The mask of one bin after shaping, from a real mask of that magnitude. */
double shaped(float magnitude, float sensitivity) {
    const ComplexSignal32 result = reshapeMask(realMask({magnitude}), sensitivity, {1, 1});
    return std::hypot(static_cast<double>(result.readData(0)[0].re),
                      static_cast<double>(result.readData(0)[0].im));
}

TEST(MaskShaping, ExponentOverTheWholeRange) {
    struct Row {
        float sensitivity;
        double exponent;
    };
    for (const Row row : {Row{-100.0f, 0.47237}, Row{-50.0f, 0.68729}, Row{-10.0f, 0.92774},
                          Row{10.0f, 1.07788}, Row{50.0f, 1.45499}, Row{100.0f, 2.117}}) {
        EXPECT_NEAR(static_cast<double>(maskExponent(row.sensitivity)), row.exponent, 6e-6)
            << row.sensitivity;
    }
    EXPECT_EQ(maskExponent(0.0f), 1.0f);
    EXPECT_EQ(maskExponent(-0.0f), 1.0f);
}

TEST(MaskShaping, ExponentMatchesTheDoubleForm) {
    for (int s = -100; s <= 100; ++s) {
        EXPECT_NEAR(static_cast<double>(maskExponent(static_cast<float>(s))), std::exp(0.0075 * s),
                    3e-7);
    }
}

TEST(MaskShaping, BelowZeroRaisesToThePower) {
    for (const float sensitivity : {-100.0f, -50.0f, -10.0f, -1.0f}) {
        const double e = std::exp(0.0075 * static_cast<double>(sensitivity));
        for (const float m : {0.001f, 0.01f, 0.1f, 0.25f, 0.5f, 0.75f, 1.0f, 1.5f, 4.0f}) {
            const double expected = std::pow(static_cast<double>(m), e);
            EXPECT_NEAR(shaped(m, sensitivity), expected, expected * 1e-5) << m;
        }
    }
}

TEST(MaskShaping, AboveZeroWeightsWithTheRaisedCosine) {
    for (const float sensitivity : {1.0f, 10.0f, 50.0f, 100.0f}) {
        const double e = std::exp(0.0075 * static_cast<double>(sensitivity));
        for (const float m : {0.05f, 0.1f, 0.25f, 0.5f, 0.75f, 0.9f, 1.0f, 1.25f, 1.5f}) {
            const double wide = static_cast<double>(m);
            const double raised = (1.0 - std::cos(std::numbers::pi * wide)) / 2.0;
            EXPECT_NEAR(shaped(m, sensitivity), wide * std::pow(raised, e - 1.0), 1e-5) << m;
        }
    }
}

TEST(MaskShaping, HalfAtSensitivityHundred) {
    // The raised cosine is exactly a half there: 0.5 * 0.5^1.117.
    EXPECT_NEAR(shaped(0.5f, 100.0f), std::pow(0.5, 2.1170000166), 1e-6);
}

TEST(MaskShaping, SmallValuesRiseBelowZeroAndFallAboveIt) {
    for (const float m : {0.01f, 0.1f, 0.3f, 0.6f, 0.9f}) {
        EXPECT_GT(shaped(m, -40.0f), static_cast<double>(m));
        EXPECT_LT(shaped(m, 40.0f), static_cast<double>(m));
    }
}

TEST(MaskShaping, ZeroSensitivityMakesThePolarRoundTripOnly) {
    const ComplexSignal32 mask = randomSpectrum(2, 65, 1, 0.0, 3.0);
    test::expectNear(reshapeMask(mask, 0.0f, {2, 65}), toGrid(mask), 2e-6);
}

TEST(MaskShaping, MagnitudeZeroStaysZeroInBothBranches) {
    const ComplexSignal32 mask =
        test::toSpectrum({{{0.0f, 0.0f}, {-0.0f, 0.0f}, {0.0f, -0.0f}, {-0.0f, -0.0f}}});
    for (const float sensitivity : {-100.0f, -1.0f, 0.0f, 1.0f, 100.0f}) {
        const ComplexSignal32 result = reshapeMask(mask, sensitivity, {1, 4});
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(result.readData(0)[i].re, 0.0f) << sensitivity;
            EXPECT_EQ(result.readData(0)[i].im, 0.0f) << sensitivity;
        }
    }
}

TEST(MaskShaping, MagnitudeOneStaysOneInBothBranches) {
    for (const float sensitivity : {-100.0f, -50.0f, -1.0f, 0.0f, 1.0f, 50.0f, 100.0f}) {
        EXPECT_NEAR(shaped(1.0f, sensitivity), 1.0, 1e-6) << sensitivity;
    }
}

TEST(MaskShaping, MagnitudesAboveOneFoldBack) {
    // The cosine comes round: nothing of 2, all of 3, and half the base again at 1.5 and 2.5.
    EXPECT_LT(shaped(2.0f, 50.0f), 1e-3);
    EXPECT_NEAR(shaped(3.0f, 50.0f), 3.0, 1e-4);
    EXPECT_NEAR(shaped(1.5f, 100.0f), 1.5 * std::pow(0.5, 1.117), 1e-4);
    EXPECT_NEAR(shaped(2.5f, 100.0f), 2.5 * std::pow(0.5, 1.117), 1e-4);
    // Below zero there is no folding.
    EXPECT_NEAR(shaped(4.0f, -100.0f), std::pow(4.0, 0.472366553), 1e-4);
}

TEST(MaskShaping, GuardOfThePowerShowsInTinyMasks) {
    // m (m + 1e-12)^(e - 1) at m = 1e-12, where the guard doubles the base.
    const double e = std::exp(-0.75);
    const double expected = 1e-12 * std::pow(2e-12, e - 1.0);
    EXPECT_NEAR(shaped(1e-12f, -100.0f), expected, expected * 1e-4);
    // Without the guard the raised cosine of a tiny mask would be 0 to a power.
    const double guarded = 1e-6 * std::pow(1e-12, std::exp(0.75) - 1.0);
    EXPECT_NEAR(shaped(1e-6f, 100.0f), guarded, guarded * 1e-3);
}

TEST(MaskShaping, PhaseOfEachBinIsKept) {
    const ComplexSignal32 mask = randomSpectrum(2, 130, 2, 0.1, 1.4);
    for (const float sensitivity : {-100.0f, -30.0f, 30.0f, 100.0f}) {
        const Grid before = toGrid(mask);
        const Grid after = toGrid(reshapeMask(mask, sensitivity, {2, 130}));
        for (std::size_t c = 0; c < before.size(); ++c) {
            for (std::size_t i = 0; i < before[c].size(); ++i) {
                const std::complex<double> turn = after[c][i] * std::conj(before[c][i]);
                EXPECT_NEAR(std::arg(turn), 0.0, 2e-6);
            }
        }
    }
}

TEST(MaskShaping, MaskItselfIsNotChanged) {
    const ComplexSignal32 mask = constantSpectrum(2, 9, {0.3f, 0.4f});
    const ComplexSignal32 result = reshapeMask(mask, 80.0f, {2, 9});
    test::expectSame(mask, constantSpectrum(2, 9, {0.3f, 0.4f}));
    EXPECT_FALSE(result.sharesBufferWith(mask));
}

TEST(MaskShaping, BinsAndChannelsOutsideTheExtentAreNotBent) {
    const ComplexSignal32 mask = constantSpectrum(3, 9, {0.3f, 0.4f});
    const ComplexSignal32 result = reshapeMask(mask, -100.0f, {2, 5});
    const double bent = std::pow(0.5, std::exp(-0.75)) / 0.5;
    for (std::int32_t c = 0; c < 3; ++c) {
        for (std::int32_t i = 0; i < 9; ++i) {
            const double factor = (c < 2 && i < 5) ? bent : 1.0;
            EXPECT_NEAR(static_cast<double>(result.readData(c)[i].re), 0.3 * factor, 1e-5);
            EXPECT_NEAR(static_cast<double>(result.readData(c)[i].im), 0.4 * factor, 1e-5);
        }
    }
}

TEST(MaskShaping, ExtentBeyondTheMaskBendsWhatThereIs) {
    const ComplexSignal32 mask = constantSpectrum(1, 5, {0.25f, 0.0f});
    const ComplexSignal32 result = reshapeMask(mask, -100.0f, {1000, 1 << 30});
    ASSERT_EQ(result.channels(), 1);
    ASSERT_EQ(result.length(), 5);
    EXPECT_NEAR(static_cast<double>(result.readData(0)[4].re), std::pow(0.25, std::exp(-0.75)),
                1e-5);
    test::expectNear(reshapeMask(mask, -100.0f, {-1, -1}), toGrid(mask), 1e-6);
}

TEST(MaskShaping, NanStaysInItsBin) {
    for (const float sensitivity : {-50.0f, 0.0f, 50.0f}) {
        ComplexSignal32 mask = constantSpectrum(1, 5, {1.0f, 0.0f});
        mask.channelData(0)[2].re = std::numeric_limits<float>::quiet_NaN();
        const ComplexSignal32 result = reshapeMask(mask, sensitivity, {1, 5});
        EXPECT_TRUE(std::isnan(result.readData(0)[2].re));
        for (const int i : {0, 1, 3, 4}) {
            EXPECT_NEAR(result.readData(0)[i].re, 1.0f, 1e-6f) << sensitivity;
        }
    }
}

TEST(MaskShaping, EmptyMaskStaysEmpty) {
    EXPECT_EQ(reshapeMask(ComplexSignal32(), 50.0f, {1, 9}).channels(), 0);
    EXPECT_EQ(reshapeMask(ComplexSignal32(2, 0), 50.0f, {2, 9}).length(), 0);
}

}  // namespace
}  // namespace vorun
