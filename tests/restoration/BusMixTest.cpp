#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "restoration/support/GraphLayers.h"
#include "restoration/support/MixOracle.h"
#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::BusSettings;
using test::channelMix;
using test::complement;
using test::convModel;
using test::expectNear;
using test::Grid;
using test::makeReady;
using test::product;
using test::randomSpectrum;
using test::scaledCopies;
using test::smallBins;
using test::smallHeader;
using test::toGrid;

/** The one frame that a model without look-ahead gives. */
ComplexSignal32 mixOf(VorunProcessor& processor, const ComplexSignal32& frame) {
    std::list<ComplexSignal32> mixed = processor.processSpectrum(frame);
    EXPECT_EQ(mixed.size(), 1U);
    return mixed.empty() ? ComplexSignal32() : mixed.front();
}

void setGains(VorunProcessor& processor, const std::vector<float>& gains) {
    for (std::size_t i = 0; i < gains.size(); ++i) {
        processor.setBusGain(static_cast<std::int32_t>(i), gains[i]);
    }
}

class BusMix : public ::testing::Test {
  protected:
    test::ScratchFolder folder;
    VorunProcessor processor;
};

TEST_F(BusMix, MaskModeAtDefaultsGivesTheFrameBackWhateverTheMask) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.7f}))}));
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 1, 0.0, 3.0);
    expectNear(mixOf(processor, frame), toGrid(frame), 1e-5);
}

TEST_F(BusMix, MaskModeProcessedAloneIsTheFrameTimesTheMask) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.7f}))}));
    setGains(processor, {1.0f, 0.0f});
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 2);
    const Grid dry = toGrid(frame);
    expectNear(mixOf(processor, frame), product(dry, test::scaled(dry, 0.7)), 1e-5);
}

TEST_F(BusMix, MaskModeResidualAloneIsTheFrameTimesTheComplement) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.7f}))}));
    setGains(processor, {0.0f, 1.0f});
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 3);
    const Grid dry = toGrid(frame);
    expectNear(mixOf(processor, frame), product(dry, complement(test::scaled(dry, 0.7))), 1e-5);
}

TEST_F(BusMix, TurningABusDownDoesNotMoveItToTheResidual) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}))}));
    setGains(processor, {0.25f, 1.0f});
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.8f, 0.0f});
    // M = 0.4: D (0.25 M + 1 - M).
    const Grid expected(1, test::Row(smallBins, 0.8 * (0.1 + 0.6)));
    expectNear(mixOf(processor, frame), expected, 1e-6);
}

TEST_F(BusMix, GainsAboveOneAmplify) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}))}));
    setGains(processor, {4.0f, 2.0f});
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.8f, 0.0f});
    const Grid expected(1, test::Row(smallBins, 0.8 * (1.6 + 1.2)));
    expectNear(mixOf(processor, frame), expected, 1e-5);
}

TEST_F(BusMix, AllGainsZeroGiveSilence) {
    for (const std::int8_t mode : {std::int8_t{0}, std::int8_t{1}}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {folder.save(scaledCopies({0.5f, 0.2f}, mode))}));
        setGains(fresh, {0.0f, 0.0f, 0.0f});
        expectNear(mixOf(fresh, randomSpectrum(1, smallBins, 4)), Grid(1, test::Row(smallBins)),
                   0.0);
    }
}

TEST_F(BusMix, SpectrumModeAtDefaultsGivesTheFrameBackWhateverTheModel) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.7f, -3.0f}, 1))}));
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 5, 0.0, 3.0);
    expectNear(mixOf(processor, frame), toGrid(frame), 5e-6);
}

TEST_F(BusMix, EveryPipelineModeButZeroIsSpectrumMode) {
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 6);
    for (const int mode : {1, 2, 127, -1, -128}) {
        VorunProcessor fresh;
        ASSERT_TRUE(
            makeReady(fresh, {folder.save(scaledCopies({0.5f}, static_cast<std::int8_t>(mode)))}));
        setGains(fresh, {1.0f, 0.0f});
        expectNear(mixOf(fresh, frame), test::scaled(toGrid(frame), 0.5), 1e-6);
    }
}

