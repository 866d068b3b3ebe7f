#include <cstdint>
#include <gtest/gtest.h>

#include "inspect/kinds/KernelTaps.h"

namespace vorun::test {
namespace {

using inspect::kinds::KernelWalk;
using inspect::kinds::tapsInside;

/** Looks at every tap of every place. */
std::int64_t countedTaps(const KernelWalk& walk) {
    std::int64_t count = 0;
    for (std::int64_t place = 0; place < walk.places; ++place) {
        for (std::int64_t tap = 0; tap < walk.kernelHeight; ++tap) {
            const std::int64_t bin =
                -((walk.kernelHeight - walk.stride) / 2) + place * walk.stride + tap;
            count += bin >= 0 && bin < walk.bins ? 1 : 0;
        }
    }
    return count;
}

TEST(KernelTaps, APlainKernelLosesWhatLeavesTheRow) {
    // Three taps at six places, less one before the first bin and one behind the last.
    EXPECT_EQ(tapsInside({6, 6, 3, 1}), 16.0);
}

TEST(KernelTaps, AStridedKernelBeginsBeforeTheRow) {
    // Places at -1, 1 and 3 of six bins: 3, 4 and 3 taps inside.
    EXPECT_EQ(tapsInside({3, 6, 4, 2}), 10.0);
}

TEST(KernelTaps, AStrideAboveTheKernelBeginsInsideTheRow) {
    EXPECT_EQ(tapsInside({1, 5, 1, 4}), 1.0);
}

TEST(KernelTaps, EverySmallCaseIsAsCounted) {
    for (std::int64_t places = 0; places < 6; ++places) {
        for (std::int64_t bins = 0; bins < 9; ++bins) {
            for (std::int64_t height = 0; height < 8; ++height) {
                for (std::int64_t stride = 1; stride < 6; ++stride) {
                    const KernelWalk walk{places, bins, height, stride};
                    ASSERT_EQ(tapsInside(walk), static_cast<double>(countedTaps(walk)))
                        << places << " " << bins << " " << height << " " << stride;
                }
            }
        }
    }
}

TEST(KernelTaps, AStrideOfZeroHasNoTaps) {
    EXPECT_EQ(tapsInside({4, 0, 3, 0}), 0.0);
}

TEST(KernelTaps, HugeRowsCostNoTime) {
    EXPECT_EQ(tapsInside({2147483647, 2147483647, 3, 1}), 3.0 * 2147483647.0 - 2.0);
}

}  // namespace
}  // namespace vorun::test
