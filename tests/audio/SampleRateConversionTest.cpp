#include <cmath>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

#include "ResamplerTestSupport.h"

namespace vorun {
namespace {

using test::Channel;
using test::channelOf;
using test::Channels;
using test::layoutOf;
using test::noise;
using test::Resampler;
using test::toSignal;

TEST(SampleRateConversion, StartsUnprepared) {
    const Resampler resampler;
    EXPECT_EQ(resampler.filterLengthMs, 1.5F);
    EXPECT_EQ(resampler.bandwidthPercent, 95.0F);
    EXPECT_EQ(resampler.phases, 64);
    EXPECT_TRUE(resampler.interpolatePhases);
    EXPECT_EQ(resampler.taps(), 0);
    EXPECT_EQ(resampler.exactPhase(), -1);
    EXPECT_EQ(resampler.currentPosition(), 0.0);
    EXPECT_EQ(resampler.getLatency(1), 1);
}

TEST(SampleRateConversion, RefusesUnequalChannelCountsAndChangesNothing) {
    Resampler resampler(48000.0, 16000.0, 2);
    EXPECT_TRUE(!resampler.process(toSignal(noise(2, 10, 1))).hasBuffer());
    EXPECT_FALSE(resampler.prepare(layoutOf(2, 44100.0), layoutOf(1, 44100.0)));
    EXPECT_EQ(resampler.inputLayout.sampleRate, 48000.0);
    EXPECT_EQ(resampler.outputLayout.channelCount(), 2);
    EXPECT_EQ(resampler.taps(), 72);
    EXPECT_EQ(resampler.waiting(), 46);
}

TEST(SampleRateConversion, FirstBlockOf1000SamplesFrom48To16KilohertzGives321) {
    Resampler resampler(48000.0, 16000.0);
    EXPECT_EQ(resampler.taps(), 72);
    EXPECT_EQ(resampler.waiting(), 36);
    const Signal32 out = resampler.process(toSignal(noise(1, 1000, 2)));
    EXPECT_EQ(out.channels(), 1);
    EXPECT_EQ(out.length(), 321);
    EXPECT_EQ(resampler.waiting(), 1036 - 321 * 3);
}

TEST(SampleRateConversion, EqualRatesDelayByThePrimerBitForBit) {
    Resampler resampler(48000.0, 48000.0, 2);
    const Channels input = noise(2, 3000, 3);
    const Channels output = resampler.stream(input, {1, 500, 3, 977});
    ASSERT_EQ(output[0].size(), 3000U + 36U - 73U);
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_EQ(std::memcmp(output[c].data(), input[c].data(), output[c].size() * sizeof(float)),
                  0);
    }
}

TEST(SampleRateConversion, EqualRatesKeepDenormalsAndSignedZerosAndClampInfinities) {
    Resampler resampler(8000.0, 8000.0);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kTiny = std::numeric_limits<float>::denorm_min();
    Channel input = {kTiny, -kTiny, -0.0F, kInfinity, -kInfinity, NAN, 1.0F};
    input.resize(40, 0.0F);
    const Channel output = resampler.whole(input);
    ASSERT_GE(output.size(), 7U);
    EXPECT_EQ(output[0], kTiny);
    EXPECT_EQ(output[1], -kTiny);
    EXPECT_TRUE(std::signbit(output[2]));
    EXPECT_EQ(output[3], std::numeric_limits<float>::max());
    EXPECT_EQ(output[4], std::numeric_limits<float>::lowest());
    EXPECT_TRUE(std::isnan(output[5]));
    EXPECT_EQ(output[6], 1.0F);
}

TEST(SampleRateConversion, EqualRatesNeedNoSettingsOfTheFilterButItsLength) {
    Resampler resampler;
    resampler.bandwidthPercent = 20.0F;
    resampler.phases = 2;
    resampler.filterLengthMs = 1.0F;
    resampler.prepareRates(8000.0, 8000.0);
    const Channel input = noise(1, 50, 4).front();
    const Channel output = resampler.whole(input);
    ASSERT_EQ(output.size(), 50U + 4U - 9U);
    EXPECT_EQ(output, Channel(input.begin(), input.begin() + 45));
}

TEST(SampleRateConversion, ABlockTooShortForASampleWaitsInTheQueue) {
    Resampler resampler(48000.0, 16000.0);
    const Channels input = noise(1, 100, 5);
    EXPECT_FALSE(resampler.process(toSignal(input, 0, 39)).hasBuffer());
    EXPECT_EQ(resampler.waiting(), 75);
    const Signal32 first = resampler.process(toSignal(input, 39, 1));
    ASSERT_EQ(first.length(), 1);
    Resampler inOne(48000.0, 16000.0);
    EXPECT_EQ(channelOf(first, 0)[0], inOne.whole(input.front())[0]);
}

TEST(SampleRateConversion, AnEmptyBlockChangesNothing) {
    Resampler resampler(48000.0, 16000.0);
    EXPECT_FALSE(resampler.process(Signal32()).hasBuffer());
    EXPECT_FALSE(resampler.process(Signal32(1, 0)).hasBuffer());
    EXPECT_FALSE(resampler.process(Signal32(3, 0)).hasBuffer());
    EXPECT_EQ(resampler.waiting(), 36);
}

TEST(SampleRateConversion, PositionStaysBelowOneBetweenCalls) {
    for (const double outputRate : {44100.0, 16000.0, 96000.0, 47999.0, 192000.0}) {
        Resampler resampler(48000.0, outputRate);
        const Channels input = noise(1, 4000, 6);
        for (std::size_t start = 0; start + 97 < 4000; start += 97) {
            resampler.process(toSignal(input, start, 97));
            EXPECT_GE(resampler.currentPosition(), 0.0);
            EXPECT_LT(resampler.currentPosition(), 1.0);
        }
    }
}

TEST(SampleRateConversion, LatencyIsHalfTheFilterAndOneForEveryBlockSize) {
    EXPECT_EQ(Resampler(48000.0, 16000.0).getLatency(1), 37);
    EXPECT_EQ(Resampler(48000.0, 16000.0).getLatency(512), 37);
    EXPECT_EQ(Resampler(48000.0, 16000.0).getLatency(-5), 37);
    EXPECT_EQ(Resampler(44100.0, 48000.0).getLatency(1), 34);
    Resampler odd;
    odd.filterLengthMs = 7.0F;
    odd.prepareRates(1000.0, 500.0);
    EXPECT_EQ(odd.taps(), 7);
    EXPECT_EQ(odd.getLatency(1), 4);
}

// Samples come out by whole steps of the position, so one step may wait beyond the latency.
TEST(SampleRateConversion, EachSampleComesOutWithinTheLatencyAndOneStep) {
    for (const double outputRate : {44100.0, 16000.0, 96000.0}) {
        Resampler resampler(48000.0, outputRate);
        const double ratio = 48000.0 / outputRate;
        double outputs = 0.0;
        for (int pushed = 1; pushed < 500; ++pushed) {
            outputs += resampler.process(Signal32(1, 1, 0.5F)).length();
            const double due = pushed - resampler.getLatency(1) - ratio;
            EXPECT_GT(outputs * ratio, due - 1e-9);
        }
    }
}

TEST(SampleRateConversion, ResetRestartsTheStream) {
    Resampler resampler(48000.0, 44100.0, 2);
    const Channels input = noise(2, 1000, 7);
    const Channels first = resampler.stream(input, {333});
    EXPECT_NE(resampler.currentPosition(), 0.0);
    resampler.reset();
    EXPECT_EQ(resampler.currentPosition(), 0.0);
    EXPECT_EQ(resampler.waiting(), 36);
    EXPECT_EQ(resampler.stream(input, {333}), first);
}

TEST(SampleRateConversion, PrepareWithAChangedRateRedesignsAndRestarts) {
    Resampler resampler(48000.0, 16000.0);
    const Channel input = noise(1, 1000, 8).front();
    resampler.whole(input);
    EXPECT_TRUE(resampler.prepareRates(44100.0, 48000.0));
    EXPECT_EQ(resampler.taps(), 66);
    EXPECT_EQ(resampler.waiting(), 33);
    EXPECT_EQ(resampler.currentPosition(), 0.0);
    EXPECT_EQ(resampler.whole(input), Resampler(44100.0, 48000.0).whole(input));
}

TEST(SampleRateConversion, PrepareWithEqualLayoutsTakesNewSettingsAndRestarts) {
    Resampler resampler(48000.0, 16000.0);
    resampler.whole(noise(1, 1000, 9).front());
    resampler.filterLengthMs = 3.0F;
    EXPECT_EQ(resampler.taps(), 72);
    EXPECT_TRUE(resampler.prepareRates(48000.0, 16000.0));
    EXPECT_EQ(resampler.taps(), 144);
    EXPECT_EQ(resampler.waiting(), 72);
}

TEST(SampleRateConversion, APrepareThatRaisesChangesNothing) {
    Resampler resampler(48000.0, 44100.0);
    const Channel input = noise(1, 500, 10).front();
    const Channel before = resampler.whole(input);
    resampler.phases = 48;
    EXPECT_THROW(resampler.prepareRates(8000.0, 16000.0), std::runtime_error);
    EXPECT_EQ(resampler.inputLayout.sampleRate, 48000.0);
    EXPECT_EQ(resampler.taps(), 72);
    EXPECT_GT(resampler.waiting(), 36);
    resampler.reset();
    EXPECT_EQ(resampler.whole(input), before);
}

TEST(SampleRateConversion, EachChannelIsResampledAsIfItWereAlone) {
    const Channels input = noise(3, 2000, 11);
    Resampler three(48000.0, 44100.0, 3);
    const Channels output = three.stream(input, {2000});
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(output[c], Resampler(48000.0, 44100.0).whole(input[c]));
    }
}