TEST_F(BusMix, SpectrumModeDoesNotReadSensitivities) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}, 1))}));
    processor.setBusSensitivity(0, -100.0f);
    processor.setBusSensitivity(1, 100.0f);
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 7);
    expectNear(mixOf(processor, frame), toGrid(frame), 1e-6);
    setGains(processor, {0.0f, 1.0f});
    expectNear(mixOf(processor, frame), test::scaled(toGrid(frame), 0.5), 1e-6);
}

TEST_F(BusMix, ResidualIsShapedAfterTheComplementBySensitivityOfItsOwn) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}))}));
    setGains(processor, {0.0f, 1.0f});
    processor.setBusSensitivity(1, -100.0f);
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.8f, 0.0f});
    const Grid expected(1, test::Row(smallBins, 0.8 * std::pow(0.6, std::exp(-0.75))));
    expectNear(mixOf(processor, frame), expected, 1e-5);
}

TEST_F(BusMix, ResidualIsTheComplementOfTheShapedMask) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}))}));
    setGains(processor, {0.0f, 1.0f});
    processor.setBusSensitivity(0, -100.0f);
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.8f, 0.0f});
    const Grid expected(1, test::Row(smallBins, 0.8 * (1.0 - std::pow(0.4, std::exp(-0.75)))));
    expectNear(mixOf(processor, frame), expected, 1e-5);
}

TEST_F(BusMix, ComplementIsTakenOnComplexValues) {
    // A mask of magnitude 1 that turns by 90 degrees leaves a residual of magnitude sqrt(2).
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({1.0f}))}));
    setGains(processor, {0.0f, 1.0f});
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.0f, 1.0f});
    // D (1 - M) with D = M = j: j - j^2 = 1 + j.
    expectNear(mixOf(processor, frame), Grid(1, test::Row(smallBins, {1.0, 1.0})), 1e-6);
}

TEST_F(BusMix, ResidualOfThreeMasksIsBusThree) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.1f, 0.2f, 0.3f}))}));
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, 0.0f});
    const double solo[] = {0.1, 0.2, 0.3, 0.4};
    for (std::int32_t bus = 0; bus < 4; ++bus) {
        setGains(processor, {0.0f, 0.0f, 0.0f, 0.0f});
        processor.setBusGain(bus, 1.0f);
        expectNear(mixOf(processor, frame), Grid(1, test::Row(smallBins, solo[bus])), 1e-6);
    }
}

TEST_F(BusMix, ChannelsOfAResultAreGroupedByMask) {
    // Result channels 0 and 1 are list 0, channels 2 and 3 list 1; the input is constant 1.
    ASSERT_TRUE(
        makeReady(processor,
                  {folder.save(convModel(smallHeader(2, 2, 2),
                                         channelMix({{0.1f, 0.2f, 0.3f, 0.4f}, {0, 0, 0, 0}})))},
                  2));
    const ComplexSignal32 frame = test::constantSpectrum(2, smallBins, {1.0f, 0.0f});
    setGains(processor, {1.0f, 0.0f, 0.0f});
    expectNear(mixOf(processor, frame), {test::Row(smallBins, 0.1), test::Row(smallBins, 0.2)},
               1e-6);
    setGains(processor, {0.0f, 1.0f, 0.0f});
    expectNear(mixOf(processor, frame), {test::Row(smallBins, 0.3), test::Row(smallBins, 0.4)},
               1e-6);
    setGains(processor, {0.0f, 0.0f, 1.0f});
    expectNear(mixOf(processor, frame), {test::Row(smallBins, 0.6), test::Row(smallBins, 0.4)},
               1e-6);
}

