// Mixing and shaping block by block, bit for bit against the chain of operations on whole signals.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include "foundation/VectorVariant.h"
#include "restoration/BusRows.h"
#include "restoration/ChannelMatching.h"
#include "restoration/MaskShaping.h"
#include "restoration/PolarForm.h"
#include "restoration/SpectrumCoding.h"
#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(BusRows);

/// Around the length of a block, and the rows of usual transforms.
constexpr std::int32_t rowLengths[] = {1, 2, 17, 207, 208, 209, 416, 417, 513, 1025};

enum class Kind { complex, positive, positiveOfAnySize, realOfEitherSign, corners };

constexpr Kind kinds[] = {Kind::complex, Kind::positive, Kind::positiveOfAnySize,
                          Kind::realOfEitherSign, Kind::corners};

float corner(std::uint32_t choice) {
    using Limits = std::numeric_limits<float>;
    const float values[] = {0.0f,
                            -0.0f,
                            1.0f,
                            -1.0f,
                            0.3f,
                            1e-30f,
                            0x1p-63f,
                            0x1.fffffep-64f,
                            0x1.234566p-65f,
                            0x1.fffffep63f,
                            0x1p64f,
                            0x1p63f,
                            0x1.fffffep62f,
                            Limits::denorm_min(),
                            -1e-40f,
                            Limits::max(),
                            1e25f,
                            Limits::infinity(),
                            -Limits::infinity(),
                            Limits::quiet_NaN()};
    return values[choice % std::size(values)];
}

ComplexSignal32 spectrumOf(Kind kind, std::int32_t channels, std::int32_t bins,
                           std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> part(-1.5f, 1.5f);
    ComplexSignal32 spectrum(channels, bins);
    for (std::int32_t c = 0; c < channels; ++c) {
        Ipp32fc* row = spectrum.channelData(c);
        for (std::int32_t b = 0; b < bins; ++b) {
            row[b] = {part(generator), kind == Kind::complex ? part(generator) : 0.0f};
            if (kind == Kind::positive) {
                row[b].re = std::abs(row[b].re) / 1.5f;
            } else if (kind == Kind::positiveOfAnySize) {
                const float mantissa = 1.0f + std::abs(row[b].re) / 1.6f;
                row[b].re = std::ldexp(mantissa, static_cast<int>(generator() % 126) - 63);
            } else if (kind == Kind::corners) {
                const std::uint32_t choice = static_cast<std::uint32_t>(generator());
                row[b] = {corner(choice), corner(choice / 32)};
            }
        }
    }
    return spectrum;
}

/// The first bin of a row that differs in any bit; -1 for none. All numbers that are not numbers
/// count as one: which of two operands' payloads survives is left to the processor.
std::int32_t firstDifference(const Ipp32fc* actual, const Ipp32fc* expected, std::int32_t bins) {
    const auto same = [](float a, float b) {
        return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
               (std::isnan(a) && std::isnan(b));
    };
    for (std::int32_t b = 0; b < bins; ++b) {
        if (!same(actual[b].re, expected[b].re) || !same(actual[b].im, expected[b].im)) {
            return b;
        }
    }
    return -1;
}

void expectSameBits(const ComplexSignal32& actual, const ComplexSignal32& expected) {
    ASSERT_EQ(actual.channels(), expected.channels());
    ASSERT_EQ(actual.length(), expected.length());
    for (std::int32_t c = 0; c < actual.channels(); ++c) {
        const std::int32_t bin =
            firstDifference(actual.readData(c), expected.readData(c), actual.length());
        ASSERT_EQ(bin, -1) << "channel " << c;
    }
}

/// The whole way through polar form, with the power taken also where it is 0.
ComplexSignal32 shapedByChain(const ComplexSignal32& mask, float sensitivity) {
    const Signal32 phase = phaseOf(mask);
    Signal32 magnitude = magnitudeOf(mask);
    const float e = maskExponent(sensitivity);
    for (std::int32_t c = 0; c < magnitude.channels(); ++c) {
        float* row = magnitude.channelData(c);
        for (std::int32_t b = 0; b < magnitude.length(); ++b) {
            const float m = row[b];
            const float base =
                e < 1.0f ? m + 1e-12f : 0.5f - std::cos(m * 3.1415927f) * 0.5f + 1e-12f;
            row[b] = m * std::pow(base, e - 1.0f);
        }
    }
    return fromPolar(magnitude, phase);
}

struct Values {
    std::vector<float> gains;
    std::vector<float> sensitivities;
};

