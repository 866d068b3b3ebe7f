#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "ResamplerTestSupport.h"

namespace vorun {
namespace {

using test::Channel;
using test::Channels;
using test::noise;
using test::Resampler;

struct Rates {
    double input = 0.0;
    double output = 0.0;

    double ratio() const { return input / output; }
};

const std::vector<std::vector<std::size_t>> kPartitions = {
    {1}, {7}, {2, 3, 5, 7, 11, 13}, {97}, {1, 1009}, {480}, {0x400, 1}};

// Shorter blocks can run ahead by what the fraction of the position is worth in output samples.
void expectCountAhead(std::size_t pieces, std::size_t whole, const Rates& rates) {
    EXPECT_GE(pieces, whole);
    EXPECT_LE(static_cast<double>(pieces - whole), 1.0 / rates.ratio() + 1.0);
}

TEST(SampleRateConversionStream, BlocksOfAnyLengthGiveTheSameBitsAtBinarySteps) {
    for (const Rates& rates :
         {Rates{48000.0, 16000.0}, Rates{48000.0, 32000.0}, Rates{24000.0, 48000.0},
          Rates{45000.0, 38400.0}, Rates{12000.0, 96000.0}, Rates{48000.0, 48000.0}}) {
        const Channels input = noise(2, 3001, 31);
        const Channels whole = Resampler(rates.input, rates.output, 2).stream(input, {3001});
        for (const auto& lengths : kPartitions) {
            const Channels pieces = Resampler(rates.input, rates.output, 2).stream(input, lengths);
            expectCountAhead(pieces[0].size(), whole[0].size(), rates);
            for (std::size_t c = 0; c < 2; ++c) {
                EXPECT_TRUE(std::equal(whole[c].begin(), whole[c].end(), pieces[c].begin()))
                    << rates.input << " to " << rates.output << " in " << lengths.front();
            }
        }
    }
}

// A running position of up to 3000 samples is rounded to 2^-42 of a sample a step, and the output
// changes by less than 20 a sample: less than 5e-8 in all, beside one rounding to single precision.
TEST(SampleRateConversionStream, BlocksOfAnyLengthDifferByThePositionsRoundingAtOtherSteps) {
    for (const Rates& rates : {Rates{48000.0, 44100.0}, Rates{44100.0, 48000.0},
                               Rates{16000.0, 48000.0}, Rates{48000.0, 47999.0}}) {
        const Channels input = noise(1, 3001, 32);
        const Channel whole = Resampler(rates.input, rates.output).whole(input.front());
        for (const auto& lengths : kPartitions) {
            const Channel pieces =
                Resampler(rates.input, rates.output).stream(input, lengths).front();
            expectCountAhead(pieces.size(), whole.size(), rates);
            for (std::size_t k = 0; k < whole.size(); ++k) {
                const double bound = 5e-8 + 0x1p-23 * std::abs(static_cast<double>(whole[k]));
                ASSERT_NEAR(static_cast<double>(pieces[k]), static_cast<double>(whole[k]), bound);
            }
        }
    }
}

// Every block size and step, to the last sample, against the formula over an input that goes on:
// a sample missing at a block's end would show there.
TEST(SampleRateConversionStream, TheLastSampleOfABlockReadsNothingThatHasNotCome) {
    const Channel input = noise(1, 400, 33).front();
    for (const double inputRate : {1000.0, 4000.0, 9000.0}) {
        for (const double step : {0.01, 0.3, 63.0 / 64.0, 0.999, 1.001, 1.3, 2.999, 17.3}) {
            const double outputRate = inputRate / step;
            const test::NaiveResampler formula{.inputRate = inputRate, .outputRate = outputRate};
            for (std::size_t length = 1; length < 60; ++length) {
                Resampler resampler(inputRate, outputRate);
                const Channel head(input.begin(), input.begin() + static_cast<int>(length));
                const Channel output = resampler.whole(head);
                const std::size_t start = output.size() > 4 ? output.size() - 4 : 0;
                for (std::size_t k = start; k < output.size(); ++k) {
                    const auto want = formula.output(input, static_cast<int>(k));
                    ASSERT_NEAR(static_cast<double>(output[k]), want.value, want.bound)
                        << inputRate << " step " << step << " length " << length << " at " << k;
                }
            }
        }
    }
}

// An hour of input at 1 kHz, in blocks of 20 ms and in blocks of odd lengths, with two taps.
void expectNoDriftInAnHour(double outputRate, std::int32_t blockLength) {
    constexpr double kInputRate = 1000.0;
    constexpr std::int64_t kHour = 3600 * 1000;
    Resampler resampler;
    resampler.filterLengthMs = 2.0F;
    resampler.interpolatePhases = false;
    resampler.prepareRates(kInputRate, outputRate);
    const std::int64_t primed = resampler.waiting();
    const Signal32 block(1, blockLength, 0.25F);
    std::int64_t pushed = 0;
    std::int64_t pulled = 0;
    while (pushed < kHour) {
        pulled += resampler.process(block).length();
        pushed += blockLength;
    }
    // What was read for the samples pulled, and what the rates say.
    const auto consumed = static_cast<double>(pushed + primed - resampler.waiting());
    const double due = static_cast<double>(pulled) * kInputRate / outputRate;
    EXPECT_NEAR(consumed + resampler.currentPosition(), due, 1e-5);
    const double ratio = kInputRate / outputRate;
    const double expected = static_cast<double>(pushed - resampler.getLatency(1)) / ratio;
    EXPECT_NEAR(static_cast<double>(pulled), expected, 1.0 + 1.0 / ratio);
}

TEST(SampleRateConversionStream, AnHourGivesNoSampleTooManyOrTooFew) {
    expectNoDriftInAnHour(918.75, 20);
    expectNoDriftInAnHour(1000.0 * 160.0 / 147.0, 1024);
    expectNoDriftInAnHour(333.3, 997);
    expectNoDriftInAnHour(125.1, 41);
}

}  // namespace
}  // namespace vorun