TEST_F(BusMix, WaitingEntriesOfSeveralMasksKeepBuffersOfTheirOwn) {
    // Two frames, two masks each, all four entries queued before the first is mixed.
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.25f, 0.5f}, 1))}));
    std::vector<Tensor<float>> held;
    test::putBehindInput(test::modelOf(processor, 0),
                         [&](test::ActionLayer& layer, const Tensor<float>& input) {
                             held.push_back(input);
                             if (held.size() < 2) {
                                 return false;
                             }
                             for (const Tensor<float>& tensor : held) {
                                 layer.PropagateToConsumers(tensor, &layer);
                             }
                             return true;
                         });
    const ComplexSignal32 first = randomSpectrum(1, smallBins, 8);
    const ComplexSignal32 second = randomSpectrum(1, smallBins, 9);
    setGains(processor, {4.0f, 0.0f, 0.0f});
    EXPECT_TRUE(processor.processSpectrum(first).empty());
    const auto mixed = processor.processSpectrum(second);
    ASSERT_EQ(mixed.size(), 2U);
    expectNear(mixed.front(), toGrid(first), 1e-6);
    expectNear(mixed.back(), toGrid(second), 1e-6);
}

TEST_F(BusMix, MonoModelActsOnAllHostChannelsAlike) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({1.0f}))}, 3));
    setGains(processor, {1.0f, 0.0f});
    const ComplexSignal32 frame = randomSpectrum(3, smallBins, 10);
    const Grid dry = toGrid(frame);
    const Grid mask = test::matched(test::matched(dry, 1), 3);
    expectNear(mixOf(processor, frame), product(dry, mask), 1e-5);
}

TEST_F(BusMix, ModelMayGiveMoreOrFewerChannelsThanItTakes) {
    const ComplexSignal32 frame = randomSpectrum(2, smallBins, 11);
    const Grid dry = toGrid(frame);

    VorunProcessor narrowing;
    ASSERT_TRUE(makeReady(
        narrowing, {folder.save(convModel(smallHeader(2, 1, 1), channelMix({{0.5f}, {-0.25f}})))},
        2));
    setGains(narrowing, {1.0f, 0.0f});
    const Grid left{dry[0]};
    const Grid right{dry[1]};
    const Grid mono = test::sum(test::scaled(left, 0.5), test::scaled(right, -0.25));
    expectNear(mixOf(narrowing, frame), product(dry, test::matched(mono, 2)), 1e-5);

    VorunProcessor widening;
    ASSERT_TRUE(makeReady(
        widening, {folder.save(convModel(smallHeader(1, 2, 1), channelMix({{0.5f, 0.25f}})))}, 2));
    setGains(widening, {1.0f, 0.0f});
    const Grid average = test::matched(dry, 1);
    const Grid wide{test::scaled(average, 0.5)[0], test::scaled(average, 0.25)[0]};
    expectNear(mixOf(widening, frame), product(dry, wide), 1e-5);
}

TEST_F(BusMix, FewerOutputThanInputChannelsReadTheFirstOfTheFrame) {
    ASSERT_TRUE(processor.loadModels({folder.save(scaledCopies({0.5f}))}));
    ASSERT_TRUE(processor.prepare(test::layoutOf(2), test::layoutOf(1)));
    setGains(processor, {1.0f, 0.0f});
    const ComplexSignal32 frame = randomSpectrum(2, smallBins, 12);
    const Grid dry = toGrid(frame);
    const Grid mask = test::scaled(test::matched(dry, 1), 0.5);
    expectNear(mixOf(processor, frame), product({dry[0]}, mask), 1e-5);
}

TEST_F(BusMix, NanInOneBinStaysInThatBin) {
    for (const std::int8_t mode : {std::int8_t{0}, std::int8_t{1}}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {folder.save(scaledCopies({0.5f}, mode))}));
        ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, 0.0f});
        frame.channelData(0)[4].re = std::numeric_limits<float>::quiet_NaN();
        const ComplexSignal32 mixed = mixOf(fresh, frame);
        EXPECT_TRUE(std::isnan(mixed.readData(0)[4].re));
        for (const int i : {0, 1, 2, 3, 5, 6, 7, 8}) {
            EXPECT_NEAR(mixed.readData(0)[i].re, 1.0f, 1e-5f) << i;
        }
    }
}

TEST_F(BusMix, FrameThatWentInIsNotChanged) {
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}))}));
    setGains(processor, {2.0f, 3.0f});
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {0.5f, 0.25f});
    mixOf(processor, frame);
    test::expectSame(frame, test::constantSpectrum(1, smallBins, {0.5f, 0.25f}));
    EXPECT_EQ(frame.useCount(), 1);
}