Values valuesFor(std::size_t buses, std::uint32_t seed) {
    const float gains[] = {1.0f, 0.0f, 0.7f, 3.5f};
    const float sensitivities[] = {0.0f, 40.0f, -60.0f};
    std::mt19937 generator(seed);
    Values values;
    for (std::size_t i = 0; i <= buses; ++i) {
        values.gains.push_back(gains[generator() % std::size(gains)]);
        values.sensitivities.push_back(sensitivities[generator() % std::size(sensitivities)]);
    }
    return values;
}

ComplexSignal32 onesLike(const ComplexSignal32& signal) {
    return test::constantSpectrum(signal.channels(), signal.length(), {1.0f, 0.0f});
}

/// The mix as it is told: each step on whole signals. With `dry`, that of spectrum mode.
ComplexSignal32 mixedByChain(const std::vector<ComplexSignal32>& buses, const Values& values,
                             const ComplexSignal32* dry) {
    ComplexSignal32 sum;
    ComplexSignal32 mix;
    for (std::size_t i = 0; i < buses.size(); ++i) {
        const ComplexSignal32 bus =
            dry != nullptr ? buses[i] : shapedByChain(buses[i], values.sensitivities[i]);
        const ComplexSignal32 weighted = bus.scaled({values.gains[i], 0.0f});
        if (i == 0) {
            sum = bus;
            mix = weighted;
        } else {
            sum.add(bus);
            mix.add(weighted);
        }
    }
    ComplexSignal32 residual =
        dry != nullptr ? dry->minus(sum)
                       : shapedByChain(onesLike(sum).minus(sum), values.sensitivities.back());
    residual.scaleBy({values.gains.back(), 0.0f});
    mix.add(residual);
    return mix;
}

ComplexSignal32 mixedByRows(const std::vector<ComplexSignal32>& buses, const Values& values,
                            const ComplexSignal32* dry) {
    std::vector<BusRow> rows;
    const auto level = [&](std::size_t i) {
        return BusLevel{values.gains[i], maskExponent(values.sensitivities[i])};
    };
    for (std::size_t i = 0; i < buses.size(); ++i) {
        rows.push_back({buses[i].readData(0), level(i)});
    }
    const std::int32_t bins = buses.front().length();
    ComplexSignal32 mix(1, bins);
    if (dry != nullptr) {
        mixSpectra(rows, level(buses.size()), dry->readData(0), mix.channelData(0), bins);
    } else {
        mixMasks(rows, level(buses.size()), mix.channelData(0), bins);
    }
    return mix;
}

TEST_P(BusRows, ShapingIsTheWayThroughPolarFormBitForBit) {
    for (const std::int32_t bins : rowLengths) {
        for (const Kind kind : kinds) {
            for (const float sensitivity : {-100.0f, -1.0f, 0.0f, 1.0f, 100.0f}) {
                SCOPED_TRACE(testing::Message() << bins << " bins, kind " << static_cast<int>(kind)
                                                << ", sensitivity " << sensitivity);
                const ComplexSignal32 mask = spectrumOf(kind, 2, bins, 3);
                expectSameBits(reshapeMask(mask, sensitivity, {2, bins}),
                               shapedByChain(mask, sensitivity));
            }
        }
    }
}

TEST_P(BusRows, OneBinOfAnotherKindAmongPositiveOnesIsSeen) {
    for (std::uint32_t choice = 0; choice < 32; ++choice) {
        for (const bool isImaginary : {false, true}) {
            SCOPED_TRACE(testing::Message() << corner(choice) << (isImaginary ? " i" : ""));
            ComplexSignal32 mask = spectrumOf(Kind::positive, 1, 300, choice);
            Ipp32fc& bin = mask.channelData(0)[9 * choice];
            (isImaginary ? bin.im : bin.re) = corner(choice);
            expectSameBits(reshapeMask(mask, 0.0f, {1, 300}), shapedByChain(mask, 0.0f));
            expectSameBits(reshapeMask(mask, 70.0f, {1, 300}), shapedByChain(mask, 70.0f));
        }
    }
}

TEST_P(BusRows, ShapingMayBeDoneInPlace) {
    for (const Kind kind : kinds) {
        ComplexSignal32 mask = spectrumOf(kind, 1, 513, 4);
        const ComplexSignal32 expected = shapedByChain(mask, 30.0f);
        Ipp32fc* row = mask.channelData(0);
        reshapeRow(row, row, 513, maskExponent(30.0f));
        expectSameBits(mask, expected);
    }
}

