#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/ReferenceStream.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr double tolerance = 1e-5;

/** Engine and reference of one model, driven alike. */
class Pair {
  public:
    Pair(const TestModel& model, int channels, double rate = 48000.0)
        : file_(model),
          processor_(file_.path(), channels, rate),
          reference_(model, channels, rate) {}

    void setGain(int bus, double gain) {
        processor_.set(gainOf(bus), static_cast<float>(gain));
        reference_.setGain(bus, gain);
    }
    void setSensitivity(int bus, double value) {
        processor_.set(sensitivityOf(bus), static_cast<float>(value));
        reference_.setSensitivity(bus, value);
    }
    /** Pushes into both and compares what becomes ready. */
    testing::AssertionResult pushAndCompare(const Planar& input, double allowed = tolerance) {
        const PlanarDouble expected = reference_.push(input);
        processor_.push(input);
        return isNear(processor_.pullAll(), expected, allowed);
    }

    ApiProcessor& processor() { return processor_; }

  private:
    TemporaryModel file_;
    ApiProcessor processor_;
    ReferenceStream reference_;
};

/** Masks, output channels of the model, host channels. */
class BusMix : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    int masks() const { return std::get<0>(GetParam()); }
    int outputs() const { return std::get<1>(GetParam()); }
    int host() const { return std::get<2>(GetParam()); }

    writer::ModelHeader header() const {
        return frameHeader(32, 32, 16, outputs(), outputs(), masks());
    }
    TestModel lively(int pipelineMode) const {
        TestModel model = livelyMasks(header(), 13);
        model.header.pipelineMode = static_cast<std::int8_t>(pipelineMode);
        return model;
    }
    /** Different for each output channel, in sum below 1 for each channel of the host. */
    TestModel constants() const {
        std::vector<float> values;
        for (int i = 0; i < masks() * outputs(); ++i) {
            values.push_back(0.08F + 0.03F * static_cast<float>(i % 4));
        }
        return constantMasks(header(), values);
    }
    Planar input() const { return whiteNoise(host(), 160, 14); }
};

TEST_P(BusMix, EachBusAloneComesOutWithItsGain) {
    for (const int mode : {0, 1}) {
        for (int solo = 0; solo <= masks(); ++solo) {
            SCOPED_TRACE(solo);
            Pair pair(lively(mode), host());
            for (int bus = 0; bus <= masks(); ++bus) {
                pair.setGain(bus, bus == solo ? 1.5 : 0.0);
            }
            EXPECT_TRUE(pair.pushAndCompare(input()));
        }
    }
}

TEST_P(BusMix, GainsWeightTheBusesWithoutMovingTheResidual) {
    for (const int mode : {0, 1}) {
        Pair pair(lively(mode), host());
        for (int bus = 0; bus <= masks(); ++bus) {
            pair.setGain(bus, 0.25 + 0.5 * bus);
        }
        EXPECT_TRUE(pair.pushAndCompare(input()));
    }
}

TEST_P(BusMix, EverySensitivityShapesItsBusAlone) {
    for (const double sensitivity : {-100.0, -30.0, 30.0, 100.0}) {
        for (int shaped = 0; shaped <= masks(); ++shaped) {
            SCOPED_TRACE(testing::Message() << sensitivity << " on bus " << shaped);
            Pair pair(constants(), host());
            for (int bus = 0; bus <= masks(); ++bus) {
                pair.setGain(bus, 1.0 + 0.5 * bus);
            }
            pair.setSensitivity(shaped, sensitivity);
            EXPECT_TRUE(pair.pushAndCompare(input()));
        }
    }
}

TEST_P(BusMix, AllSensitivitiesTogetherMatchTheReference) {
    Pair pair(constants(), host());
    for (int bus = 0; bus <= masks(); ++bus) {
        pair.setGain(bus, 2.0 - 0.4 * bus);
        pair.setSensitivity(bus, bus % 2 == 0 ? 70.0 : -55.0);
    }
    EXPECT_TRUE(pair.pushAndCompare(input()));
}