TEST(SampleRateConversion, NotANumberStaysInItsChannelAndLeavesWithTheFilter) {
    const Channels clean = noise(2, 1000, 12);
    Channels dirty = clean;
    dirty[0][400] = NAN;
    Resampler resampler(48000.0, 44100.0, 2);
    const Channels want = resampler.stream(clean, {1000});
    resampler.reset();
    const Channels got = resampler.stream(dirty, {1000});
    EXPECT_EQ(got[1], want[1]);
    for (std::size_t k = 0; k < got[0].size(); ++k) {
        const double distance = std::abs(static_cast<double>(k) * 48000.0 / 44100.0 - 400.0);
        if (distance > 37.0) {
            EXPECT_EQ(got[0][k], want[0][k]) << k;
        } else if (distance < 35.0) {
            EXPECT_TRUE(std::isnan(got[0][k])) << k;
        }
    }
}

TEST(SampleRateConversion, ResetDropsNotANumber) {
    Resampler resampler(48000.0, 44100.0);
    const Channel input = noise(1, 300, 13).front();
    const Channel want = resampler.whole(input);
    resampler.process(Signal32(1, 200, NAN));
    resampler.reset();
    EXPECT_EQ(resampler.whole(input), want);
}

TEST(SampleRateConversion, DenormalsAreFilteredAsTheyAre) {
    Resampler resampler(48000.0, 44100.0);
    Channel input = noise(1, 600, 14).front();
    const Channel loud = resampler.whole(input);
    for (float& sample : input) {
        sample *= 0x1p-130F;
    }
    resampler.reset();
    const Channel quiet = resampler.whole(input);
    for (std::size_t k = 0; k < loud.size(); ++k) {
        // Input and output are rounded to steps of 2^-149.
        EXPECT_NEAR(static_cast<double>(quiet[k]), static_cast<double>(loud[k]) * 0x1p-130,
                    20.0 * 0x1p-149);
    }
}

TEST(SampleRateConversion, AnotherChannelCountDropsTheQueueAndItsPrimer) {
    Resampler resampler(48000.0, 16000.0, 2);
    resampler.process(toSignal(noise(2, 20, 15)));
    const Signal32 out = resampler.process(toSignal(noise(3, 100, 16)));
    EXPECT_EQ(out.channels(), 2);
    EXPECT_EQ(out.length(), (100 - 73) / 3);
    EXPECT_THROW(resampler.process(toSignal(noise(1, 100, 17))), std::runtime_error);
    resampler.reset();
    EXPECT_EQ(resampler.process(toSignal(noise(2, 1000, 18))).length(), 321);
}

}  // namespace
}  // namespace vorun
