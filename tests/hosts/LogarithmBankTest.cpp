#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>

#include "gate/LogarithmBank.h"

namespace vorun::gate {
namespace {

double valueOfRising(const LineBank& bank, double x) {
    double sum = 0.0;
    for (std::size_t i = 0; i < bank.corner.size(); ++i) {
        sum += double{bank.weight[i]} * std::max(0.0, x - double{bank.corner[i]});
    }
    return sum;
}

double valueOfFalling(const LineBank& bank, double x) {
    double sum = 0.0;
    for (std::size_t i = 0; i < bank.corner.size(); ++i) {
        sum += double{bank.weight[i]} * std::max(0.0, double{bank.corner[i]} - x);
    }
    return sum;
}

/** How far the chord of a logarithm over a factor r lies below it at most. */
double largestSag(double factor) {
    const double g = (factor - 1.0) / std::log(factor);
    return std::log(g) - 1.0 + 1.0 / g;
}

TEST(LogarithmBank, RisingBankStaysBelowTheLogarithmByNoMoreThanTheSag) {
    constexpr double lowest = 1e-3;
    constexpr double factor = 3.0;
    const LineBank bank = risingLogarithm(lowest, factor, 10);
    const double highest = lowest * std::pow(factor, 10);
    for (double x = lowest; x < highest; x *= 1.01) {
        const double exact = 1.0 + std::log(x / lowest);
        EXPECT_LE(valueOfRising(bank, x), exact + 1e-4) << x;
        EXPECT_GE(valueOfRising(bank, x), exact - largestSag(factor) - 1e-4) << x;
    }
}

TEST(LogarithmBank, RisingBankMeetsTheLogarithmAtItsCorners) {
    const LineBank bank = risingLogarithm(0.5, 2.0, 4);
    EXPECT_NEAR(valueOfRising(bank, 0.0), 0.0, 1e-6);
    EXPECT_NEAR(valueOfRising(bank, 0.25), 0.5, 1e-6);
    for (int corner = 0; corner <= 4; ++corner) {
        EXPECT_NEAR(valueOfRising(bank, 0.5 * std::pow(2.0, corner)), 1.0 + corner * std::log(2.0),
                    1e-5);
    }
}

TEST(LogarithmBank, FallingBankStaysAboveTheLogarithmByNoMoreThanTheSag) {
    constexpr double factor = 3.0;
    const LineBank bank = fallingLogarithm(factor, 10);
    for (double x = 1.0; x > std::pow(factor, -10); x /= 1.01) {
        EXPECT_GE(valueOfFalling(bank, x), -std::log(x) - 1e-4) << x;
        EXPECT_LE(valueOfFalling(bank, x), -std::log(x) + largestSag(factor) + 1e-4) << x;
    }
}

TEST(LogarithmBank, FallingBankIsZeroAboveOneAndFiniteAtZero) {
    const LineBank bank = fallingLogarithm(2.0, 3);
    EXPECT_EQ(valueOfFalling(bank, 1.0), 0.0);
    EXPECT_EQ(valueOfFalling(bank, 5.0), 0.0);
    // The last chord, from 1/4 to 1/8, goes on to 0 with its slope.
    EXPECT_NEAR(valueOfFalling(bank, 0.0), 4.0 * std::log(2.0), 1e-5);
}

}  // namespace
}  // namespace vorun::gate
