#include <bit>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::makeTensor;
using test::RecordingLayer;
using test::valuesOf;
using testing::ElementsAre;
using writer::LayerType;
using writer::ModelWriter;

using Shape = std::vector<std::int32_t>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float denormal = 1e-40F;
constexpr float leakySlope = 0.3F;

NeuralModel<float> activationModel(LayerType type) {
    ModelWriter file;
    if (type == LayerType::leakyRelu) {
        file.addLeakyRelu("layer", "input", leakySlope);
    } else {
        file.addActivation("layer", "input", type);
    }
    file.setOutputSource("layer");
    return loadedModel(file);
}

std::vector<float> apply(LayerType type, const std::vector<float>& values) {
    NeuralModel<float> model = activationModel(type);
    return valuesOf(
        evaluate(model, makeTensor({1, static_cast<std::int32_t>(values.size()), 1}, values)));
}

float applyOne(LayerType type, float value) {
    return apply(type, {value}).at(0);
}

/** Every fourth power of two's neighbourhood, a fine grid, and both signs of all. */
std::vector<float> sweep(float largest) {
    std::vector<float> values;
    for (int i = -4000; i <= 4000; ++i) {
        values.push_back(largest * static_cast<float>(i) / 4000.0F);
    }
    for (int exponent = -148; exponent < 7; exponent += 4) {
        for (const float factor : {1.0F, 1.37F, -1.0F, -1.91F}) {
            values.push_back(std::ldexp(factor, exponent));
        }
    }
    return values;
}

/** Largest |f(x) - g(x)| / (absolute + relative |g(x)|) over the sweep, which must stay below 1. */
template <class Exact>
void expectClose(LayerType type, float largest, double absolute, double relative, Exact exact) {
    const std::vector<float> inputs = sweep(largest);
    const std::vector<float> outputs = apply(type, inputs);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const double expected = exact(static_cast<double>(inputs[i]));
        ASSERT_LE(std::fabs(static_cast<double>(outputs[i]) - expected),
                  absolute + relative * std::fabs(expected))
            << "at " << inputs[i];
    }
}

constexpr double unit = 0x1p-24;

TEST(Activations, ReluIsExact) {
    expectClose(LayerType::relu, 50, 0, 0, [](double x) { return x > 0 ? x : 0.0; });
}

TEST(Activations, LeakyReluRoundsOnce) {
    expectClose(LayerType::leakyRelu, 50, 0x1p-150, unit,
                [](double x) { return x > 0 ? x : static_cast<double>(leakySlope) * x; });
}

// exp within 2 ulp of values up to 1, then one subtraction.
TEST(Activations, EluIsWithinThreeUnitsOfOne) {
    expectClose(LayerType::elu, 50, 6 * unit, 0,
                [](double x) { return x > 0 ? x : std::expm1(x); });
}

// exp within 2 ulp; the sum and the quotient round once each.
TEST(Activations, SigmoidIsWithinEightHalfUlp) {
    expectClose(LayerType::sigmoid, 20, 0, 8 * unit, [](double x) {
        const double clamped = std::fmin(std::fmax(x, -10.0), 10.0);
        return 1.0 / (1.0 + std::exp(-clamped));
    });
}

TEST(Activations, HardSigmoidIsWithinThreeHalfUnitsOfOne) {
    expectClose(LayerType::hardSigmoid, 8, 3 * unit, 0,
                [](double x) { return std::fmin(std::fmax(x / 6.0 + 0.5, 0.0), 1.0); });
}

// The sum 1 + e^x rounds once, which moves the logarithm by as much; exp and ln within 2 ulp.
TEST(Activations, SoftplusIsWithinSixUnitsAbsoluteAndFourUlpRelative) {
    expectClose(LayerType::softplus, 80, 6 * unit, 8 * unit,
                [](double x) { return x > 30 ? x + std::exp(-x) : std::log1p(std::exp(x)); });
}

TEST(ReLULayer, NaNBecomesZeroAndMinusZeroStays) {
    const std::vector<float> result =
        apply(LayerType::relu, {notANumber, -0.0F, 0.0F, -infinity, infinity});
    EXPECT_THAT(result, ElementsAre(0, 0, 0, 0, infinity));
    EXPECT_FALSE(std::signbit(result[0]));
    EXPECT_TRUE(std::signbit(result[1]));
    EXPECT_FALSE(std::signbit(result[2]));
    EXPECT_FALSE(std::signbit(result[3]));
}