/// One to four buses of every kind.
std::vector<ComplexSignal32> busesOf(std::int32_t bins, std::uint32_t seed) {
    std::vector<ComplexSignal32> buses;
    for (std::uint32_t i = 0; i <= seed % 4; ++i) {
        buses.push_back(
            spectrumOf(kinds[(seed / 3 + i) % std::size(kinds)], 1, bins, 10 * seed + i));
    }
    return buses;
}

TEST_P(BusRows, MaskMixIsTheChainOfOperationsOnSignals) {
    for (const std::int32_t bins : rowLengths) {
        for (std::uint32_t seed = 0; seed < 15; ++seed) {
            SCOPED_TRACE(testing::Message() << bins << " bins, seed " << seed);
            const std::vector<ComplexSignal32> buses = busesOf(bins, seed);
            const Values values = valuesFor(buses.size(), seed);
            expectSameBits(mixedByRows(buses, values, nullptr),
                           mixedByChain(buses, values, nullptr));
        }
    }
}

TEST_P(BusRows, SpectrumMixIsTheChainOfOperationsOnSignals) {
    for (const std::int32_t bins : rowLengths) {
        for (std::uint32_t seed = 0; seed < 15; ++seed) {
            SCOPED_TRACE(testing::Message() << bins << " bins, seed " << seed);
            const std::vector<ComplexSignal32> buses = busesOf(bins, seed);
            const ComplexSignal32 dry = spectrumOf(kinds[seed % std::size(kinds)], 1, bins, 99);
            const Values values = valuesFor(buses.size(), seed);
            expectSameBits(mixedByRows(buses, values, &dry), mixedByChain(buses, values, &dry));
        }
    }
}

/// A frame through a processor, against masks that are spread to the host's channels before any
/// step and then go through the chain.
void expectMixOfSpreadMasks(std::int32_t modelChannels, std::int32_t hostChannels) {
    constexpr std::int32_t masks = 2;
    std::vector<std::vector<float>> weights;
    for (std::int32_t i = 0; i < modelChannels; ++i) {
        std::vector<float> row;
        for (std::int32_t k = 0; k < masks * modelChannels; ++k) {
            row.push_back(0.1f * static_cast<float>(i + 1) + 0.15f * static_cast<float>(k));
        }
        weights.push_back(row);
    }
    test::ScratchFolder folder;
    const std::string path = folder.save(test::convModel(
        test::smallHeader(modelChannels, modelChannels, masks), test::channelMix(weights)));
    VorunProcessor processor;
    VorunProcessor twin;
    ASSERT_TRUE(test::makeReady(processor, {path}, hostChannels));
    ASSERT_TRUE(test::makeReady(twin, {path}, hostChannels));
    const Values values{{0.6f, 1.4f, 0.3f}, {-20.0f, 0.0f, 35.0f}};
    for (std::int32_t i = 0; i <= masks; ++i) {
        processor.setBusGain(i, values.gains[static_cast<std::size_t>(i)]);
        processor.setBusSensitivity(i, values.sensitivities[static_cast<std::size_t>(i)]);
    }
    const ComplexSignal32 frame = test::randomSpectrum(hostChannels, test::smallBins, 8);
    const ComplexSignal32 result =
        evaluateModel(test::modelOf(twin, 0), matchChannels(frame, modelChannels)).front();
    std::vector<ComplexSignal32> buses;
    for (std::int32_t k = 0; k < masks; ++k) {
        ComplexSignal32 group(modelChannels, test::smallBins);
        for (std::int32_t c = 0; c < modelChannels; ++c) {
            std::memcpy(group.channelData(c), result.readData(k * modelChannels + c),
                        sizeof(Ipp32fc) * test::smallBins);
        }
        buses.push_back(matchChannels(group, hostChannels));
    }
    ComplexSignal32 expected = mixedByChain(buses, values, nullptr);
    expected.multiplyBy(frame);
    expectSameBits(processor.processSpectrum(frame).front(), expected);
}

TEST_P(BusRows, MasksThatAreSpreadLastGiveTheBitsOfMasksThatAreSpreadFirst) {
    for (const std::int32_t modelChannels : {1, 2, 3}) {
        for (const std::int32_t hostChannels : {1, 2, 3}) {
            SCOPED_TRACE(testing::Message() << modelChannels << " to " << hostChannels);
            expectMixOfSpreadMasks(modelChannels, hostChannels);
        }
    }
}

}  // namespace
}  // namespace vorun
