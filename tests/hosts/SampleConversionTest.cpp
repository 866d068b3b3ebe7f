#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "restore/SampleConversion.h"

namespace vorun::restore {
namespace {

using testing::ElementsAre;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(SampleConversion, SixteenBitSamplesComeBackTheSame) {
    std::vector<float> samples;
    std::vector<std::int32_t> expected;
    for (std::int32_t value = -32768; value <= 32767; ++value) {
        samples.push_back(static_cast<float>(value) / 32768.0F);
        expected.push_back(value * 65536);
    }
    IntegerConversion conversion(16);
    std::vector<std::int32_t> out;
    conversion.convert(samples, out);
    EXPECT_EQ(out, expected);
    EXPECT_EQ(conversion.clippedSamples(), 0);
}

TEST(SampleConversion, RoundsToTheNearest) {
    IntegerConversion conversion(8);
    std::vector<std::int32_t> out;
    conversion.convert(std::vector<float>{0.4F / 128, 0.6F / 128, -0.6F / 128, 1.5F / 128}, out);
    constexpr std::int32_t unit = 1 << 24;
    EXPECT_THAT(out, ElementsAre(0, unit, -unit, 2 * unit));
}

TEST(SampleConversion, LimitsAndCountsWhatIsBeyondFullScale) {
    IntegerConversion conversion(16);
    std::vector<std::int32_t> out;
    conversion.convert(std::vector<float>{1.0F, -1.0F, 2.0F, -2.0F, infinity, -infinity}, out);
    constexpr std::int32_t highest = 32767 * 65536;
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    EXPECT_THAT(out, ElementsAre(highest, lowest, highest, lowest, highest, lowest));
    EXPECT_EQ(conversion.clippedSamples(), 5);
}

TEST(SampleConversion, FullWidthIntegersDoNotWrap) {
    IntegerConversion conversion(32);
    std::vector<std::int32_t> out;
    conversion.convert(std::vector<float>{1.0F, -1.0F, 0.5F}, out);
    EXPECT_THAT(out, ElementsAre(2147483647, std::numeric_limits<std::int32_t>::min(), 1 << 30));
}

TEST(SampleConversion, NotANumberIsSilence) {
    IntegerConversion conversion(16);
    std::vector<std::int32_t> out;
    conversion.convert(std::vector<float>{notANumber}, out);
    EXPECT_THAT(out, ElementsAre(0));
}

TEST(SampleConversion, SilencesAndCountsWhatIsNotFinite) {
    std::vector<float> samples = {0.5F, notANumber, infinity, -infinity, -0.25F};
    EXPECT_EQ(silenceNonFinite(samples), 3);
    EXPECT_THAT(samples, ElementsAre(0.5F, 0.0F, 0.0F, 0.0F, -0.25F));
}

}  // namespace
}  // namespace vorun::restore
