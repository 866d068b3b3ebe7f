#include <gtest/gtest.h>
#include <string>

#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

class Reset : public testing::TestWithParam<int> {
  protected:
    TestModel model_ = livelyMasks(frameHeader(32, 32, GetParam(), 2, 2), 6, 3);
    TemporaryModel file_{model_};
    ApiProcessor processor_{file_.path(), 2, 48000.0};
    HostFrame frame_ = hostFrame(model_.header, 48000.0, 3);
    Planar input_ = whiteNoise(2, 500, 11);
};

TEST_P(Reset, LeavesNothingPending) {
    processor_.push(input_);
    ASSERT_GT(processor_.pending(), 0);
    processor_.reset();
    EXPECT_EQ(processor_.pending(), 0);
    Planar target = silence(2, 1);
    EXPECT_FALSE(processor_.tryPull(target, 1));
}

TEST_P(Reset, TheStreamStartsAsIfNew) {
    ApiProcessor fresh(file_.path(), 2, 48000.0);
    const Planar expected = runAtOnce(fresh, input_);
    for (const int before : {0, 1, 7, 31, 32, 100, 333}) {
        processor_.push(whiteNoise(2, before, 77));
        processor_.reset();
        EXPECT_TRUE(sameBits(runAtOnce(processor_, input_), expected)) << before;
        processor_.reset();
    }
}

TEST_P(Reset, TheFirstSamplesComeAfterTheSameAmountOfInputAsAfterCreation) {
    processor_.push(input_, 0, 123);
    processor_.reset();
    runStream(processor_, input_, {{1}, {}}, frame_);
}

TEST_P(Reset, TwiceIsTheSameAsOnce) {
    ApiProcessor fresh(file_.path(), 2, 48000.0);
    processor_.push(input_, 0, 200);
    processor_.reset();
    processor_.reset();
    EXPECT_TRUE(sameBits(runAtOnce(processor_, input_), runAtOnce(fresh, input_)));
}

TEST_P(Reset, KeepsTheParameters) {
    processor_.set(gainOf(0), 0.25F);
    processor_.set(gainOf(15), 3.0F);
    processor_.set(sensitivityOf(1), -42.0F);
    processor_.push(input_);
    processor_.reset();
    EXPECT_EQ(processor_.get(gainOf(0)), 0.25F);
    EXPECT_EQ(processor_.get(gainOf(15)), 3.0F);
    EXPECT_EQ(processor_.get(sensitivityOf(1)), -42.0F);
}

TEST_P(Reset, KeepsTheBusNames) {
    processor_.reset();
    EXPECT_EQ(processor_.busCount(), 2);
    EXPECT_EQ(processor_.busName(1), "Residual");
}

INSTANTIATE_TEST_SUITE_P(BothWindowSchemes, Reset, testing::Values(16, 8),
                         [](const auto& each) { return "Hop" + std::to_string(each.param); });

}  // namespace
}  // namespace vorun::apitest
