#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "neural/TransposedLayerTest.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatTensor;
using test::Shape;
using test::TransposedLayerTest;
using testing::ElementsAre;
using testing::IsEmpty;

class SeparableChannelConvLayerTest : public TransposedLayerTest {
  protected:
    void loadKernels(const std::vector<float>& time, const std::vector<float>& height) {
        load({{static_cast<std::int32_t>(time.size())}, time},
             {{static_cast<std::int32_t>(height.size())}, height});
    }
    std::uint64_t blocksOfAFirstFrame(const FloatTensor& frame) {
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        layer().AddTensor(frame, nullptr);
        return TensorData<float>::blocksAllocated() - before;
    }
    std::vector<std::vector<float>> columnAfter(const std::vector<float>& bins) {
        return framesAfter({1, static_cast<std::int32_t>(bins.size()), 1}, bins);
    }
};

TEST_F(SeparableChannelConvLayerTest, LastTimeTapWeighsTheCurrentFrameAndTapKTheOneKPlusOneBack) {
    loadKernels({1, 10, 100}, {1});
    framesAfter(1);
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(200 + 1)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(300 + 2 + 10)));
    EXPECT_THAT(framesAfter(4), ElementsAre(ElementsAre(400 + 3 + 20)));
}

TEST_F(SeparableChannelConvLayerTest, OneTimeTapStartsAtOnce) {
    loadKernels({2}, {1});
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(6)));
    EXPECT_THAT(framesAfter(4), ElementsAre(ElementsAre(8)));
}

TEST_F(SeparableChannelConvLayerTest, ThreeTimeTapsSwallowTheFirstFrameWithoutATick) {
    loadKernels({1, 1, 1}, {1});
    EXPECT_THAT(framesAfter(1), IsEmpty());
    EXPECT_THAT(log_, IsEmpty());
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(3)));
}

TEST_F(SeparableChannelConvLayerTest, WarmUpIsHalfTheTapsRoundedUpLessOne) {
    const std::vector<std::size_t> swallowed = {0, 0, 1, 1, 2, 2, 3};
    for (std::size_t taps = 1; taps <= swallowed.size(); ++taps) {
        loadKernels(std::vector<float>(taps, 1.0F), {1});
        std::size_t silent = 0;
        while (framesAfter(1).empty()) {
            ++silent;
        }
        EXPECT_EQ(silent, swallowed[taps - 1]) << taps;
    }
}

TEST_F(SeparableChannelConvLayerTest, EvenTimeTapsKeepTheSameOrder) {
    loadKernels({1, 10}, {1});
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(10)));
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(21)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(32)));
    loadKernels({1, 10, 100, 1000}, {1});
    framesAfter(1);
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(2001)));
    EXPECT_THAT(framesAfter(3), ElementsAre(ElementsAre(3012)));
    EXPECT_THAT(framesAfter(4), ElementsAre(ElementsAre(4123)));
    EXPECT_THAT(framesAfter(5), ElementsAre(ElementsAre(5234)));
}

TEST_F(SeparableChannelConvLayerTest, OneHeightTapRunsAlone) {
    loadKernels({1}, {3});
    EXPECT_THAT(columnAfter({1, 2, 3}), ElementsAre(ElementsAre(3, 6, 9)));
}

TEST_F(SeparableChannelConvLayerTest, HeightTapsReachTheBinsOnBothSidesAndZerosBeyond) {
    loadKernels({1}, {1, 10, 100});
    EXPECT_THAT(columnAfter({1, 2, 3}), ElementsAre(ElementsAre(12, 123, 230)));
}

TEST_F(SeparableChannelConvLayerTest, EvenHeightTapsHaveTheirCentreBeforeTheMiddle) {
    loadKernels({1}, {1, 10});
    EXPECT_THAT(columnAfter({1, 2, 3}), ElementsAre(ElementsAre(1, 12, 23)));
    loadKernels({1}, {1, 10, 100, 1000});
    EXPECT_THAT(columnAfter({1, 2, 3}), ElementsAre(ElementsAre(12, 123, 1230)));
}

TEST_F(SeparableChannelConvLayerTest, HeightTapsBeyondTheFrameAreSkipped) {
    loadKernels({1}, {1, 10, 100, 1000, 10000});
    EXPECT_THAT(framesAfter({1, 1, 2}, {3, 4}), ElementsAre(ElementsAre(300, 400)));
    EXPECT_THAT(framesAfter({1, 1, 1}, {3}), ElementsAre(ElementsAre(300)));
    loadKernels({1}, {1, 10, 100, 1000, 10000});
    EXPECT_THAT(framesAfter({1, 2, 2}, {1, 2, 3, 4}),
                ElementsAre(ElementsAre(130, 240, 1300, 2400)));
}

