#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <stdexcept>
#include <utility>
#include <vector>

#include "AudioTestSupport.h"
#include "audio/RealFft.h"

namespace vorun {
namespace {

using test::Channel;
using test::Channels;
using test::noise;
using test::toSignal;
using Spectrum = std::vector<std::complex<double>>;

Spectrum naiveForward(const Channel& samples, int size) {
    Spectrum bins(static_cast<std::size_t>(size) / 2 + 1);
    for (std::size_t k = 0; k < bins.size(); ++k) {
        for (int n = 0; n < size; ++n) {
            const double turn = static_cast<double>((static_cast<int>(k) * n) % size) / size;
            bins[k] += static_cast<double>(samples[static_cast<std::size_t>(n)]) *
                       std::polar(1.0, -2.0 * std::numbers::pi * turn);
        }
    }
    return bins;
}

// Largest distance of a row from the expected bins, against the root of the summed squares.
double relativeError(const Ipp32fc* row, const Spectrum& expected) {
    double worst = 0.0;
    double energy = 0.0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        const std::complex<double> bin(static_cast<double>(row[k].re),
                                       static_cast<double>(row[k].im));
        worst = std::max(worst, std::abs(bin - expected[k]));
        energy += std::norm(expected[k]);
    }
    return worst / std::sqrt(energy);
}

TEST(RealFft, ForwardIsTheUnscaledTransformOfEachChannel) {
    RealFft fft;
    for (int size = 1; size <= 1024; size *= 2) {
        const Channels samples = noise(2, static_cast<std::size_t>(size), 3);
        const ComplexSignal32 spectrum = fft.forward(toSignal(samples));
        ASSERT_EQ(spectrum.channels(), 2);
        ASSERT_EQ(spectrum.length(), size / 2 + 1);
        for (int c = 0; c < 2; ++c) {
            const Spectrum expected = naiveForward(samples[static_cast<std::size_t>(c)], size);
            EXPECT_LT(relativeError(spectrum.readData(c), expected), 1e-6) << size;
            EXPECT_EQ(spectrum.readData(c)[0].im, 0.0F);
        }
    }
}

TEST(RealFft, ForwardThenInverseMultipliesBySize) {
    RealFft fft;
    for (int size = 2; size <= 4096; size *= 2) {
        const Channels samples = noise(3, static_cast<std::size_t>(size), 4);
        const Signal32 back = fft.inverse(fft.forward(toSignal(samples)));
        ASSERT_EQ(back.channels(), 3);
        ASSERT_EQ(back.length(), size);
        for (int c = 0; c < 3; ++c) {
            for (int n = 0; n < size; ++n) {
                const double expected = static_cast<double>(
                    samples[static_cast<std::size_t>(c)][static_cast<std::size_t>(n)]);
                ASSERT_NEAR(static_cast<double>(back.readData(c)[n]) / size, expected, 2e-6);
            }
        }
    }
}

TEST(RealFft, InverseIgnoresTheImaginaryPartsOfTheOuterBins) {
    ComplexSignal32 spectrum(1, 3);
    Ipp32fc* row = spectrum.channelData(0);
    row[0] = {1, 100};
    row[1] = {0, 0};
    row[2] = {2, -100};
    const Signal32 signal = RealFft().inverse(spectrum);
    EXPECT_EQ(test::channelOf(signal, 0), (Channel{3, -1, 3, -1}));
}

TEST(RealFft, ThePlanIsBuiltAtTheFirstTransformAndServesBothDirections) {
    RealFft fft;
    EXPECT_FALSE(fft.hasPlan());
    EXPECT_EQ(fft.size(), 0);
    EXPECT_EQ(fft.order(), 0);
    const ComplexSignal32 spectrum = fft.forward(Signal32(1, 64, 1.0F));
    EXPECT_TRUE(fft.hasPlan());
    EXPECT_EQ(fft.size(), 64);
    EXPECT_EQ(fft.order(), 6);
    EXPECT_EQ(fft.inverse(spectrum).length(), 64);
    EXPECT_EQ(fft.size(), 64);
}

TEST(RealFft, AnotherSizeRebuildsThePlan) {
    RealFft fft;
    fft.forward(Signal32(1, 64, 1.0F));
    fft.forward(Signal32(1, 16, 1.0F));
    EXPECT_EQ(fft.size(), 16);
    ComplexSignal32 spectrum(1, 17);
    for (int k = 0; k < 17; ++k) {
        spectrum.channelData(0)[k] = {0, 0};
    }
    fft.inverse(spectrum);
    EXPECT_EQ(fft.size(), 32);
    EXPECT_EQ(fft.order(), 5);
}

TEST(RealFft, ASizeBetweenTwoPowersTransformsTheLowerOneAndZeroesTheRest) {
    const Channels samples = noise(2, 12, 6);
    RealFft fft;
    const ComplexSignal32 spectrum = fft.forward(toSignal(samples));
    EXPECT_EQ(fft.size(), 12);
    EXPECT_EQ(fft.order(), 3);
    ASSERT_EQ(spectrum.length(), 7);
    EXPECT_LT(relativeError(spectrum.readData(1), naiveForward(samples[1], 8)), 1e-6);
    for (int k = 5; k < 7; ++k) {
        EXPECT_EQ(spectrum.readData(1)[k].re, 0.0F);
        EXPECT_EQ(spectrum.readData(1)[k].im, 0.0F);
    }
    const Signal32 back = fft.inverse(spectrum);
    ASSERT_EQ(back.length(), 12);
    for (int n = 0; n < 12; ++n) {
        const float expected = n < 8 ? 8.0F * samples[1][static_cast<std::size_t>(n)] : 0.0F;
        EXPECT_NEAR(back.readData(1)[n], expected, 1e-5F);
    }
}

TEST(RealFft, AnOddSizeStaysInsideItsBlocks) {
    RealFft fft;
    for (const int size : {3, 5, 7, 9, 17, 31, 33}) {
        const ComplexSignal32 spectrum = fft.forward(Signal32(2, size, 1.0F));
        EXPECT_EQ(spectrum.length(), size / 2 + 1);
        const Signal32 back = fft.inverse(spectrum);
        EXPECT_EQ(back.length(), size / 2 * 2);
        EXPECT_EQ(fft.size(), size);
    }
}

TEST(RealFft, SizesWithoutATransformAreRefused) {
    RealFft fft;
    EXPECT_THROW(fft.forward(Signal32(1, 0)), std::runtime_error);
    EXPECT_THROW(fft.forward(Signal32(1, -8)), std::runtime_error);
    EXPECT_THROW(fft.forward(Signal32(1, 1 << 30)), std::runtime_error);
    EXPECT_THROW(fft.inverse(ComplexSignal32(1, 1)), std::runtime_error);
    EXPECT_THROW(fft.inverse(ComplexSignal32(1, 0)), std::runtime_error);
    EXPECT_THROW(fft.inverse(ComplexSignal32(1, 1 << 30)), std::runtime_error);
}

TEST(RealFft, SignalsWithoutChannelsTransformToNothing) {
    RealFft fft;
    EXPECT_EQ(fft.forward(Signal32()).channels(), 0);
    EXPECT_EQ(fft.forward(Signal32(0, 16)).length(), 9);
    EXPECT_EQ(fft.inverse(ComplexSignal32()).channels(), 0);
    EXPECT_EQ(fft.inverse(ComplexSignal32(0, 9)).length(), 16);
}

TEST(RealFft, ARefusedSizeDoesNotSpoilTheNextOne) {
    RealFft fft;
    EXPECT_THROW(fft.forward(Signal32(1, 0)), std::runtime_error);
    const ComplexSignal32 spectrum = fft.forward(Signal32(1, 8, 1.0F));
    EXPECT_EQ(spectrum.readData(0)[0].re, 8.0F);
}

TEST(RealFft, ACopyStartsWithoutAPlanAndBothTransform) {
    RealFft first;
    first.forward(Signal32(1, 16, 1.0F));
    RealFft second(first);
    EXPECT_FALSE(second.hasPlan());
    EXPECT_TRUE(first.hasPlan());
    EXPECT_EQ(second.forward(Signal32(1, 16, 1.0F)).readData(0)[0].re, 16.0F);
    second = first;
    EXPECT_FALSE(second.hasPlan());
    EXPECT_EQ(first.forward(Signal32(1, 16, 1.0F)).readData(0)[0].re, 16.0F);
}

TEST(RealFft, AMoveHandsThePlanOver) {
    RealFft first;
    first.forward(Signal32(1, 16, 1.0F));
    RealFft second(std::move(first));
    EXPECT_TRUE(second.hasPlan());
    EXPECT_EQ(second.size(), 16);
    RealFft third;
    third.forward(Signal32(1, 8, 1.0F));
    third = std::move(second);
    EXPECT_EQ(third.size(), 16);
    EXPECT_EQ(third.forward(Signal32(1, 16, 1.0F)).readData(0)[0].re, 16.0F);
}

}  // namespace
}  // namespace vorun
