#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "api/ApiModel.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/** A model of one activation. */
class Activation {
  public:
    explicit Activation(writer::LayerType type)
        : file_(TestModel{frameHeader(32, 32, 16), {type}}), model_(file_.path()) {}

    std::vector<float> operator()(const std::vector<float>& x) {
        return model_.run({{1, static_cast<std::int32_t>(x.size()), 1}, x}).values;
    }
    float operator()(float x) { return (*this)(std::vector{x}).front(); }

  private:
    TemporaryModel file_;
    ApiModel model_;
};

std::vector<float> sweep() {
    std::vector<float> values;
    for (float x = -30.0F; x <= 30.0F; x += 0.037F) {
        values.push_back(x);
    }
    return values;
}

/** Compares with a formula in double, relative to the value and at least to 1e-7. */
template <class Formula>
void expectFormula(writer::LayerType type, Formula&& formula, double relative) {
    Activation activation(type);
    const std::vector<float> x = sweep();
    const std::vector<float> y = activation(x);
    ASSERT_EQ(y.size(), x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double expected = formula(static_cast<double>(x[i]));
        EXPECT_NEAR(static_cast<double>(y[i]), expected, relative * std::abs(expected) + 1e-7)
            << x[i];
    }
}

TEST(Relu, IsTheLargerOfItsInputAndZero) {
    Activation relu(writer::LayerType::relu);
    EXPECT_EQ(relu(3.5F), 3.5F);
    EXPECT_EQ(relu(-3.5F), 0.0F);
    EXPECT_EQ(relu(infinity), infinity);
    EXPECT_EQ(relu(-infinity), 0.0F);
    EXPECT_EQ(relu(1e-45F), 1e-45F);
}

TEST(Relu, TurnsNotANumberIntoZeroAndKeepsNegativeZero) {
    Activation relu(writer::LayerType::relu);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(relu(notANumber)), 0U);
    EXPECT_TRUE(std::signbit(relu(-0.0F)));
}

TEST(Elu, MatchesItsFormula) {
    expectFormula(
        writer::LayerType::elu, [](double x) { return x > 0.0 ? x : std::exp(x) - 1.0; }, 1e-6);
    Activation elu(writer::LayerType::elu);
    EXPECT_EQ(elu(0.0F), 0.0F);
    EXPECT_EQ(elu(-100.0F), -1.0F);
    EXPECT_EQ(elu(-infinity), -1.0F);
    EXPECT_EQ(elu(infinity), infinity);
    EXPECT_TRUE(std::isnan(elu(notANumber)));
}

TEST(Sigmoid, MatchesItsFormulaWithinTen) {
    expectFormula(
        writer::LayerType::sigmoid,
        [](double x) {
            const double c = std::min(10.0, std::max(-10.0, x));
            return std::exp(c) / (1.0 + std::exp(c));
        },
        1e-6);
    Activation sigmoid(writer::LayerType::sigmoid);
    EXPECT_EQ(sigmoid(0.0F), 0.5F);
}

TEST(Sigmoid, NeverReachesItsEnds) {
    Activation sigmoid(writer::LayerType::sigmoid);
    const float low = sigmoid(-10.0F);
    const float high = sigmoid(10.0F);
    EXPECT_GT(low, 0.0F);
    EXPECT_LT(high, 1.0F);
    EXPECT_EQ(sigmoid(-infinity), low);
    EXPECT_EQ(sigmoid(-1e30F), low);
    EXPECT_EQ(sigmoid(infinity), high);
    EXPECT_EQ(sigmoid(notANumber), low);
}

TEST(HardSigmoid, MatchesItsFormula) {
    expectFormula(
        writer::LayerType::hardSigmoid,
        [](double x) { return std::min(1.0, std::max(0.0, x / 6.0 + 0.5)); }, 1e-6);
    Activation hard(writer::LayerType::hardSigmoid);
    EXPECT_EQ(hard(0.0F), 0.5F);
    EXPECT_NEAR(static_cast<double>(hard(-3.0F)), 0.0, 1e-7);
    EXPECT_NEAR(static_cast<double>(hard(3.0F)), 1.0, 1e-7);
    EXPECT_EQ(hard(notANumber), 0.0F);
    EXPECT_EQ(hard(-infinity), 0.0F);
    EXPECT_EQ(hard(infinity), 1.0F);
}

TEST(HardSigmoid, MultipliesByTheStoredSixth) {
    Activation hard(writer::LayerType::hardSigmoid);
    const float sixth = std::bit_cast<float>(std::uint32_t{0x3E2AAAAB});
    for (float x = -2.9F; x < 2.9F; x += 0.013F) {
        const float product = x * sixth;
        EXPECT_EQ(hard(x), product + 0.5F) << x;
    }
}

TEST(Softplus, MatchesItsUnguardedFormula) {
    // Small values lose their digits in 1 + e^x, which is why the bound is absolute there.
    expectFormula(
        writer::LayerType::softplus, [](double x) { return std::log(1.0 + std::exp(x)); }, 1e-6);
    Activation softplus(writer::LayerType::softplus);
    EXPECT_EQ(softplus(100.0F), infinity);
    EXPECT_EQ(softplus(-100.0F), 0.0F);
    EXPECT_EQ(softplus(-infinity), 0.0F);
    EXPECT_TRUE(std::isnan(softplus(notANumber)));
}

class LeakyRelu : public testing::Test {
  protected:
    static std::vector<float> leaky(float slope, const std::vector<float>& x) {
        writer::ModelWriter file(frameHeader(32, 32, 16));
        file.addLeakyRelu("leaky", "input", slope).setOutputSource("leaky");
        const TemporaryFile model(file.bytes());
        ApiModel handle(model.path());
        return handle.run({{1, static_cast<std::int32_t>(x.size()), 1}, x}).values;
    }
};

TEST_F(LeakyRelu, AddsTheNegativePartTimesItsSlope) {
    EXPECT_EQ(leaky(0.25F, {2.0F, -2.0F, 0.0F, infinity}),
              (std::vector<float>{2.0F, -0.5F, 0.0F, infinity}));
    EXPECT_EQ(leaky(-3.0F, {2.0F, -2.0F}), (std::vector<float>{2.0F, 6.0F}));
    EXPECT_EQ(leaky(0.0F, {2.0F, -2.0F}), (std::vector<float>{2.0F, 0.0F}));
}

TEST_F(LeakyRelu, KeepsNotANumber) {
    EXPECT_TRUE(std::isnan(leaky(0.25F, {notANumber}).front()));
}

TEST(Activations, KeepTheShapeOfTheirInput) {
    for (const auto type :
         {writer::LayerType::relu, writer::LayerType::elu, writer::LayerType::sigmoid,
          writer::LayerType::hardSigmoid, writer::LayerType::softplus}) {
        const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {type}});
        ApiModel model(file.path());
        for (const Shape& shape : {Shape{1, 1, 1}, Shape{2, 3, 4}, Shape{1, 130, 1}}) {
            const auto volume = static_cast<std::size_t>(shape[0] * shape[1] * shape[2]);
            EXPECT_EQ(model.run({shape, std::vector<float>(volume, 0.5F)}).shape, shape);
        }
        EXPECT_EQ(model.run({{0, 3, 4}, {}}).shape, (Shape{0, 3, 4}));
        EXPECT_EQ(model.run({{}, {}}).shape, (Shape{0, 0, 0}));
    }
}

}  // namespace
}  // namespace vorun::apitest
