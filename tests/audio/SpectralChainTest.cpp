// Framing without a pass too many, bit for bit against the chain that takes every step by itself.
#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "FramingTestSupport.h"
#include "audio/RealFft.h"
#include "foundation/DenormalGuard.h"

namespace vorun {
namespace {

using test::Channel;
using test::Channels;
using test::FrameSizes;
using test::HookedProcessor;

/// All frames of one stream: windowed, padded, transformed and back, windowed again. Plain loops
/// around the transform, which is not what is looked at here.
class Chain {
  public:
    Chain(FrameSizes sizes, const HookedProcessor& windows) : sizes_(sizes), windows_(windows) {}

    Channel outputOf(const Channel& input, int channel) {
        Channel held(static_cast<std::size_t>(sizes_.primer()), 0.0F);
        held.insert(held.end(), input.begin(), input.end());
        std::vector<Channel> frames;
        const auto window = static_cast<std::size_t>(sizes_.window);
        for (std::size_t at = 0; at + window <= held.size();
             at += static_cast<std::size_t>(sizes_.hop)) {
            frames.push_back(finished(&held[at], channel));
        }
        Channel output;
        for (std::size_t f = 0; f + 1 < frames.size(); ++f) {
            const int older = sizes_.window - (sizes_.shift() + 1) * sizes_.hop;
            for (int i = 0; i < sizes_.hop; ++i) {
                output.push_back(frames[f][index(older + i)] +
                                 frames[f + 1][index(older - sizes_.hop + i)]);
            }
        }
        return output;
    }

  private:
    static std::size_t index(int n) { return static_cast<std::size_t>(n); }

    Channel finished(const float* samples, int channel) {
        const DenormalGuard guard;
        const int padding = sizes_.fft - sizes_.window;
        Signal32 padded(1, sizes_.fft, 0.0F);
        float* target = padded.channelData(0);
        for (int n = 0; n < sizes_.window; ++n) {
            target[padding + n] = samples[n] * windows_.analysisWindow.readData(channel)[n];
        }
        const Signal32 time = fft_.inverse(fft_.forward(padded));
        Channel frame;
        for (int n = 0; n < sizes_.window; ++n) {
            frame.push_back(time.readData(0)[padding + n] *
                            windows_.synthesisWindow.readData(channel)[n]);
        }
        return frame;
    }

    FrameSizes sizes_;
    const HookedProcessor& windows_;
    RealFft fft_;
};

/// Numbers that are not numbers count as equal, whatever their bits.
std::size_t differentBits(const Channel& actual, const Channel& expected) {
    if (actual.size() != expected.size()) {
        return std::numeric_limits<std::size_t>::max();
    }
    std::size_t count = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const bool same =
            std::bit_cast<std::uint32_t>(actual[i]) == std::bit_cast<std::uint32_t>(expected[i]) ||
            (std::isnan(actual[i]) && std::isnan(expected[i]));
        count += same ? 0 : 1;
    }
    return count;
}

class SpectralChain : public testing::TestWithParam<FrameSizes> {
  protected:
    void expectTheChainsBits(const Channels& input) {
        HookedProcessor processor(static_cast<int>(input.size()), GetParam());
        const Channels output = test::stream(processor, input, {1, 7, 64, 13, 200, 3});
        Chain chain(GetParam(), processor);
        for (std::size_t c = 0; c < input.size(); ++c) {
            const Channel expected = chain.outputOf(input[c], static_cast<int>(c));
            ASSERT_FALSE(expected.empty());
            EXPECT_EQ(differentBits(output[c], expected), 0U) << "channel " << c;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Sizes, SpectralChain,
                         testing::Values(FrameSizes{64, 64, 32}, FrameSizes{64, 64, 30},
                                         FrameSizes{64, 48, 24}, FrameSizes{64, 48, 17},
                                         FrameSizes{64, 64, 16}, FrameSizes{64, 48, 16},
                                         FrameSizes{64, 60, 9}, FrameSizes{256, 256, 64}));

TEST_P(SpectralChain, NoiseComesOutWithTheBitsOfTheChain) {
    expectTheChainsBits(test::noise(3, 1500, 12));
}

TEST_P(SpectralChain, SilenceAndDenormalsDoSoToo) {
    Channels input = test::noise(2, 1500, 13);
    for (std::size_t i = 0; i < 1500; ++i) {
        input[0][i] *= 1e-39F;
        input[1][i] = i < 700 ? input[1][i] : 0.0F;
    }
    expectTheChainsBits(input);
}

TEST_P(SpectralChain, NotANumberReachesTheSamplesThatItReachesInTheChain) {
    Channels input = test::noise(2, 1500, 14);
    input[0][600] = std::numeric_limits<float>::quiet_NaN();
    input[1][610] = std::numeric_limits<float>::infinity();
    expectTheChainsBits(input);
}

}  // namespace
}  // namespace vorun
