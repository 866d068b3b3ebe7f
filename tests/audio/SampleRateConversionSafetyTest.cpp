#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

#include "ResamplerTestSupport.h"

namespace vorun {
namespace {

using test::channelOf;
using test::noise;
using test::Resampler;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(SampleRateConversionSafety, RefusesToRunUnprepared) {
    Resampler resampler;
    EXPECT_THROW(resampler.process(Signal32(1, 100, 0.0F)), std::runtime_error);
    EXPECT_FALSE(resampler.process(Signal32()).hasBuffer());
    EXPECT_TRUE(resampler.prepareRates(48000.0, 16000.0));
    EXPECT_EQ(resampler.process(Signal32(1, 1000, 0.0F)).length(), 321);
}

TEST(SampleRateConversionSafety, RefusesInputRatesWithoutALengthInPrepare) {
    for (const double rate : {kNan, kInfinity, -kInfinity, 1e300}) {
        Resampler resampler;
        EXPECT_THROW(resampler.prepareRates(rate, 48000.0), std::runtime_error);
    }
}

TEST(SampleRateConversionSafety, RefusesRatesThatGiveNoCountOfSamples) {
    struct Rates {
        double input;
        double output;
    };
    for (const Rates& rates :
         {Rates{0.0, 0.0}, Rates{0.0, 48000.0}, Rates{48000.0, kNan}, Rates{1.0, kInfinity},
          Rates{1e-300, 48000.0}, Rates{1e-5, 1e300}, Rates{-48000.0, -48000.0}}) {
        Resampler resampler;
        ASSERT_TRUE(resampler.prepareRates(rates.input, rates.output));
        EXPECT_THROW(resampler.process(Signal32(1, 1000, 0.5F)), std::runtime_error)
            << rates.input << " to " << rates.output;
    }
}

// A quotient below 1, whichever way it came about, is a stream that has nothing to give yet.
TEST(SampleRateConversionSafety, LetsInputWaitWhereTheStepNeverEnds) {
    for (const double outputRate : {0.0, -0.0, 1e-300, -48000.0}) {
        Resampler resampler;
        ASSERT_TRUE(resampler.prepareRates(48000.0, outputRate));
        EXPECT_FALSE(resampler.process(Signal32(1, 1000, 0.5F)).hasBuffer());
        EXPECT_EQ(resampler.waiting(), 1036);
    }
}

TEST(SampleRateConversionSafety, RefusesANegativeStepThatHasACount) {
    Resampler resampler(48000.0, -1.0);
    EXPECT_FALSE(resampler.process(Signal32(1, 40, 0.5F)).hasBuffer());
    Resampler other(48000.0, -48000.0);
    EXPECT_THROW(other.process(Signal32(1, 20, 0.5F)), std::runtime_error);
}

TEST(SampleRateConversionSafety, NegativeRatesOfOneSignAreSilent) {
    for (const float bandwidth : {95.0F, 100.0F}) {
        Resampler resampler;
        resampler.bandwidthPercent = bandwidth;
        ASSERT_TRUE(resampler.prepareRates(-24000.0, -16000.0));
        EXPECT_EQ(resampler.taps(), -36);
        EXPECT_EQ(resampler.waiting(), 0);
        const Signal32 out = resampler.process(Signal32(1, 100, 0.5F));
        EXPECT_EQ(out.length(), static_cast<int>((100 + 36 - 1) / 1.5));
        for (const float sample : channelOf(out, 0)) {
            EXPECT_EQ(sample, 0.0F);
        }
        EXPECT_EQ(resampler.waiting(), 0);
        EXPECT_LT(resampler.currentPosition(), 1.0);
    }
}

TEST(SampleRateConversionSafety, RefusesMoreSamplesThanABlockHolds) {
    Resampler resampler;
    resampler.filterLengthMs = 1.0F;
    ASSERT_TRUE(resampler.prepareRates(1000.0, 1e9));
    // Some 10^9 outputs: a count within 32 bits, a block beyond 2 GiB.
    EXPECT_THROW(resampler.process(Signal32(1, 1000, 0.5F)), std::runtime_error);
    resampler.reset();
    EXPECT_EQ(resampler.waiting(), 0);
    EXPECT_FALSE(resampler.process(Signal32(1, 2, 0.5F)).hasBuffer());
}

TEST(SampleRateConversionSafety, RefusesAQueueBeyondTheRangeOfSizes) {
    // No channel, so that no memory stands behind the lengths.
    Resampler resampler(1e6, 1.0, 0);
    const Signal32 block(0, std::numeric_limits<std::int32_t>::max());
    ASSERT_TRUE(block.hasBuffer());
    EXPECT_THROW(
        {
            for (int i = 0; i < 3; ++i) {
                resampler.process(block);
            }
        },
        std::runtime_error);
}

TEST(SampleRateConversionSafety, StreamsWithoutChannelsOrTapsComeThrough) {
    Resampler none(48000.0, 16000.0, 0);
    EXPECT_EQ(none.process(Signal32(0, 1000)).channels(), 0);

    for (const float bandwidth : {95.0F, 100.0F}) {
        for (const bool interpolate : {true, false}) {
            Resampler noTaps;
            noTaps.filterLengthMs = 0.0F;
            noTaps.bandwidthPercent = bandwidth;
            noTaps.interpolatePhases = interpolate;
            ASSERT_TRUE(noTaps.prepareRates(24000.0, 48000.0));
            const Signal32 out = noTaps.process(Signal32(1, 10, 0.5F));
            EXPECT_EQ(out.length(), 18);
            // Without taps only the row that is a pure delay has anything to read.
            EXPECT_EQ(channelOf(out, 0)[2], bandwidth == 100.0F ? 0.5F : 0.0F);
        }
    }
}

TEST(SampleRateConversionSafety, SettingsThatAreNoNumbersGiveNoOther) {
    Resampler resampler;
    resampler.bandwidthPercent = std::numeric_limits<float>::quiet_NaN();
    ASSERT_TRUE(resampler.prepareRates(48000.0, 44100.0));
    const Signal32 out = resampler.process(Signal32(1, 200, 0.5F));
    EXPECT_TRUE(std::isnan(channelOf(out, 0)[0]));
}

TEST(SampleRateConversionSafety, SettingsThatChangeAfterPrepareKeepTheFilter) {
    Resampler resampler(48000.0, 44100.0);
    const test::Channel input = noise(1, 400, 41).front();
    const test::Channel want = resampler.whole(input);
    resampler.reset();
    resampler.phases = 7;
    resampler.filterLengthMs = 1000.0F;
    resampler.bandwidthPercent = 1.0F;
    EXPECT_EQ(resampler.whole(input), want);
}

// Steps from 2^-8 to 2^8 at random filter sizes and blocks: for the address sanitizer, and every
// sample stays what a filter of silence and 0.5 can be.
TEST(SampleRateConversionSafety, RandomStreamsStayInsideTheirBlocks) {
    std::mt19937 generator(42);
    std::uniform_real_distribution<double> exponent(-8.0, 8.0);
    std::uniform_int_distribution<int> blockLength(1, 40);
    for (int round = 0; round < 300; ++round) {
        Resampler resampler;
        resampler.filterLengthMs = static_cast<float>(blockLength(generator)) * 0.5F;
        resampler.bandwidthPercent = round % 3 == 0 ? 100.0F : 95.0F;
        resampler.phases = 1 << (round % 8);
        resampler.interpolatePhases = round % 2 == 0;
        ASSERT_TRUE(resampler.prepareRates(1000.0, 1000.0 * std::exp2(exponent(generator)), 2));
        for (int i = 0; i < 10; ++i) {
            const Signal32 out = resampler.process(Signal32(2, blockLength(generator), 0.5F));
            for (const test::Channel& samples : test::channelsOf(out)) {
                for (const float sample : samples) {
                    ASSERT_LT(std::abs(sample), 2.0F);
                }
            }
            ASSERT_LT(resampler.currentPosition(), 1.0);
        }
    }
}

}  // namespace
}  // namespace vorun
