#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

#include "foundation/DenormalGuard.h"

namespace vorun {
namespace {

constexpr float smallestNormal = std::numeric_limits<float>::min();
constexpr float denormal = std::numeric_limits<float>::denorm_min();

/** Volatile operands keep the compiler from folding the product at its own mode. */
float product(float a, float b) {
    volatile float left = a;
    volatile float right = b;
    return left * right;
}

TEST(DenormalGuard, FlushesResultsWhileItLives) {
    EXPECT_GT(product(smallestNormal, 0.5f), 0.0f);
    {
        const DenormalGuard guard;
        EXPECT_EQ(product(smallestNormal, 0.5f), 0.0f);
    }
    EXPECT_GT(product(smallestNormal, 0.5f), 0.0f);
}

TEST(DenormalGuard, TakesDenormalOperandsForZero) {
    EXPECT_GT(product(denormal, 1e30f), 0.0f);
    const DenormalGuard guard;
    EXPECT_EQ(product(denormal, 1e30f), 0.0f);
}

TEST(DenormalGuard, LeavesNormalNumbersAlone) {
    const DenormalGuard guard;
    EXPECT_EQ(product(smallestNormal, 2.0f), 2.0f * smallestNormal);
    EXPECT_EQ(product(3.0f, -0.25f), -0.75f);
}

TEST(DenormalGuard, InnerGuardKeepsTheOuterMode) {
    const DenormalGuard outer;
    { const DenormalGuard inner; }
    EXPECT_EQ(product(smallestNormal, 0.5f), 0.0f);
}

TEST(DenormalGuard, RestoresTheModeWhenAnExceptionPasses) {
    EXPECT_THROW(
        {
            const DenormalGuard guard;
            throw std::runtime_error("passes");
        },
        std::runtime_error);
    EXPECT_GT(product(smallestNormal, 0.5f), 0.0f);
}

}  // namespace
}  // namespace vorun
