#include <cstddef>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/layers/RowSums.h"

namespace vorun {
namespace {

using test::makeTensor;
using testing::ElementsAre;

constexpr std::int32_t height = 16;

/** Two frames of one bin: to the first channel the older row, to the second the newer one tenfold.
 */
RowSums<float> twoChannels() {
    return {
        makeTensor({2, 1, 1, 2}, {1, 0, 0, 10}), makeTensor({2}, {0.5F, 0.25F}), {2, 1, 1, 2, 1}};
}

TEST(RowSums, SuitOneInputChannelWithoutAStride) {
    EXPECT_TRUE(RowSums<float>::suit({3, 3, 1, 2, 1}));
    EXPECT_FALSE(RowSums<float>::suit({3, 3, 2, 2, 1}));
    EXPECT_FALSE(RowSums<float>::suit({3, 3, 1, 2, 2}));
    // A channel that is alone has sums that wait.
    EXPECT_FALSE(RowSums<float>::suit({3, 3, 1, 1, 1}));
    EXPECT_FALSE(RowSums<float>::suit({3, 3, 1, 17, 1}));
}

TEST(RowSums, TakeTheChannelsBesideWholeRegistersOfEnoughBins) {
    const RowSums<float> some(makeTensor({1, 1, 1, 20}, std::vector<float>(20, 1.0F)), {},
                              {1, 1, 1, 20, 1});
    EXPECT_EQ(some.ChannelsOf(16), 4);
    EXPECT_EQ(some.ChannelsOf(15), 0);
    const RowSums<float> most(makeTensor({1, 1, 1, 12}, std::vector<float>(12, 1.0F)), {},
                              {1, 1, 1, 12, 1});
    EXPECT_EQ(most.ChannelsOf(16), 12);
    const RowSums<float> none(makeTensor({1, 1, 1, 13}, std::vector<float>(13, 1.0F)), {},
                              {1, 1, 1, 13, 1});
    EXPECT_EQ(none.ChannelsOf(16), 0);
    EXPECT_EQ(RowSums<float>().ChannelsOf(16), 0);
}

TEST(RowSums, MeetEachTapsRow) {
    RowSums<float> sums = twoChannels();
    std::vector<float> older(height);
    std::iota(older.begin(), older.end(), 1.0F);
    const std::vector<float> newer(height, 2.0F);
    std::vector<float> out(2 * height);
    sums.Sum({older.data(), newer.data()}, height, out.data());
    for (std::size_t bin = 0; bin < height; ++bin) {
        EXPECT_EQ(out[2 * bin], older[bin] + 0.5F);
        EXPECT_EQ(out[2 * bin + 1], 20.25F);
    }
}

TEST(RowSums, TryAgainAfterABlockThatWasRefused) {
    RowSums<float> sums = twoChannels();
    const std::vector<float> row(height, 1.0F);
    std::vector<float> out(2 * height);
    // Two channels of so many bins are more than any block holds.
    constexpr std::int32_t refused = 400'000'000;
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(sums.Sum({row.data(), row.data()}, refused, out.data()), std::runtime_error);
    }
    sums.Sum({row.data(), row.data()}, height, out.data());
    EXPECT_THAT(std::vector<float>(out.begin(), out.begin() + 2), ElementsAre(1.5F, 10.25F));
    EXPECT_THROW(sums.Sum({row.data(), row.data()}, refused, out.data()), std::runtime_error);
    sums.Sum({row.data(), row.data()}, height, out.data());
    EXPECT_THAT(std::vector<float>(out.end() - 2, out.end()), ElementsAre(1.5F, 10.25F));
}

}  // namespace
}  // namespace vorun
