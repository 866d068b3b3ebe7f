#include <gtest/gtest.h>

#include "restore/HostError.h"
#include "restore/NumberText.h"

namespace vorun::restore {
namespace {

TEST(NumberText, OneChannelIsSingular) {
    EXPECT_EQ(channelsText(1), "1 channel");
    EXPECT_EQ(channelsText(2), "2 channels");
}

TEST(NumberText, ReadsWholeFiniteNumbers) {
    EXPECT_EQ(parseNumber("0"), 0.0F);
    EXPECT_EQ(parseNumber("-1.5"), -1.5F);
    EXPECT_EQ(parseNumber("+2"), 2.0F);
    EXPECT_EQ(parseNumber("1e-3"), 1e-3F);
}

TEST(NumberText, RefusesWhatIsNotWhollyANumber) {
    for (const char* const text :
         {"", " 1", "1 ", "1,5", "1x", "abc", "+-1", "--1", "nan", "inf", "-infinity", "1e99"}) {
        EXPECT_EQ(parseNumber(text), std::nullopt) << "'" << text << "'";
    }
}

TEST(NumberText, IndexHasNoSignAndNoFraction) {
    EXPECT_EQ(parseIndex("0"), 0);
    EXPECT_EQ(parseIndex("12"), 12);
    for (const char* const text : {"", "-0", "-1", "+1", "1.0", "99999999999"}) {
        EXPECT_EQ(parseIndex(text), std::nullopt) << "'" << text << "'";
    }
}

TEST(NumberText, BusValueSplitsAtTheLastEqualsSign) {
    const BusValue value = parseBusValue("--gain", "a=b=0.5", 0.0F, 1.0F);
    EXPECT_EQ(value.bus, "a=b");
    EXPECT_EQ(value.value, 0.5F);
}

TEST(NumberText, BusValueWithoutASideIsBadUsage) {
    for (const char* const text : {"", "Voice", "=1", "Voice=", "Voice=x", "Voice=1.5"}) {
        try {
            parseBusValue("--gain", text, 0.0F, 1.0F);
            ADD_FAILURE() << "accepted '" << text << "'";
        } catch (const HostError& error) {
            EXPECT_EQ(error.status(), ExitStatus::badUsage);
            EXPECT_NE(std::string(error.what()).find("--gain"), std::string::npos);
        }
    }
}

TEST(NumberText, RangeIncludesItsEnds) {
    EXPECT_EQ(parseInRange("--x", "-100", -100.0F, 100.0F), -100.0F);
    EXPECT_EQ(parseInRange("--x", "100", -100.0F, 100.0F), 100.0F);
    EXPECT_THROW(parseInRange("--x", "100.01", -100.0F, 100.0F), HostError);
}

TEST(NumberText, ClockShowsHoursOnlyWhenThereAreAny) {
    EXPECT_EQ(clockText(0.0), "0:00");
    EXPECT_EQ(clockText(9.99), "0:09");
    EXPECT_EQ(clockText(75.0), "1:15");
    EXPECT_EQ(clockText(3599.0), "59:59");
    EXPECT_EQ(clockText(3661.0), "1:01:01");
    EXPECT_EQ(clockText(-5.0), "0:00");
}

TEST(NumberText, FixedTextRoundsToItsDecimals) {
    EXPECT_EQ(fixedText(26.666, 1), "26.7");
    EXPECT_EQ(fixedText(48000.0, 0), "48000");
}

}  // namespace
}  // namespace vorun::restore
