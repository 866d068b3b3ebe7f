#include <complex>
#include <gtest/gtest.h>
#include <numbers>

#include "FramingTestSupport.h"

namespace vorun {
namespace {

using test::Channel;
using test::Channels;
using test::FrameSizes;
using test::FramingReference;
using test::HookedProcessor;
using test::noise;
using test::stream;

// Two transforms and two windows in float, on samples of at most 1.
constexpr double kTolerance = 1e-5;

class SpectralReconstruction : public testing::TestWithParam<FrameSizes> {};

INSTANTIATE_TEST_SUITE_P(Symmetric, SpectralReconstruction,
                         testing::Values(FrameSizes{1024, 1024, 512}, FrameSizes{16, 16, 8},
                                         FrameSizes{2, 2, 1}, FrameSizes{1024, 960, 480},
                                         FrameSizes{256, 100, 50}, FrameSizes{64, 32, 16},
                                         FrameSizes{512, 6, 3}, FrameSizes{8, 2, 1}));

INSTANTIATE_TEST_SUITE_P(LowLatency, SpectralReconstruction,
                         testing::Values(FrameSizes{1024, 1024, 256}, FrameSizes{64, 64, 16},
                                         FrameSizes{16, 16, 4}, FrameSizes{4, 4, 1}));

TEST_P(SpectralReconstruction, IdentityHookGivesTheInputBackSampleForSample) {
    const FrameSizes sizes = GetParam();
    for (const std::size_t channels : {1U, 2U, 5U}) {
        const Channels input = noise(channels, static_cast<std::size_t>(7 * sizes.window + 3), 11);
        HookedProcessor processor(static_cast<int>(channels), sizes);
        const Channels output = stream(processor, input, {input.front().size()});
        ASSERT_EQ(output.size(), channels);
        for (std::size_t c = 0; c < channels; ++c) {
            ASSERT_GT(output[c].size(), 5U * static_cast<std::size_t>(sizes.window));
            for (std::size_t i = 0; i < output[c].size(); ++i) {
                ASSERT_NEAR(static_cast<double>(output[c][i]), static_cast<double>(input[c][i]),
                            kTolerance)
                    << "channel " << c << ", sample " << i;
            }
        }
    }
}

class SpectralProcedure : public testing::TestWithParam<FrameSizes> {};

INSTANTIATE_TEST_SUITE_P(AllRatios, SpectralProcedure,
                         testing::Values(FrameSizes{64, 48, 16}, FrameSizes{16, 15, 5},
                                         FrameSizes{16, 12, 4}, FrameSizes{4, 3, 1},
                                         FrameSizes{32, 28, 12}, FrameSizes{64, 47, 16},
                                         FrameSizes{64, 60, 12}, FrameSizes{64, 64, 8},
                                         FrameSizes{64, 32, 8}, FrameSizes{1024, 256, 64},
                                         FrameSizes{1024, 1000, 256}, FrameSizes{1024, 1024, 300}));

TEST_P(SpectralProcedure, MatchesItsEvaluationInDoublePrecision) {
    const FrameSizes sizes = GetParam();
    const Channels input = noise(2, static_cast<std::size_t>(9 * sizes.window + 5), 12);
    HookedProcessor processor(2, sizes);
    const Channels output = stream(processor, input, {input.front().size()});
    const double scale = static_cast<double>(sizes.fft) / sizes.window;
    for (std::size_t c = 0; c < 2; ++c) {
        const FramingReference reference(sizes, input[c]);
        ASSERT_GT(output[c].size(), 6U * static_cast<std::size_t>(sizes.window));
        EXPECT_LT(test::distance(output[c], reference.outputOfIdentity()), kTolerance * scale);
    }
}

// The window is divided out by its length, the transform pair multiplies by its own.
TEST(SpectralFraming, LowLatencyPaddingScalesTheOutputByTransformOverWindow) {
    const Channels input = noise(1, 400, 13);
    HookedProcessor processor(1, {128, 32, 8});
    const Channels output = stream(processor, input, {400});
    for (std::size_t i = 0; i < output[0].size(); ++i) {
        ASSERT_NEAR(output[0][i], 4.0F * input[0][i], 4e-5F);
    }
}

TEST(SpectralFraming, LowLatencyAtThreeHopsRipplesOverAConstantInput) {
    HookedProcessor processor(1, {64, 48, 16});
    const Channels output = stream(processor, {Channel(480, 1.0F)}, {480});
    // The window of two hops stands half a hop before the read offsets: the first half of a hop
    // sums to sin^2 terms a hop apart, the second half reads the older frame's tail alone.
    for (std::size_t i = 64; i < output[0].size(); ++i) {
        const int n = static_cast<int>(i % 16);
        const double older = test::hannAt(n + 8, 32);
        const double newer = n < 8 ? 0.0 : test::hannAt(n - 8, 32);
        ASSERT_NEAR(static_cast<double>(output[0][i]), 64.0 / 48.0 * (older + newer), 1e-5) << n;
    }
}

TEST(SpectralFraming, LowLatencyAtEightHopsIsSilent) {
    HookedProcessor processor(1, {64, 64, 8});
    const Channels output = stream(processor, noise(1, 640, 14), {640});
    ASSERT_GT(output[0].size(), 500U);
    for (const float sample : output[0]) {
        ASSERT_EQ(sample, 0.0F);
    }
}

TEST(SpectralFraming, TheHookSeesTheSpectrumOfTheWindowedFramePaddedInFront) {
    const FrameSizes sizes{16, 10, 5};
    const Channels input = noise(2, 10, 15);
    HookedProcessor processor(2, sizes);
    std::vector<ComplexSignal32> seen;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        seen.push_back(spectrum);
        return HookedProcessor::Spectra{};
    };
    processor.process(test::toSignal(input));
    ASSERT_EQ(seen.size(), 2U);
    ASSERT_EQ(seen[1].channels(), 2);
    ASSERT_EQ(seen[1].length(), 9);
    for (int c = 0; c < 2; ++c) {
        for (int k = 0; k <= 8; ++k) {
            std::complex<double> bin;
            for (int n = 0; n < 10; ++n) {
                const double sample = static_cast<double>(
                    input[static_cast<std::size_t>(c)][static_cast<std::size_t>(n)]);
                const double turn = static_cast<double>(k * (n + 6)) / 16.0;
                bin += sample * std::sqrt(test::hannAt(n, 10)) *
                       std::polar(1.0, -2.0 * std::numbers::pi * turn);
            }
            EXPECT_NEAR(static_cast<double>(seen[1].readData(c)[k].re), bin.real(), 1e-5);
            EXPECT_NEAR(static_cast<double>(seen[1].readData(c)[k].im), bin.imag(), 1e-5);
        }
    }
}

TEST(SpectralFraming, ChangesOfASpectrumReachTheOutput) {
    const FrameSizes sizes{64, 64, 32};
    const Channels input = noise(1, 600, 16);
    HookedProcessor processor(1, sizes);
    std::vector<test::Delivery> deliveries;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        const int index = static_cast<int>(deliveries.size());
        const float gain = 0.5F * static_cast<float>(index % 4) - 1.0F;
        deliveries.push_back({index, static_cast<double>(gain)});
        return HookedProcessor::Spectra{spectrum.scaled({gain, 0.0F})};
    };
    const Channels output = stream(processor, input, {600});
    const FramingReference reference(sizes, input[0]);
    EXPECT_LT(test::distance(output[0], reference.outputOf(deliveries)), kTolerance);
}

TEST(SpectralFraming, AHookMayReturnAnotherChannelCount) {
    const Channels input = noise(2, 200, 17);
    HookedProcessor processor;
    processor.prepare(test::streamOf(2), test::streamOf(1));
    processor.setFrameSizes(16, 16, 8);
    processor.hook = [](const ComplexSignal32& spectrum) {
        ComplexSignal32 mono(1, spectrum.length());
        for (int k = 0; k < spectrum.length(); ++k) {
            const Ipp32fc left = spectrum.readData(0)[k];
            const Ipp32fc right = spectrum.readData(1)[k];
            mono.channelData(0)[k] = {left.re + right.re, left.im + right.im};
        }
        return HookedProcessor::Spectra{mono};
    };
    const Channels output = stream(processor, input, {200});
    ASSERT_EQ(output.size(), 1U);
    for (std::size_t i = 0; i < output[0].size(); ++i) {
        ASSERT_NEAR(output[0][i], input[0][i] + input[1][i], 2e-5F);
    }
}

}  // namespace
}  // namespace vorun
