#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "ResamplerTestSupport.h"

namespace vorun {
namespace {

using test::Channel;
using test::NaiveResampler;
using test::noise;
using test::Resampler;
using test::sine;
using test::sineAt;

struct Case {
    double inputRate = 0.0;
    double outputRate = 0.0;
    float lengthMs = 1.5F;
    float bandwidthPercent = 95.0F;
    std::int32_t phases = 64;
    bool interpolate = true;
};

NaiveResampler formulaOf(const Case& c) {
    return {c.inputRate,
            c.outputRate,
            static_cast<double>(c.lengthMs),
            static_cast<double>(c.bandwidthPercent),
            c.phases,
            c.interpolate};
}

Channel resampled(const Case& c, const Channel& input) {
    Resampler resampler;
    resampler.filterLengthMs = c.lengthMs;
    resampler.bandwidthPercent = c.bandwidthPercent;
    resampler.phases = c.phases;
    resampler.interpolatePhases = c.interpolate;
    resampler.prepareRates(c.inputRate, c.outputRate);
    return resampler.whole(input);
}

void expectFormula(const Case& c, std::size_t length) {
    const Channel input = noise(1, length, 21).front();
    const Channel output = resampled(c, input);
    const NaiveResampler formula = formulaOf(c);
    ASSERT_GT(output.size(), 10U);
    for (std::size_t k = 0; k < output.size(); ++k) {
        const auto want = formula.output(input, static_cast<int>(k));
        ASSERT_NEAR(static_cast<double>(output[k]), want.value, want.bound)
            << c.inputRate << " to " << c.outputRate << " sample " << k;
    }
}

TEST(SampleRateConversionAccuracy, FollowsTheFormulaBetweenAudioRates) {
    for (const Case& c : {Case{48000.0, 44100.0}, Case{44100.0, 48000.0}, Case{48000.0, 16000.0},
                          Case{16000.0, 48000.0}, Case{48000.0, 47999.0}, Case{8000.0, 192000.0}}) {
        expectFormula(c, 600);
    }
}

TEST(SampleRateConversionAccuracy, FollowsTheFormulaForOtherSettings) {
    for (const Case& c :
         {Case{48000.0, 44100.0, 0.7F}, Case{48000.0, 44100.0, 3.0F, 80.0F},
          Case{48000.0, 44100.0, 1.5F, 95.0F, 1}, Case{48000.0, 44100.0, 1.5F, 95.0F, 2},
          Case{48000.0, 44100.0, 1.5F, 95.0F, 1024}, Case{44100.0, 48000.0, 1.5F, 100.0F},
          Case{44100.0, 48000.0, 1.5F, 150.0F}, Case{9000.0, 7000.0, 0.1F}}) {
        expectFormula(c, 400);
    }
}

// 75 / 64 input samples a step: each row once, at positions that are exact in binary.
TEST(SampleRateConversionAccuracy, TakesTheRowBelowThePositionWithoutInterpolation) {
    expectFormula({45000.0, 38400.0, 1.5F, 95.0F, 64, false}, 600);
    expectFormula({45000.0, 38400.0, 1.5F, 95.0F, 8, false}, 600);
    expectFormula({48000.0, 16000.0, 1.5F, 95.0F, 64, false}, 600);
    expectFormula({48000.0, 16000.0, 1.5F, 95.0F, 1, false}, 600);
}

TEST(SampleRateConversionAccuracy, FullBandwidthDoublesARateAroundTheUntouchedInput) {
    const Channel input = noise(1, 500, 22).front();
    for (const bool interpolate : {true, false}) {
        const Channel output = resampled({24000.0, 48000.0, 1.5F, 100.0F, 64, interpolate}, input);
        ASSERT_GT(output.size(), 900U);
        for (std::size_t k = 0; k < output.size(); k += 2) {
            EXPECT_EQ(output[k], input[k / 2]);
        }
    }
}

TEST(SampleRateConversionAccuracy, AnImpulseDrawsTheFilterAroundItsOwnPlace) {
    const Case c{48000.0, 16000.0};
    Channel input(1000, 0.0F);
    input[300] = 1.0F;
    const Channel output = resampled(c, input);
    const NaiveResampler formula = formulaOf(c);
    EXPECT_EQ(output[100], static_cast<float>(formula.cutoff()));
    for (std::size_t k = 0; k < output.size(); ++k) {
        const double distance = 300.0 - 3.0 * static_cast<double>(k);
        const bool covered = distance >= -36.0 && distance < 36.0;
        const double want = covered ? formula.filterAt(distance) : 0.0;
        EXPECT_NEAR(static_cast<double>(output[k]), want, 1e-9) << k;
    }
}

// Mean power of the difference from the continuous formula, which interpolates nothing.
double interpolationError(std::int32_t phases) {
    const Case c{48000.0, 44100.0, 1.5F, 95.0F, phases};
    const Channel input = noise(1, 800, 23).front();
    const Channel output = resampled(c, input);
    const NaiveResampler formula = formulaOf(c);
    double power = 0.0;
    for (std::size_t k = 0; k < output.size(); ++k) {
        const double position = static_cast<double>(k) * formula.ratio();
        const double error = static_cast<double>(output[k]) - formula.filtered(input, position);
        power += error * error;
    }
    return std::sqrt(power / static_cast<double>(output.size()));
}

// A line over a step d of a signal below the Nyquist frequency errs by at most (pi d)^2 / 8.
TEST(SampleRateConversionAccuracy, LinesBetweenRowsErrBySquareOfTheirDistance) {
    const double at64 = interpolationError(64);
    constexpr double kPi = 3.14159265358979;
    EXPECT_LT(at64, kPi * kPi / (8.0 * 64.0 * 64.0));
    EXPECT_NEAR(interpolationError(32) / at64, 4.0, 0.4);
    EXPECT_NEAR(at64 / interpolationError(128), 4.0, 0.4);
}

// Signal over difference, of a sine from the position at which it was due.
double sineToNoise(double hertz, const Case& c) {
    const Channel output = resampled(c, sine(hertz, c.inputRate, 6000));
    double signal = 0.0;
    double error = 0.0;
    for (std::size_t k = 200; k < output.size(); ++k) {
        const double want = sineAt(hertz, c.outputRate, static_cast<double>(k));
        const double difference = static_cast<double>(output[k]) - want;
        signal += want * want;
        error += difference * difference;
    }
    return 10.0 * std::log10(signal / error);
}

TEST(SampleRateConversionAccuracy, SinesInThePassbandComeOutWhereTheyAreDue) {
    for (const Case& c : {Case{48000.0, 44100.0}, Case{44100.0, 48000.0}, Case{48000.0, 16000.0},
                          Case{16000.0, 48000.0}}) {
        EXPECT_GT(sineToNoise(300.0, c), 95.0) << c.inputRate << " to " << c.outputRate;
        EXPECT_GT(sineToNoise(1000.0, c), 95.0) << c.inputRate << " to " << c.outputRate;
        EXPECT_GT(sineToNoise(2000.0, c), 85.0) << c.inputRate << " to " << c.outputRate;
    }
}

// The spectrum of the window is a Gaussian too, so the edge of the band is its running sum.
TEST(SampleRateConversionAccuracy, TheBandEndsInAGaussianEdgeAroundTheCutoff) {
    const Case c{44100.0, 48000.0};
    constexpr double kEdge = 0.95 * 22050.0;
    constexpr double kDeviation = 44100.0 / (2.0 * 3.14159265358979 * 6.6);
    for (const double deviations : {-3.0, -2.0, -1.0, 0.0, 0.5}) {
        const double hertz = kEdge + deviations * kDeviation;
        const Channel output = resampled(c, sine(hertz, c.inputRate, 6000));
        double likeness = 0.0;
        double power = 0.0;
        for (std::size_t k = 100; k < output.size(); ++k) {
            const double due = sineAt(hertz, c.outputRate, static_cast<double>(k));
            likeness += due * static_cast<double>(output[k]);
            power += due * due;
        }
        const double want = 0.5 * std::erfc(deviations / std::sqrt(2.0));
        EXPECT_NEAR(likeness / power, want, 0.003) << deviations;
    }
}

double peak(const Channel& samples, std::size_t skip) {
    double largest = 0.0;
    for (std::size_t k = skip; k < samples.size(); ++k) {
        largest = std::max(largest, std::abs(static_cast<double>(samples[k])));
    }
    return largest;
}

TEST(SampleRateConversionAccuracy, TonesAboveTheLowerNyquistFrequencyAreTakenOut) {
    const Case c{48000.0, 16000.0};
    for (const double hertz : {12500.0, 15000.0, 20000.0, 23500.0}) {
        EXPECT_LT(peak(resampled(c, sine(hertz, 48000.0, 3000)), 50), 1e-4) << hertz;
    }
    EXPECT_GT(peak(resampled(c, sine(5000.0, 48000.0, 3000)), 50), 0.98);
}

TEST(SampleRateConversionAccuracy, SilenceStaysSilence) {
    for (const float sample : resampled({48000.0, 44100.0}, Channel(500, 0.0F))) {
        EXPECT_EQ(sample, 0.0F);
    }
}

}  // namespace
}  // namespace vorun