TEST(LeakyReLULayer, NaNStaysNaN) {
    EXPECT_TRUE(std::isnan(applyOne(LayerType::leakyRelu, notANumber)));
}

TEST(LeakyReLULayer, InfinitiesAndSignedZeros) {
    EXPECT_EQ(applyOne(LayerType::leakyRelu, -infinity), -infinity);
    EXPECT_EQ(applyOne(LayerType::leakyRelu, infinity), infinity);
    // Both halves of -0 are -0, and -0 + slope * -0 is -0.
    EXPECT_TRUE(std::signbit(applyOne(LayerType::leakyRelu, -0.0F)));
    EXPECT_FALSE(std::signbit(applyOne(LayerType::leakyRelu, 0.0F)));
}

TEST(LeakyReLULayer, SlopeComesFromTheFileWhateverItIs) {
    for (const float slope : {0.0F, -2.0F, 1.0F, 1e30F}) {
        ModelWriter file;
        file.addLeakyRelu("layer", "input", slope).setOutputSource("layer");
        NeuralModel<float> model = loadedModel(file);
        EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 1}, {-2, 3}))),
                    ElementsAre(slope * -2.0F, 3));
    }
}

TEST(ELULayer, ZeroGivesExactlyZeroAndFarBelowGivesMinusOne) {
    EXPECT_EQ(applyOne(LayerType::elu, 0.0F), 0.0F);
    EXPECT_EQ(applyOne(LayerType::elu, -100.0F), -1.0F);
    EXPECT_EQ(applyOne(LayerType::elu, -infinity), -1.0F);
    EXPECT_EQ(applyOne(LayerType::elu, infinity), infinity);
}

TEST(ELULayer, NaNStaysNaN) {
    EXPECT_TRUE(std::isnan(applyOne(LayerType::elu, notANumber)));
}

TEST(SigmoidLayer, NaNCountsAsMinusTen) {
    EXPECT_EQ(applyOne(LayerType::sigmoid, notANumber), applyOne(LayerType::sigmoid, -10.0F));
}

TEST(SigmoidLayer, ZeroGivesOneHalf) {
    EXPECT_EQ(applyOne(LayerType::sigmoid, 0.0F), 0.5F);
}

TEST(SigmoidLayer, NeverReachesZeroOrOne) {
    const float low = applyOne(LayerType::sigmoid, -10.0F);
    const float high = applyOne(LayerType::sigmoid, 10.0F);
    EXPECT_GT(low, 0.0F);
    EXPECT_LT(high, 1.0F);
    for (const float beyond : {10.5F, 1000.0F, infinity}) {
        EXPECT_EQ(applyOne(LayerType::sigmoid, beyond), high);
        EXPECT_EQ(applyOne(LayerType::sigmoid, -beyond), low);
    }
}

TEST(HardSigmoidLayer, CornersAndCentre) {
    EXPECT_NEAR(applyOne(LayerType::hardSigmoid, -3.0F), 0.0F, 1e-7F);
    EXPECT_NEAR(applyOne(LayerType::hardSigmoid, 3.0F), 1.0F, 1e-7F);
    EXPECT_EQ(applyOne(LayerType::hardSigmoid, 0.0F), 0.5F);
    EXPECT_EQ(applyOne(LayerType::hardSigmoid, -infinity), 0.0F);
    EXPECT_EQ(applyOne(LayerType::hardSigmoid, infinity), 1.0F);
}

TEST(HardSigmoidLayer, NaNGivesZero) {
    EXPECT_EQ(applyOne(LayerType::hardSigmoid, notANumber), 0.0F);
}

TEST(HardSigmoidLayer, MultipliesByTheStoredSixth) {
    const float sixth = std::bit_cast<float>(0x3E2AAAABU);
    for (const float x : {1.0F, 0.7F, -2.3F, 1e-3F}) {
        EXPECT_EQ(applyOne(LayerType::hardSigmoid, x), x * sixth + 0.5F);
    }
}

TEST(SoftplusLayer, OverflowGivesInfinityWithoutFailureAndFarBelowGivesZero) {
    EXPECT_EQ(applyOne(LayerType::softplus, 100.0F), infinity);
    EXPECT_EQ(applyOne(LayerType::softplus, -100.0F), 0.0F);
    EXPECT_EQ(applyOne(LayerType::softplus, -infinity), 0.0F);
}

