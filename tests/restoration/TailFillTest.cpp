#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include "restoration/SpectrumCoding.h"
#include "restoration/support/PassThrough.h"
#include "restoration/support/Spectra.h"

namespace vorun {
namespace {

using test::passThrough;
using test::randomSpectrum;
using test::tensorOf;
using Shape = std::vector<std::int32_t>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/** The smoothed level in double precision, over the magnitudes of decoded bins. */
double levelAfter(const std::vector<double>& magnitudes) {
    double level = 0.0;
    for (const double magnitude : magnitudes) {
        level = magnitude * 0.02 + level * 0.98;
    }
    return level;
}

TEST(TailFill, FirstBinsOfTheLevelByHand) {
    // One bin of magnitude 5, then two bins without a row.
    const auto spectra = tensorToSpectra(passThrough(1, 1), tensorOf({1, 4, 1}, {3, 4, 0, 0}), 3);
    ASSERT_EQ(spectra.size(), 1U);
    const Ipp32fc* bins = spectra[0].readData(0);
    EXPECT_EQ(bins[1].re, 5.0f * 0.02f);
    EXPECT_EQ(bins[1].im, 0.0f);
    EXPECT_EQ(bins[2].re, bins[1].re * 0.02f + bins[1].re * 0.98f);
    EXPECT_EQ(bins[2].im, 0.0f);
}

TEST(TailFill, BinsAboveTheModelHoldTheLevelOfItsTopBin) {
    constexpr std::int32_t modelBins = 257;
    constexpr std::int32_t hostBins = 513;
    const NeuralModel<float> model = passThrough(modelBins, 0);
    const ComplexSignal32 frame = randomSpectrum(1, hostBins, 2, 0.1, 2.0);
    const Tensor<float> tensor = spectrumToTensor(model, {frame});
    const auto spectra = tensorToSpectra(model, tensor, hostBins);
    ASSERT_EQ(spectra.size(), 1U);
    const Ipp32fc* bins = spectra[0].readData(0);

    std::vector<double> magnitudes;
    for (std::int32_t b = 0; b < modelBins; ++b) {
        magnitudes.push_back(static_cast<double>(tensor.readData()[b]));
    }
    const double expected = levelAfter(magnitudes);
    for (std::int32_t b = modelBins; b < hostBins; ++b) {
        EXPECT_NEAR(static_cast<double>(bins[b].re), expected, expected * 1e-4) << b;
        EXPECT_EQ(bins[b].im, 0.0f) << b;
    }
}

TEST(TailFill, ComplexBinsFeedTheLevelByTheirMagnitude) {
    // Complex bins of magnitude 5, then magnitudes 2: the level is not restarted between them, and
    // a negative result counts by its magnitude.
    const NeuralModel<float> model = passThrough(4, 2);
    const auto spectra =
        tensorToSpectra(model, tensorOf({1, 10, 1}, {3, 4, 0, 0, 0, 0, 4, 3, -2, 2}), 6);
    ASSERT_EQ(spectra.size(), 1U);
    const double expected = levelAfter({5, 5, 2, 2});
    EXPECT_NEAR(static_cast<double>(spectra[0].readData(0)[4].re), expected, 1e-6);
    EXPECT_NEAR(static_cast<double>(spectra[0].readData(0)[5].re), expected, 1e-6);
}

TEST(TailFill, LevelStartsAfreshInEachChannelAndFrame) {
    // Frame 0: channels 1 and 10; frame 1: channels 100 and 1000; one bin each, then the tail.
    const auto spectra =
        tensorToSpectra(passThrough(1, 0, 2), tensorOf({2, 1, 2}, {1, 10, 100, 1000}), 2);
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_EQ(spectra[0].readData(0)[1].re, 1.0f * 0.02f);
    EXPECT_EQ(spectra[0].readData(1)[1].re, 10.0f * 0.02f);
    EXPECT_EQ(spectra[1].readData(0)[1].re, 100.0f * 0.02f);
    EXPECT_EQ(spectra[1].readData(1)[1].re, 1000.0f * 0.02f);
}

TEST(TailFill, LevelTakesTheSameStepsOverEveryBinOfTheTail) {
    std::mt19937 generator(6);
    std::uniform_real_distribution<float> part(-2.0f, 2.0f);
    for (const float scale : {1.0f, 1e-20f, 1e-42f, 1e19f}) {
        for (const std::int32_t complexBins : {0, 3, 210}) {
            constexpr std::int32_t modelBins = 300;
            constexpr std::int32_t hostBins = 1025;
            ComplexSignal32 frame(1, hostBins);
            for (std::int32_t b = 0; b < hostBins; ++b) {
                frame.channelData(0)[b] = {scale * part(generator), scale * part(generator)};
            }
            const NeuralModel<float> model = passThrough(modelBins, complexBins);
            const auto spectra = tensorToSpectra(model, spectrumToTensor(model, {frame}), hostBins);
            const Ipp32fc* bins = spectra.at(0).readData(0);
            float level = 0.0f;
            for (std::int32_t b = 0; b < hostBins; ++b) {
                if (b >= modelBins) {
                    ASSERT_EQ(bins[b].re, level) << b;
                    ASSERT_EQ(bins[b].im, 0.0f) << b;
                }
                level = std::hypot(bins[b].re, bins[b].im) * 0.02f + level * 0.98f;
            }
        }
    }
}

TEST(TailFill, LevelThatCreepsUpwardIsFollowedUntilItStays) {
    constexpr std::int32_t hostBins = 40;
    int longest = 0;
    float magnitude = 99.998f;
    for (int i = 0; i < 1000; ++i, magnitude = std::nextafter(magnitude, 200.0f)) {
        const auto spectra =
            tensorToSpectra(passThrough(1, 0), tensorOf({1, 1, 1}, {magnitude}), hostBins);
        const Ipp32fc* bins = spectra.at(0).readData(0);
        float level = magnitude * 0.02f;
        int steps = 0;
        for (std::int32_t b = 1; b < hostBins; ++b) {
            ASSERT_EQ(bins[b].re, level) << magnitude << ", bin " << b;
            const float next = level * 0.02f + level * 0.98f;
            steps += next == level ? 0 : 1;
            level = next;
        }
        longest = std::max(longest, steps);
    }
    // Rounding moves some levels for many bins; without any of those this would show nothing.
    EXPECT_GE(longest, 10);
}

TEST(TailFill, SwitchedOffClearsTheBins) {
    NeuralModel<float> model = passThrough(2, 0);
    model.enabled = false;
    const auto spectra = tensorToSpectra(model, tensorOf({1, 2, 1}, {4, 5}), 5);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0], {{{4, 0}, {5, 0}, {0, 0}, {0, 0}, {0, 0}}}, 0.0);
}