TEST_F(SeparableChannelConvLayerTest, AllChannelsAreFilteredAlikeAndApart) {
    loadKernels({1, 2}, {1, 10, 100});
    framesAfter({1, 2, 3}, {1, 0, 0, 0, 0, 1});
    // Twice this frame and once the one before, before the height filter.
    EXPECT_THAT(framesAfter({1, 2, 3}, {0, 1, 0, 0, 0, 0}),
                ElementsAre(ElementsAre(10, 20, 1, 100, 200, 10)));
}

TEST_F(SeparableChannelConvLayerTest, WeightsOfZeroThatWriteAFilterClearWhateverWasThere) {
    const float infinity = std::numeric_limits<float>::infinity();
    loadKernels({0, 1}, {1});
    framesAfter(infinity);
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(1)));
    loadKernels({1}, {0});
    EXPECT_THAT(framesAfter(infinity), ElementsAre(ElementsAre(0)));
}

TEST_F(SeparableChannelConvLayerTest, SumsRunFromTapZeroAndFromTheCentreInSinglePrecision) {
    // 2^24 swallows a following 1, so that only sums in the stated order give these values.
    const float big = 16777216.0F;
    loadKernels({big, 1, -big}, {1});
    framesAfter(1);
    framesAfter(1);
    EXPECT_THAT(framesAfter(1), ElementsAre(ElementsAre(0)));
    loadKernels({1}, {1, 1, big, -big, 0});
    EXPECT_THAT(columnAfter({1, 1, 1, 1, 1})[0][2], 0.0F);
}

TEST_F(SeparableChannelConvLayerTest, EachFrameOfACallGivesATensorOfItsOwn) {
    loadKernels({1, 10}, {1});
    EXPECT_THAT(framesAfter(countingTensor({3, 1, 2})),
                ElementsAre(ElementsAre(10, 20), ElementsAre(31, 42), ElementsAre(53, 64)));
    EXPECT_THAT(recorder_.shapes.back(), (Shape{1, 1, 2}));
    EXPECT_EQ(recorder_.lastSource, &layer());
}

TEST_F(SeparableChannelConvLayerTest, ResultIsTrueWhenAFrameReachesTheOutput) {
    loadKernels({1, 1, 1}, {1});
    layer().consumers = {model_.output.get()};
    EXPECT_FALSE(layer().AddTensor(countingTensor({1, 1, 1}), nullptr));
    EXPECT_TRUE(layer().AddTensor(countingTensor({1, 1, 1}), nullptr));
    layer().ResetState();
    EXPECT_TRUE(layer().AddTensor(countingTensor({2, 1, 1}), nullptr));
}

TEST_F(SeparableChannelConvLayerTest, LaterFramesOfACallDoNotTakeBackItsResult) {
    class OnlyFirst : public test::FloatLayer {
      public:
        bool AddTensor(const FloatTensor& /*input*/, const test::FloatLayer* /*source*/) override {
            return count_++ == 0;
        }

      private:
        int count_ = 0;
    } onlyFirst;
    loadKernels({1}, {1});
    layer().consumers = {&onlyFirst};
    EXPECT_TRUE(layer().AddTensor(countingTensor({3, 1, 1}), nullptr));
}

TEST_F(SeparableChannelConvLayerTest, ResetStartsTheStreamAnew) {
    loadKernels({1, 10, 100}, {1});
    layer().ResetState();
    framesAfter(7);
    framesAfter(8);
    layer().ResetState();
    EXPECT_THAT(framesAfter(1), IsEmpty());
    EXPECT_THAT(framesAfter(2), ElementsAre(ElementsAre(201)));
}

TEST_F(SeparableChannelConvLayerTest, FramesWithoutBinsGiveFramesWithoutBins) {
    loadKernels({1}, {1, 1, 1});
    framesAfter({1, 0, 2}, {});
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape{1, 0, 2}));
    EXPECT_THAT(columnAfter({1, 2}), ElementsAre(ElementsAre(3, 3)));
}

TEST_F(SeparableChannelConvLayerTest, DelayDoesNotEnterTheLatencyAndTicksPass) {
    loadKernels({1, 1, 1, 1, 1}, {1});
    recorder_.ownLatency = 3;
    EXPECT_EQ(layer().GetLatency(2), 6);
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("after tick"));
}

TEST_F(SeparableChannelConvLayerTest, StoresANumberOtherThanThatOfItsRecord) {
    loadKernels({1}, {1});
    EXPECT_EQ(layer().layerType, 14);
}

TEST_F(SeparableChannelConvLayerTest, SteadyStateTakesNoBlock) {
    loadKernels({1, 2, 3}, {1, 2, 3});
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 5, 2})), 0U);
}

TEST_F(SeparableChannelConvLayerTest, ResetGivesUpTheScratchFrameAlone) {
    loadKernels({1, 2, 3}, {1, 2, 3});
    const FloatTensor frame = countingTensor({1, 5, 2});
    blocksOfAFrame(frame);
    layer().ResetState();
    EXPECT_EQ(blocksOfAFirstFrame(frame), 1U);
}

}  // namespace
}  // namespace vorun