TEST(SoftplusLayer, NaNStaysNaN) {
    EXPECT_TRUE(std::isnan(applyOne(LayerType::softplus, notANumber)));
}

TEST(Activations, DenormalsAreOrdinaryNumbers) {
    EXPECT_EQ(applyOne(LayerType::relu, denormal), denormal);
    EXPECT_EQ(applyOne(LayerType::relu, -denormal), 0.0F);
    EXPECT_EQ(applyOne(LayerType::leakyRelu, denormal), denormal);
    EXPECT_EQ(applyOne(LayerType::leakyRelu, -denormal), -denormal * leakySlope);
    EXPECT_NE(applyOne(LayerType::leakyRelu, -denormal), 0.0F);
    EXPECT_EQ(applyOne(LayerType::elu, denormal), denormal);
    EXPECT_EQ(applyOne(LayerType::elu, -denormal), 0.0F);
    EXPECT_EQ(applyOne(LayerType::sigmoid, denormal), 0.5F);
    EXPECT_EQ(applyOne(LayerType::hardSigmoid, -denormal), 0.5F);
    EXPECT_EQ(applyOne(LayerType::softplus, denormal), applyOne(LayerType::softplus, 0.0F));
}

class EveryActivation : public testing::TestWithParam<LayerType> {};

TEST_P(EveryActivation, EmptyInputStillCallsTheConsumers) {
    NeuralModel<float> model = activationModel(GetParam());
    std::vector<std::string> log;
    RecordingLayer recorder("consumer", log);
    layerNamed(model, "layer")->consumers.push_back(&recorder);
    EXPECT_TRUE(model.input->AddTensor(FloatTensor(), nullptr));
    EXPECT_TRUE(model.input->AddTensor(FloatTensor({1, 0, 3}), nullptr));
    EXPECT_THAT(log, ElementsAre("consumer tensor", "consumer tensor"));
    EXPECT_THAT(recorder.shapes, ElementsAre(Shape{}, Shape{1, 0, 3}));
    EXPECT_EQ(recorder.lastSource, layerNamed(model, "layer").get());
}

TEST_P(EveryActivation, WholeTensorGoesOnAtOnceInTheShapeOfTheInputAndLeavesTheInputAlone) {
    NeuralModel<float> model = activationModel(GetParam());
    std::vector<std::string> log;
    RecordingLayer recorder("consumer", log);
    layerNamed(model, "layer")->consumers.push_back(&recorder);
    const FloatTensor input = countingTensor({3, 2, 2}, -7.0F);
    model.input->AddTensor(input, nullptr);
    EXPECT_THAT(recorder.shapes, ElementsAre(Shape{3, 2, 2}));
    EXPECT_EQ(valuesOf(input), valuesOf(countingTensor({3, 2, 2}, -7.0F)));
    model.input->AddTensor(countingTensor({2, 2}), nullptr);
    EXPECT_EQ(recorder.shapes.back(), (Shape{2, 2}));
}

TEST_P(EveryActivation, ResultsThatNobodyHasTakenKeepTheirValues) {
    NeuralModel<float> model = activationModel(GetParam());
    model.input->AddTensor(makeTensor({1, 1, 1}, {0.5F}), nullptr);
    model.input->AddTensor(makeTensor({1, 1, 1}, {-0.5F}), nullptr);
    const std::vector<float> both = valuesOf(model.output->TakeResult());
    EXPECT_THAT(both, ElementsAre(applyOne(GetParam(), 0.5F), applyOne(GetParam(), -0.5F)));
}

TEST_P(EveryActivation, TickAndLatencyPassThrough) {
    NeuralModel<float> model = activationModel(GetParam());
    std::vector<std::string> log;
    RecordingLayer recorder("consumer", log);
    recorder.ownLatency = 3;
    layerNamed(model, "layer")->consumers = {&recorder};
    layerNamed(model, "layer")->SkipFrame();
    EXPECT_THAT(log, ElementsAre("consumer tick"));
    EXPECT_EQ(layerNamed(model, "layer")->GetLatency(2), 6);
}

INSTANTIATE_TEST_SUITE_P(Types, EveryActivation,
                         testing::Values(LayerType::relu, LayerType::leakyRelu, LayerType::elu,
                                         LayerType::sigmoid, LayerType::hardSigmoid,
                                         LayerType::softplus));

}  // namespace
}  // namespace vorun
