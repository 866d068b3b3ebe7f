#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/layers/ColumnChannels.h"

namespace vorun {
namespace {

using test::makeTensor;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::pair<int, int>> rangesOf(const ConvReach& reach) {
    std::vector<std::pair<int, int>> ranges;
    for (const BinRange& range : enteredBins(reach)) {
        ranges.emplace_back(range.begin, range.end);
    }
    return ranges;
}

TEST(ColumnChannels, ABinOfTheKernelEntersWhereItMeetsTheInput) {
    EXPECT_THAT(rangesOf({3, 1, 4}),
                ElementsAre(std::pair(1, 4), std::pair(0, 4), std::pair(0, 3)));
    // Every other bin of seven: -1 to 3, 1 to 5 and 3 to 7.
    EXPECT_THAT(rangesOf({5, 2, 7}), ElementsAre(std::pair(1, 3), std::pair(0, 3), std::pair(0, 3),
                                                 std::pair(0, 3), std::pair(0, 2)));
}

TEST(ColumnChannels, ATallKernelHasBinsThatMeetNothing) {
    EXPECT_THAT(rangesOf({5, 1, 1}), ElementsAre(std::pair(1, 1), std::pair(1, 1), std::pair(0, 1),
                                                 std::pair(0, 0), std::pair(0, 0)));
    EXPECT_THAT(rangesOf({0, 1, 4}), IsEmpty());
}

TEST(ColumnChannels, SumsBeginWithTheLastOfTheBiasOrZeros) {
    EXPECT_THAT(lastOfBias(makeTensor({3}, {1, 2, 3}), 3, 2), ElementsAre(2, 3));
    EXPECT_THAT(lastOfBias(Tensor<float>(), 3, 2), ElementsAre(0, 0));
}

TEST(ColumnChannels, RowsOfSumsGoBetweenTheOtherChannels) {
    const std::vector<float> sums = {1, 2, 3, 10, 20, 30};
    std::vector<float> out(12, -1.0F);
    writeLastChannels(sums.data(), 2, 3, out.data(), 4);
    EXPECT_THAT(out, ElementsAre(-1, -1, 1, 10, -1, -1, 2, 20, -1, -1, 3, 30));
}

}  // namespace
}  // namespace vorun
