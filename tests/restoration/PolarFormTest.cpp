#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <stdexcept>

#include "restoration/PolarForm.h"
#include "restoration/support/Spectra.h"

namespace vorun {
namespace {

using test::randomSpectrum;
using test::toSpectrum;

constexpr double halfPi = std::numbers::pi / 2.0;

TEST(PolarForm, MagnitudeMatchesTheDoubleForm) {
    const ComplexSignal32 signal = randomSpectrum(3, 130, 1, 1e-6, 1e6);
    const Signal32 magnitude = magnitudeOf(signal);
    ASSERT_EQ(magnitude.channels(), 3);
    ASSERT_EQ(magnitude.length(), 130);
    const test::Grid grid = test::toGrid(signal);
    for (std::int32_t c = 0; c < 3; ++c) {
        for (std::int32_t i = 0; i < 130; ++i) {
            const double expected =
                std::abs(grid[static_cast<std::size_t>(c)][static_cast<std::size_t>(i)]);
            EXPECT_NEAR(static_cast<double>(magnitude.readData(c)[i]), expected, expected * 1e-6);
        }
    }
}

TEST(PolarForm, PhaseMatchesTheDoubleFormInAllQuadrants) {
    // 130 bins reach over the border of the primitive's blocks of 128.
    const ComplexSignal32 signal = randomSpectrum(2, 130, 2);
    const Signal32 phase = phaseOf(signal);
    ASSERT_EQ(phase.channels(), 2);
    ASSERT_EQ(phase.length(), 130);
    const test::Grid grid = test::toGrid(signal);
    for (std::int32_t c = 0; c < 2; ++c) {
        for (std::int32_t i = 0; i < 130; ++i) {
            const double expected =
                std::arg(grid[static_cast<std::size_t>(c)][static_cast<std::size_t>(i)]);
            EXPECT_NEAR(static_cast<double>(phase.readData(c)[i]), expected, 1e-6);
        }
    }
}

TEST(PolarForm, AxesAndSignedZeros) {
    const ComplexSignal32 signal = toSpectrum({{{2.0f, 0.0f},
                                                {0.0f, 3.0f},
                                                {-4.0f, 0.0f},
                                                {0.0f, -5.0f},
                                                {-4.0f, -0.0f},
                                                {0.0f, 0.0f},
                                                {-0.0f, 0.0f}}});
    const Signal32 magnitude = magnitudeOf(signal);
    const Signal32 phase = phaseOf(signal);
    const double magnitudes[] = {2.0, 3.0, 4.0, 5.0, 4.0, 0.0, 0.0};
    const double phases[] = {0.0, halfPi,          std::numbers::pi, -halfPi, -std::numbers::pi,
                             0.0, std::numbers::pi};
    for (int i = 0; i < 7; ++i) {
        EXPECT_NEAR(static_cast<double>(magnitude.readData(0)[i]), magnitudes[i], 1e-6) << i;
        EXPECT_NEAR(static_cast<double>(phase.readData(0)[i]), phases[i], 1e-6) << i;
    }
}

TEST(PolarForm, RoundTripGivesTheSignalBack) {
    const ComplexSignal32 signal = randomSpectrum(3, 65, 3, 0.0, 10.0);
    const ComplexSignal32 back = fromPolar(magnitudeOf(signal), phaseOf(signal));
    test::expectNear(back, test::toGrid(signal), 1e-5);
    EXPECT_FALSE(back.sharesBufferWith(signal));
}

TEST(PolarForm, FromPolarPlacesMagnitudeAlongPhase) {
    Signal32 magnitude(1, 3);
    Signal32 phase(1, 3);
    const float magnitudes[] = {2.0f, 3.0f, 0.0f};
    const float phases[] = {0.0f, static_cast<float>(halfPi), 1.0f};
    for (int i = 0; i < 3; ++i) {
        magnitude.channelData(0)[i] = magnitudes[i];
        phase.channelData(0)[i] = phases[i];
    }
    test::expectNear(fromPolar(magnitude, phase), {{{2.0, 0.0}, {0.0, 3.0}, {0.0, 0.0}}}, 1e-6);
}

TEST(PolarForm, NanStaysInItsBin) {
    ComplexSignal32 signal = test::constantSpectrum(1, 4, {1.0f, 1.0f});
    signal.channelData(0)[2].im = std::numeric_limits<float>::quiet_NaN();
    const ComplexSignal32 back = fromPolar(magnitudeOf(signal), phaseOf(signal));
    EXPECT_TRUE(std::isnan(back.readData(0)[2].re));
    for (const int i : {0, 1, 3}) {
        EXPECT_NEAR(back.readData(0)[i].re, 1.0f, 1e-6f) << i;
    }
}

TEST(PolarForm, ShapesWithoutBinsKeepTheirShape) {
    EXPECT_EQ(magnitudeOf(ComplexSignal32(2, 0)).channels(), 2);
    EXPECT_EQ(phaseOf(ComplexSignal32(2, 0)).length(), 0);
    EXPECT_EQ(magnitudeOf(ComplexSignal32()).channels(), 0);
    EXPECT_EQ(fromPolar(Signal32(), Signal32()).channels(), 0);
}

TEST(PolarForm, PhaseSmallerThanTheMagnitudeIsRefused) {
    EXPECT_THROW(fromPolar(Signal32(2, 8, 1.0f), Signal32(1, 8, 0.0f)), std::runtime_error);
    EXPECT_THROW(fromPolar(Signal32(2, 8, 1.0f), Signal32(2, 7, 0.0f)), std::runtime_error);
    EXPECT_THROW(fromPolar(Signal32(1, 8, 1.0f), Signal32()), std::runtime_error);
}

}  // namespace
}  // namespace vorun
