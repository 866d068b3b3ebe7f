#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>
#include <vector>

#include "FramingTestSupport.h"

namespace vorun {
namespace {

using test::Channels;
using test::Delivery;
using test::FrameSizes;
using test::FramingReference;
using test::HookedProcessor;
using test::noise;
using test::stream;
using Spectra = HookedProcessor::Spectra;

constexpr double kTolerance = 1e-5;

class SpectralHook : public testing::TestWithParam<FrameSizes> {
  protected:
    // Runs a hook that keeps account of what it delivers, and compares with the reference.
    void expectDeliveries(HookedProcessor& processor, const std::vector<Delivery>& deliveries) {
        const Channels output = stream(processor, input_, {input_.front().size()});
        const FramingReference reference(GetParam(), input_[0]);
        ASSERT_EQ(output[0].size(),
                  (deliveries.size() - 1) * static_cast<std::size_t>(GetParam().hop));
        EXPECT_LT(test::distance(output[0], reference.outputOf(deliveries)), kTolerance);
    }

    Channels input_ = noise(1, 500, 21);
};

INSTANTIATE_TEST_SUITE_P(BothSchemes, SpectralHook,
                         testing::Values(FrameSizes{64, 64, 32}, FrameSizes{64, 64, 16}));

TEST_P(SpectralHook, AFrameWithoutAResultAddsNoneAndLaterOnesFollowOn) {
    HookedProcessor processor(1, GetParam());
    std::vector<Delivery> deliveries;
    int index = 0;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        const int source = index++;
        if (source < 3 || source == 6) {
            return Spectra{};
        }
        deliveries.push_back({source, 1.0});
        return Spectra{spectrum};
    };
    expectDeliveries(processor, deliveries);
}

TEST_P(SpectralHook, HeldBackFramesDeliveredLaterLoseNothing) {
    HookedProcessor processor(1, GetParam());
    std::vector<Delivery> deliveries;
    Spectra held;
    int index = 0;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        held.push_back(spectrum);
        if (++index % 3 != 0) {
            return Spectra{};
        }
        for (int source = index - 3; source < index; ++source) {
            deliveries.push_back({source, 1.0});
        }
        return std::exchange(held, {});
    };
    expectDeliveries(processor, deliveries);
}

TEST_P(SpectralHook, TwoSpectraForOneFrameRunTheOutputOneHopFurther) {
    HookedProcessor processor(1, GetParam());
    std::vector<Delivery> deliveries;
    int index = 0;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        const int source = index++;
        deliveries.push_back({source, 1.0});
        if (source != 2) {
            return Spectra{spectrum};
        }
        deliveries.push_back({source, 0.5});
        return Spectra{spectrum, spectrum.scaled({0.5F, 0.0F})};
    };
    expectDeliveries(processor, deliveries);
    EXPECT_EQ(deliveries.size(), static_cast<std::size_t>(index) + 1);
}

TEST_P(SpectralHook, AHookThatNeverDeliversGivesNoOutput) {
    HookedProcessor processor(1, GetParam());
    processor.hook = [](const ComplexSignal32&) { return Spectra{}; };
    EXPECT_TRUE(stream(processor, input_, {100})[0].empty());
    EXPECT_TRUE(processor.frames.empty());
    EXPECT_LT(processor.inputQueue.pendingSamples(), GetParam().window);
}

TEST_P(SpectralHook, DenormalsComeAndGoAsZeros) {
    HookedProcessor processor(1, GetParam());
    for (float& sample : input_[0]) {
        sample *= 1e-39F;
    }
    const Ipp32fc denormal{1e-40F, -1e-40F};
    std::size_t nonZero = 0;
    processor.hook = [&](const ComplexSignal32& spectrum) {
        ComplexSignal32 result(1, spectrum.length());
        for (int b = 0; b < spectrum.length(); ++b) {
            const Ipp32fc bin = spectrum.readData(0)[b];
            nonZero += bin.re == 0.0F && bin.im == 0.0F ? 0 : 1;
            result.channelData(0)[b] = denormal;
        }
        return Spectra{result};
    };
    const Channels output = stream(processor, input_, {100});
    EXPECT_EQ(nonZero, 0U);
    ASSERT_FALSE(output[0].empty());
    EXPECT_EQ(std::count(output[0].begin(), output[0].end(), 0.0F),
              static_cast<std::ptrdiff_t>(output[0].size()));
}

TEST(SpectralHookFailure, ARaisingHookLeavesQueueAndFramesAsFarAsTheyHadCome) {
    const Channels input = noise(1, 32, 22);
    HookedProcessor processor(1, {16, 16, 8});
    int index = 0;
    processor.hook = [&](const ComplexSignal32& spectrum) -> Spectra {
        if (++index == 3) {
            throw std::runtime_error("network failed");
        }
        return {spectrum};
    };
    EXPECT_THROW(processor.process(test::toSignal(input)), std::runtime_error);
    EXPECT_EQ(processor.frames.size(), 2U);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 8 + 32 - 3 * 8);
    // The fourth frame waits in the queue; it comes with the next call, the third is lost.
    const Signal32 rest = processor.process(Signal32(1, 0));
    ASSERT_EQ(rest.length(), 16);
    for (int i = 0; i < 8; ++i) {
        EXPECT_NEAR(rest.readData(0)[i], input[0][static_cast<std::size_t>(i)], 1e-5F);
    }
}

TEST(SpectralHookFailure, SpectraOfTheWrongShapeAreRefused) {
    const auto refuses = [](FrameSizes sizes, const ComplexSignal32& wrong) {
        HookedProcessor processor(2, sizes);
        processor.hook = [&](const ComplexSignal32&) { return Spectra{wrong}; };
        EXPECT_THROW(processor.process(Signal32(2, 4 * sizes.window, 0.5F)), std::runtime_error);
    };
    for (const FrameSizes sizes : {FrameSizes{16, 16, 8}, FrameSizes{16, 12, 6}}) {
        refuses(sizes, ComplexSignal32(2, 5));
        refuses(sizes, ComplexSignal32(3, 9));
        refuses(sizes, ComplexSignal32(1, 9));
        refuses(sizes, ComplexSignal32());
    }
}

TEST(SpectralHookFailure, AfterAnotherChannelCountSpectraHaveNoChannels) {
    for (const FrameSizes sizes : {FrameSizes{64, 64, 32}, FrameSizes{64, 48, 16}}) {
        HookedProcessor processor(2, sizes);
        std::vector<int> lengths;
        processor.hook = [&](const ComplexSignal32& spectrum) {
            EXPECT_EQ(spectrum.channels(), 0);
            lengths.push_back(spectrum.length());
            return Spectra{};
        };
        EXPECT_EQ(processor.process(Signal32(1, sizes.window, 0.5F)).length(), 0);
        // A frame that is not padded is the empty handle, one that is has the transform's length.
        const int bins = sizes.window == sizes.fft ? 1 : sizes.fft / 2 + 1;
        EXPECT_EQ(lengths, std::vector<int>{bins});
    }
}

}  // namespace
}  // namespace vorun
