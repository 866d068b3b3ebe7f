#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <numbers>
#include <vector>

#include "UlpDistance.h"
#include "foundation/vector/RootTable.h"

namespace vorun::transform {
namespace {

TEST(RootTable, EveryRootIsRoundedOnce) {
    for (const std::int32_t order : {0, 1, 2, 3, 5, 12}) {
        const RootTable roots(order, nullptr);
        const std::int64_t length = std::int64_t{1} << order;
        for (std::int64_t k = 0; k <= length; ++k) {
            const double angle =
                2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(length);
            const Ipp32fc root = roots.root(k);
            // The reference is itself off by the rounding of its angle, where a part is near zero.
            const auto isRounded = [](float got, double exact) {
                return std::fabs(static_cast<double>(got) - exact) <= 0.5001 * ulpAt(exact) + 2e-15;
            };
            EXPECT_TRUE(isRounded(root.re, std::cos(angle))) << k << " of " << length;
            EXPECT_TRUE(isRounded(root.im, -std::sin(angle))) << k << " of " << length;
        }
    }
}

TEST(RootTable, QuartersOfTheCircleAreExact) {
    const RootTable roots(4, nullptr);
    EXPECT_EQ(roots.root(0).re, 1.0F);
    EXPECT_EQ(roots.root(4).re, 0.0F);
    EXPECT_EQ(roots.root(4).im, -1.0F);
    EXPECT_EQ(roots.root(8).re, -1.0F);
    EXPECT_EQ(roots.root(8).im, 0.0F);
    EXPECT_EQ(roots.root(12).im, 1.0F);
    EXPECT_EQ(roots.root(2).re, -roots.root(2).im) << "equal angles give equal digits";
}

TEST(RootTable, StoredEighthGivesTheSameRoots) {
    constexpr std::int32_t order = 11;
    std::vector<RootTable::Point> eighth(static_cast<std::size_t>(RootTable::storedCount(order)));
    const RootTable stored(order, eighth.data());
    const RootTable computed(order, nullptr);
    for (std::int64_t k = 0; k <= std::int64_t{1} << order; ++k) {
        EXPECT_TRUE(sameFloat(stored.root(k).re, computed.root(k).re)) << k;
        EXPECT_TRUE(sameFloat(stored.root(k).im, computed.root(k).im)) << k;
    }
}

}  // namespace
}  // namespace vorun::transform