TEST_P(BusMix, SensitivitiesAreNotReadInSpectrumMode) {
    Pair pair(lively(1), host());
    for (int bus = 0; bus <= masks(); ++bus) {
        pair.setGain(bus, 0.5);
        pair.processor().set(sensitivityOf(bus), 90.0F);
    }
    EXPECT_TRUE(pair.pushAndCompare(input()));
}

INSTANTIATE_TEST_SUITE_P(MasksOutputsHost, BusMix,
                         testing::Combine(testing::Values(1, 2, 3, 4), testing::Values(1, 2),
                                          testing::Values(1, 2, 3)),
                         [](const auto& each) {
                             std::string name = "Masks" + std::to_string(std::get<0>(each.param));
                             name += "Outputs" + std::to_string(std::get<1>(each.param));
                             return name += "Host" + std::to_string(std::get<2>(each.param));
                         });

/** The factor that a constant mask of one bus becomes, measured on noise. */
PlanarDouble scaled(const Planar& input, int samples, double factor) {
    PlanarDouble result = widened(head(input, samples));
    for (auto& channel : result) {
        for (double& sample : channel) {
            sample *= factor;
        }
    }
    return result;
}

/** Pulls 144 samples of a stream whose mask is `mask`, bus 0 with `sensitivity`, residual off. */
testing::AssertionResult maskBecomes(float mask, float sensitivity, double expected,
                                     double allowed = 2e-6) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {mask}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    processor.set(sensitivityOf(0), sensitivity);
    processor.set(gainOf(1), 0.0F);
    const Planar input = whiteNoise(1, 160, 15);
    return isNear(runAtOnce(processor, input), scaled(input, 144, expected), allowed);
}

TEST(MaskShaping, ASensitivityOfZeroKeepsEveryMask) {
    for (const float mask : {0.0F, 0.3F, 1.0F, 1.7F, 2.0F, 5.0F, -0.5F}) {
        EXPECT_TRUE(maskBecomes(mask, 0.0F, static_cast<double>(mask), 1e-5)) << mask;
    }
}

TEST(MaskShaping, BelowZeroRaisesAMaskToAPower) {
    // e^(-0.75) = 0.47237 at -100 and e^(-0.375) = 0.68729 at -50.
    EXPECT_TRUE(maskBecomes(0.5F, -100.0F, std::pow(0.5, 0.4723665527), 4e-6));
    EXPECT_TRUE(maskBecomes(0.1F, -50.0F, std::pow(0.1, 0.6872892788), 4e-6));
    EXPECT_TRUE(maskBecomes(3.0F, -100.0F, std::pow(3.0, 0.4723665527), 4e-6));
}

TEST(MaskShaping, AboveZeroMultipliesARaisedCosine) {
    // The raised cosine of 0.5 is 1/2; e^0.75 = 2.117 at 100.
    EXPECT_TRUE(maskBecomes(0.5F, 100.0F, 0.5 * std::pow(0.5, 1.1170000166), 4e-6));
    EXPECT_TRUE(
        maskBecomes(0.25F, 50.0F, 0.25 * std::pow(0.5 - 0.5 * std::sqrt(0.5), 0.4549914146), 4e-6));
}

TEST(MaskShaping, KeepsZeroAndOneOnBothSides) {
    for (const float sensitivity : {-100.0F, -1.0F, 1.0F, 100.0F}) {
        EXPECT_TRUE(maskBecomes(0.0F, sensitivity, 0.0)) << sensitivity;
        EXPECT_TRUE(maskBecomes(1.0F, sensitivity, 1.0)) << sensitivity;
    }
}

TEST(MaskShaping, AboveZeroFoldsMasksAboveOne) {
    EXPECT_TRUE(maskBecomes(2.0F, 100.0F, 0.0)) << "twice is folded to nothing";
    EXPECT_TRUE(maskBecomes(1.5F, 100.0F, 1.5 * std::pow(0.5, 1.1170000166), 4e-6));
    EXPECT_TRUE(maskBecomes(3.0F, 100.0F, 3.0, 4e-6)) << "thrice is a crest again";
}

TEST(MaskShaping, KeepsThePhaseOfANegativeMask) {
    EXPECT_TRUE(maskBecomes(-0.5F, 100.0F, -0.5 * std::pow(0.5, 1.1170000166), 4e-6));
    EXPECT_TRUE(maskBecomes(-0.5F, -100.0F, -std::pow(0.5, 0.4723665527), 4e-6));
}

