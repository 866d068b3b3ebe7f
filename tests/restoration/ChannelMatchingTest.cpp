#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "restoration/ChannelMatching.h"
#include "restoration/support/Spectra.h"

namespace vorun {
namespace {

using test::expectSame;
using test::randomSpectrum;
using test::toSpectrum;

TEST(ChannelMatching, EqualCountSharesTheBuffer) {
    for (const std::int32_t channels : {1, 2, 3, 5}) {
        const ComplexSignal32 signal = randomSpectrum(channels, 9, 1);
        const ComplexSignal32 same = matchChannels(signal, channels);
        EXPECT_TRUE(same.sharesBufferWith(signal)) << channels;
        EXPECT_EQ(signal.useCount(), 2) << channels;
    }
}

TEST(ChannelMatching, LaterWriteThroughEitherHolderDetaches) {
    ComplexSignal32 signal = randomSpectrum(2, 9, 2);
    ComplexSignal32 same = matchChannels(signal, 2);
    const Ipp32fc before = signal.readData(1)[3];

    same.channelData(1)[3] = {9.0f, 9.0f};
    EXPECT_FALSE(same.sharesBufferWith(signal));
    EXPECT_EQ(signal.readData(1)[3].re, before.re);

    ComplexSignal32 again = matchChannels(signal, 2);
    signal.channelData(1)[3] = {7.0f, 7.0f};
    EXPECT_EQ(again.readData(1)[3].re, before.re);
}

TEST(ChannelMatching, StereoToMonoIsTheHalvedSum) {
    const ComplexSignal32 stereo = randomSpectrum(2, 33, 3);
    const ComplexSignal32 mono = matchChannels(stereo, 1);
    ASSERT_EQ(mono.channels(), 1);
    ASSERT_EQ(mono.length(), 33);
    for (std::int32_t i = 0; i < 33; ++i) {
        const Ipp32fc a = stereo.readData(0)[i];
        const Ipp32fc b = stereo.readData(1)[i];
        EXPECT_EQ(mono.readData(0)[i].re, (a.re + b.re) * 0.5f);
        EXPECT_EQ(mono.readData(0)[i].im, (a.im + b.im) * 0.5f);
    }
}

TEST(ChannelMatching, ThreeToMonoSumsFromTheLeftInFloat) {
    const ComplexSignal32 three = randomSpectrum(3, 64, 4, 0.1, 1e4);
    const ComplexSignal32 mono = matchChannels(three, 1);
    constexpr float third = 1.0f / 3.0f;
    for (std::int32_t i = 0; i < 64; ++i) {
        const Ipp32fc a = three.readData(0)[i];
        const Ipp32fc b = three.readData(1)[i];
        const Ipp32fc c = three.readData(2)[i];
        EXPECT_EQ(mono.readData(0)[i].re, ((a.re + b.re) + c.re) * third);
        EXPECT_EQ(mono.readData(0)[i].im, ((a.im + b.im) + c.im) * third);
    }
}

TEST(ChannelMatching, OrderOfTheSumShowsInTheRounding) {
    // From the left the small ones vanish one by one beside the large one; any other order keeps
    // their sum of 1.
    const Ipp32fc large{16777216.0f, 0.0f};
    const Ipp32fc small{0.5f, 0.0f};
    const ComplexSignal32 mono = averageChannels(toSpectrum({{large}, {small}, {small}, {small}}));
    EXPECT_EQ(mono.readData(0)[0].re, 4194304.0f);
}

TEST(ChannelMatching, AveragingLeavesItsSourceAlone) {
    const ComplexSignal32 stereo = randomSpectrum(2, 9, 5);
    const ComplexSignal32 copy = toSpectrum({{stereo.readData(0), stereo.readData(0) + 9},
                                             {stereo.readData(1), stereo.readData(1) + 9}});
    const ComplexSignal32 mono = averageChannels(stereo);
    expectSame(stereo, copy);
    EXPECT_FALSE(mono.sharesBufferWith(stereo));
}

TEST(ChannelMatching, MonoIsDuplicated) {
    const ComplexSignal32 mono = randomSpectrum(1, 9, 6);
    for (const std::int32_t channels : {2, 3, 8}) {
        const ComplexSignal32 many = matchChannels(mono, channels);
        ASSERT_EQ(many.channels(), channels);
        ASSERT_EQ(many.length(), 9);
        for (std::int32_t c = 0; c < channels; ++c) {
            for (std::int32_t i = 0; i < 9; ++i) {
                EXPECT_EQ(many.readData(c)[i].re, mono.readData(0)[i].re);
                EXPECT_EQ(many.readData(c)[i].im, mono.readData(0)[i].im);
            }
        }
    }
}

TEST(ChannelMatching, StereoToFourGoesThroughMono) {
    const ComplexSignal32 stereo = toSpectrum({{{1.0f, 2.0f}}, {{3.0f, -6.0f}}});
    const ComplexSignal32 four = matchChannels(stereo, 4);
    ASSERT_EQ(four.channels(), 4);
    for (std::int32_t c = 0; c < 4; ++c) {
        EXPECT_EQ(four.readData(c)[0].re, 2.0f);
        EXPECT_EQ(four.readData(c)[0].im, -2.0f);
    }
}

TEST(ChannelMatching, FourToStereoGoesThroughMono) {
    const ComplexSignal32 four =
        toSpectrum({{{1.0f, 0.0f}}, {{2.0f, 0.0f}}, {{3.0f, 4.0f}}, {{6.0f, 4.0f}}});
    const ComplexSignal32 stereo = matchChannels(four, 2);
    ASSERT_EQ(stereo.channels(), 2);
    for (std::int32_t c = 0; c < 2; ++c) {
        EXPECT_EQ(stereo.readData(c)[0].re, 3.0f);
        EXPECT_EQ(stereo.readData(c)[0].im, 2.0f);
    }
}

TEST(ChannelMatching, FewerThanOneChannelAskedForGivesTheMonoForm) {
    const ComplexSignal32 stereo = toSpectrum({{{1.0f, 2.0f}}, {{3.0f, 4.0f}}});
    for (const std::int32_t channels : {0, -1, -100}) {
        const ComplexSignal32 mono = matchChannels(stereo, channels);
        ASSERT_EQ(mono.channels(), 1) << channels;
        EXPECT_EQ(mono.readData(0)[0].re, 2.0f);
    }
    const ComplexSignal32 single = randomSpectrum(1, 9, 7);
    EXPECT_TRUE(matchChannels(single, 0).sharesBufferWith(single));
}

TEST(ChannelMatching, NanStaysInItsBin) {
    ComplexSignal32 stereo = test::constantSpectrum(2, 4, {1.0f, 0.0f});
    stereo.channelData(0)[1].re = std::numeric_limits<float>::quiet_NaN();
    const ComplexSignal32 mono = matchChannels(stereo, 1);
    EXPECT_TRUE(std::isnan(mono.readData(0)[1].re));
    EXPECT_EQ(mono.readData(0)[0].re, 1.0f);
    EXPECT_EQ(mono.readData(0)[2].re, 1.0f);
}

TEST(ChannelMatching, EmptyHandleStaysEmpty) {
    const ComplexSignal32 empty;
    EXPECT_FALSE(matchChannels(empty, 0).hasBuffer());
    EXPECT_FALSE(matchChannels(empty, 1).hasBuffer());
}

}  // namespace
}  // namespace vorun
