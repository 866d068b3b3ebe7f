#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>

#include "neural/HalfFloat.h"
#include "support/ModelWriter.h"

namespace vorun {
namespace {

/** The value of a word by its fields, in double, where every step is exact. */
double valueByFields(std::uint32_t word) {
    const double sign = (word & 0x8000U) != 0 ? -1.0 : 1.0;
    const auto exponent = static_cast<int>((word >> 10) & 31U);
    const double fraction = static_cast<double>(word & 1023U) / 1024.0;
    if (exponent == 0) {
        return sign * fraction * std::ldexp(1.0, -14);
    }
    return sign * (1.0 + fraction) * std::ldexp(1.0, exponent - 15);
}

TEST(HalfFloat, EveryWordExpandsToTheValueOfItsFields) {
    for (std::uint32_t word = 0; word <= 0xFFFFU; ++word) {
        const double expanded = static_cast<double>(expandHalf(static_cast<std::uint16_t>(word)));
        ASSERT_EQ(expanded, valueByFields(word)) << "word " << word;
        ASSERT_EQ(std::signbit(expanded), (word & 0x8000U) != 0) << "word " << word;
    }
}

TEST(HalfFloat, NamedWords) {
    EXPECT_EQ(expandHalf(0x3C00), 1.0F);
    EXPECT_EQ(expandHalf(0x0001), std::ldexp(1.0F, -24));
    EXPECT_EQ(expandHalf(0x8000), 0.0F);
    EXPECT_TRUE(std::signbit(expandHalf(0x8000)));
    EXPECT_EQ(expandHalf(0x7C00), 65536.0F);
    EXPECT_EQ(expandHalf(0x7FFF), 131008.0F);
}

TEST(ModelWriter, EveryHalfWordWritesBackAsItself) {
    for (std::uint32_t word = 0; word <= 0xFFFFU; ++word) {
        const auto value = static_cast<float>(valueByFields(word));
        ASSERT_EQ(writer::toHalf(value), word);
    }
}

TEST(ModelWriter, HalvesRoundToNearestWithTiesToEven) {
    EXPECT_EQ(writer::toHalf(1.0F + 1.0F / 2048.0F), 0x3C00);
    EXPECT_EQ(writer::toHalf(1.0F + 3.0F / 2048.0F), 0x3C02);
    EXPECT_EQ(writer::toHalf(1.0F + 1.1F / 2048.0F), 0x3C01);
    EXPECT_EQ(writer::toHalf(2.0F - 1.0F / 4096.0F), 0x4000);
    EXPECT_EQ(writer::toHalf(std::ldexp(1.0F, -25)), 0x0000);
    EXPECT_EQ(writer::toHalf(std::ldexp(-3.0F, -25)), 0x8002);
    EXPECT_EQ(writer::toHalf(1e9F), 0x7FFF);
    EXPECT_EQ(writer::toHalf(-INFINITY), 0xFFFF);
}

}  // namespace
}  // namespace vorun