TEST(MaskShaping, TheResidualIsTheComplementOfShapedMasksAndShapedItself) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    processor.set(sensitivityOf(0), 100.0F);
    processor.set(sensitivityOf(1), -100.0F);
    processor.set(gainOf(0), 0.0F);
    const double complement = 1.0 - 0.5 * std::pow(0.5, 1.1170000166);
    const Planar input = whiteNoise(1, 160, 15);
    EXPECT_TRUE(isNear(runAtOnce(processor, input),
                       scaled(input, 144, std::pow(complement, 0.4723665527)), 4e-6));
}

TEST(MaskShaping, ComplexMasksAreShapedByMagnitudeAndKeepTheirPhase) {
    const TestModel model{complexHeader(frameHeader(32, 32, 16), 17),
                          {randomStage({1, 3, 1, 1}, 3), writer::LayerType::hardSigmoid}};
    for (const double sensitivity : {-80.0, 0.0, 80.0}) {
        Pair pair(model, 1);
        pair.setGain(1, 0.5);
        pair.setSensitivity(0, sensitivity);
        // The raised cosine of a small magnitude loses digits in single precision.
        EXPECT_TRUE(pair.pushAndCompare(whiteNoise(1, 160, 16), 1e-4)) << sensitivity;
    }
}

TEST(ParameterTiming, AChangeTakesEffectAtTheNextMixedFrame) {
    for (const int lookahead : {0, 2}) {
        for (const int hop : {16, 8}) {
            Pair pair(livelyMasks(frameHeader(32, 32, hop, 1, 1, 2), 18, lookahead), 2);
            const Planar input = whiteNoise(2, 30 * hop, 19);
            for (int i = 0; i < 30; ++i) {
                pair.setGain(0, i % 3);
                pair.setGain(2, i % 2 == 0 ? 1.0 : 0.125);
                pair.setSensitivity(1, 20.0 * (i % 5));
                Planar block(2);
                for (int c = 0; c < 2; ++c) {
                    block[c].assign(input[c].begin() + i * hop, input[c].begin() + (i + 1) * hop);
                }
                EXPECT_TRUE(pair.pushAndCompare(block)) << "hop " << i;
            }
        }
    }
}

TEST(ParameterTiming, AChangeBetweenTwoPartsOfOneHopActsOnTheWholeFrame) {
    const TestModel model = constantMasks(frameHeader(32, 32, 16), {0.5F});
    Pair pair(model, 1);
    const Planar part = whiteNoise(1, 8, 20);
    for (int i = 0; i < 20; ++i) {
        pair.setGain(0, i % 2 == 0 ? 4.0 : 1.0);
        EXPECT_TRUE(pair.pushAndCompare(part));
    }
}

TEST(ParameterTiming, AChangeDoesNotTouchWhatIsAlreadyPending) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    ApiProcessor twin(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 160, 21);
    processor.push(input);
    twin.push(input);
    processor.set(gainOf(0), 0.0F);
    processor.set(gainOf(1), 0.0F);
    EXPECT_TRUE(sameBits(processor.pullAll(), twin.pullAll()));
}

TEST(FifteenBuses, AndTheirResidualEachHaveAGain) {
    std::vector<float> values;
    for (int bus = 0; bus < 15; ++bus) {
        values.push_back(0.01F * static_cast<float>(bus + 1));
    }
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16, 1, 1, 15), values));
    const Planar input = whiteNoise(1, 160, 22);
    for (const int solo : {0, 7, 14, 15}) {
        ApiProcessor processor(file.path(), 1, 48000.0);
        ASSERT_TRUE(processor.created());
        EXPECT_EQ(processor.busCount(), 16);
        for (int bus = 0; bus <= 15; ++bus) {
            processor.set(gainOf(bus), bus == solo ? 1.0F : 0.0F);
        }
        // The masks sum to 1.2, which leaves -0.2.
        const double expected = solo == 15 ? -0.2 : 0.01 * (solo + 1);
        EXPECT_TRUE(isNear(runAtOnce(processor, input), scaled(input, 144, expected), 2e-6));
    }
}

}  // namespace
}  // namespace vorun::apitest
