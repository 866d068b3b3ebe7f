#include <cmath>

#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

/** A model that passes a quarter, and a float file, so that levels are not rounded. */
class RestoreMixTest : public RestoreTest {
  protected:
    RestoreMixTest() {
        writeConstantMask(model_, 0.25F);
        noise_.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        noise_.samples.resize(6000);
        writeRecording(input_, noise_);
    }

    void expectLevel(const std::vector<std::string>& options, float level) {
        const Recording after = restored(options);
        EXPECT_LT(largestDifference(after.samples, scaled(noise_.samples, level)), 1e-4F)
            << testing::PrintToString(options);
    }
};

TEST_F(RestoreMixTest, ResidualIsSilentUnlessAskedFor) {
    expectLevel({}, 0.25F);
}

TEST_F(RestoreMixTest, ResidualLevelIsInDecibels) {
    expectLevel({"--residual-db", "0"}, 1.0F);
    expectLevel({"--residual-db", "-20"}, 0.25F + 0.075F);
}

TEST_F(RestoreMixTest, GainTakesABusByNameOrIndex) {
    expectLevel({"--gain", "Processed=2"}, 0.5F);
    expectLevel({"--gain", "0=2"}, 0.5F);
    expectLevel({"--gain", "1=0.5", "--gain", "Processed=0"}, 0.375F);
}

TEST_F(RestoreMixTest, SoloPlaysOneBus) {
    expectLevel({"--solo", "Processed"}, 0.25F);
    expectLevel({"--solo", "Residual"}, 0.75F);
    expectLevel({"--solo", "1", "--gain", "Residual=0.5"}, 0.375F);
}

TEST_F(RestoreMixTest, SensitivityOfTheFirstBus) {
    // The exponents are e^(-0.75) and e^(0.75); above 1 a raised cosine is the base.
    const float permissive = std::pow(0.25F, std::exp(-0.75F));
    expectLevel({"--sensitivity", "-100"}, permissive);
    const float base = 0.5F - 0.5F * std::cos(0.25F * 3.14159265F);
    const float decisive = 0.25F * std::pow(base, std::exp(0.75F) - 1.0F);
    expectLevel({"--sensitivity", "100"}, decisive);
    expectLevel({"--sensitivity-of", "Processed=-100"}, permissive);
}

TEST_F(RestoreMixTest, SensitivityOfTheResidual) {
    expectLevel({"--sensitivity-of", "Residual=-100", "--solo", "Residual"},
                std::pow(0.75F, std::exp(-0.75F)));
}

TEST_F(RestoreMixTest, SoloPartsAddUpToTheInput) {
    const std::vector<float> processed = restored({"--solo", "Processed"}).samples;
    std::vector<float> sum = restored({"--solo", "Residual"}).samples;
    ASSERT_EQ(sum.size(), processed.size());
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] += processed[i];
    }
    EXPECT_LT(largestDifference(sum, noise_.samples), 1e-5F);
}

TEST_F(RestoreMixTest, StemsOfOneModelAreBuses) {
    writeTwoMasks(model_);
    expectLevel({}, 0.75F);
    expectLevel({"--solo", "Music"}, 0.5F);
    expectLevel({"--solo", "Residual"}, 0.25F);
    expectLevel({"--gain", "Voice=2", "--gain", "1=0", "--residual-db", "0"}, 0.75F);
}

}  // namespace
}  // namespace vorun::test