TEST(TailFill, WithoutModelBinsTheTailIsSilent) {
    // No row at all means no volume, and so no frame.
    EXPECT_TRUE(tensorToSpectra(passThrough(0, 0), Tensor<float>(Shape{1, 0, 1}), 4).empty());
    // A row that the header does not count is not looked at.
    const auto spectra = tensorToSpectra(passThrough(0, 0), tensorOf({1, 1, 1}, {7}), 3);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0], {{{0, 0}, {0, 0}, {0, 0}}}, 0.0);
}

TEST(TailFill, NanReachesTheTailOfItsChannelOnly) {
    const auto spectra =
        tensorToSpectra(passThrough(1, 0, 2), tensorOf({2, 1, 2}, {nan, 1, 2, 3}), 3);
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_TRUE(std::isnan(spectra[0].readData(0)[2].re));
    EXPECT_EQ(spectra[0].readData(1)[1].re, 1.0f * 0.02f);
    EXPECT_EQ(spectra[1].readData(0)[1].re, 2.0f * 0.02f);
}

TEST(TailFill, InfinityMakesAnInfiniteLevel) {
    const auto spectra = tensorToSpectra(passThrough(1, 0), tensorOf({1, 1, 1}, {-infinity}), 3);
    EXPECT_EQ(spectra.at(0).readData(0)[0].re, -infinity);
    EXPECT_EQ(spectra.at(0).readData(0)[2].re, infinity);
}

}  // namespace
}  // namespace vorun