TEST_F(BusMix, FifteenMasksAndTheirResidualUseAllSixteenValues) {
    std::vector<float> factors;
    for (int k = 0; k < 15; ++k) {
        factors.push_back(0.01f * static_cast<float>(k + 1));
    }
    // The factors add up to 1.2, which leaves a residual of -0.2.
    ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies(factors, 1))}));
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, 0.0f});
    setGains(processor, std::vector<float>(16, 0.0f));
    processor.setBusGain(14, 1.0f);
    expectNear(mixOf(processor, frame), Grid(1, test::Row(smallBins, 0.15)), 1e-6);
    processor.setBusGain(14, 0.0f);
    processor.setBusGain(15, 1.0f);
    expectNear(mixOf(processor, frame), Grid(1, test::Row(smallBins, -0.2)), 1e-6);
}

/** maskCount, model channels, host channels, pipelineMode. */
using Shape = std::tuple<int, int, int, int>;

class BusMixFormula : public ::testing::TestWithParam<Shape> {};

TEST_P(BusMixFormula, MatchesTheDoubleFormAtRandomGainsAndSensitivities) {
    const auto [masks, modelChannels, hostChannels, mode] = GetParam();
    const auto n = static_cast<std::size_t>(modelChannels);
    const auto h = static_cast<std::size_t>(hostChannels);
    std::mt19937 generator(
        static_cast<std::uint32_t>(1000 * masks + 100 * modelChannels + 10 * hostChannels + mode));
    // Small enough that neither a mask nor the residual comes near 0 or 2, where shaping is steep.
    const float reach = 0.4f / static_cast<float>(masks * modelChannels);
    std::uniform_real_distribution<float> weight(0.5f * reach, reach);
    std::uniform_real_distribution<float> gain(0.0f, 2.0f);
    std::uniform_real_distribution<float> sensitivity(-100.0f, 100.0f);

    std::vector<std::vector<float>> weights(
        n, std::vector<float>(static_cast<std::size_t>(masks) * n));
    for (auto& row : weights) {
        for (float& value : row) {
            value = weight(generator);
        }
    }
    writer::ModelHeader header = smallHeader(modelChannels, modelChannels, masks);
    header.pipelineMode = static_cast<std::int8_t>(mode);
    test::ScratchFolder folder;
    VorunProcessor processor;
    ASSERT_TRUE(
        makeReady(processor, {folder.save(convModel(header, channelMix(weights)))}, hostChannels));

    BusSettings settings;
    for (std::int32_t bus = 0; bus <= masks; ++bus) {
        processor.setBusGain(bus, gain(generator));
        processor.setBusSensitivity(bus, sensitivity(generator));
        settings.gains.push_back(static_cast<double>(processor.getBusGain(bus)));
        settings.sensitivities.push_back(static_cast<double>(processor.getBusSensitivity(bus)));
    }

    for (std::uint32_t seed = 0; seed < 4; ++seed) {
        const ComplexSignal32 frame = randomSpectrum(hostChannels, smallBins, seed, 0.4, 1.0);
        const Grid dry = toGrid(frame);
        const Grid modelInput = test::matched(dry, n);
        std::vector<Grid> outputs;
        for (std::size_t k = 0; k < static_cast<std::size_t>(masks); ++k) {
            Grid output;
            for (std::size_t c = 0; c < n; ++c) {
                Grid channel(1, test::Row(smallBins));
                for (std::size_t i = 0; i < n; ++i) {
                    channel = test::sum(
                        channel,
                        test::scaled({modelInput[i]}, static_cast<double>(weights[i][k * n + c])));
                }
                output.push_back(channel[0]);
            }
            outputs.push_back(test::matched(output, h));
        }
        const Grid expected = mode == 0 ? test::maskMix(dry, outputs, settings)
                                        : test::spectrumMix(dry, outputs, settings);
        expectNear(mixOf(processor, frame), expected, 2e-5);
    }
}

INSTANTIATE_TEST_SUITE_P(MasksByModelByHostChannels, BusMixFormula,
                         ::testing::Combine(::testing::Range(1, 5), ::testing::Values(1, 2),
                                            ::testing::Values(1, 2, 3), ::testing::Values(0, 1)));

}  // namespace
}  // namespace vorun
