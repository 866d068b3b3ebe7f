#include <gtest/gtest.h>
#include <limits>

#include "inspect/Numbers.h"

namespace vorun::test {
namespace {

using namespace inspect;

TEST(Numbers, ShortNumbersHaveNoZerosAtTheirEnd) {
    EXPECT_EQ(shortNumber(48000.0, 3), "48000");
    EXPECT_EQ(shortNumber(44100.5, 3), "44100.5");
    EXPECT_EQ(shortNumber(0.25, 1), "0.2");
    EXPECT_EQ(shortNumber(0.0, 1), "0");
    EXPECT_EQ(shortNumber(-2.5, 3), "-2.5");
}

TEST(Numbers, RatesOfADamagedFileAreShownToo) {
    EXPECT_EQ(shortNumber(std::numeric_limits<double>::quiet_NaN(), 3), "nan");
    EXPECT_EQ(shortNumber(std::numeric_limits<double>::infinity(), 3), "inf");
    EXPECT_EQ(shortNumber(std::numeric_limits<double>::max(), 3).size(), 309U);
}

TEST(Numbers, BytesAreRoundedInUnits) {
    EXPECT_EQ(bytesText(0), "0 bytes");
    EXPECT_EQ(bytesText(1023), "1023 bytes");
    EXPECT_EQ(bytesText(1024), "1.0 KiB");
    EXPECT_EQ(bytesText(1536), "1.5 KiB");
    EXPECT_EQ(bytesText(1048575), "1.0 MiB");
    EXPECT_EQ(bytesText(3.0 * 1024 * 1024 * 1024), "3.0 GiB");
    EXPECT_EQ(bytesText(1e18), "909494.7 TiB");
}

TEST(Numbers, CountsAreRoundedInWords) {
    EXPECT_EQ(roundedText(999), "999");
    EXPECT_EQ(roundedText(1000), "1.0 thousand");
    EXPECT_EQ(roundedText(999960), "1.0 million");
    EXPECT_EQ(roundedText(9360000), "9.4 million");
    EXPECT_EQ(roundedText(2.5e9), "2.5 billion");
}

}  // namespace
}  // namespace vorun::test
