#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/BaseQueuedLayer.h"
#include "neural/GraphTools.h"
#include "neural/MemoryStream.h"
#include "neural/ModelReader.h"

namespace vorun {
namespace {

using test::FloatLayer;
using test::FloatTensor;
using test::makeTensor;
using test::MemoryStream;
using test::RecordingLayer;
using testing::ElementsAre;
using testing::IsEmpty;

using Shape = std::vector<std::int32_t>;
using FirstValues = std::vector<float>;

/** Notes the first value of each input of each call and sends the first input on. */
class NotingJoin : public BaseQueuedLayer<float> {
  public:
    using BaseQueuedLayer::BaseQueuedLayer;

    bool ProcessInputs(const std::vector<FloatTensor>& inputs,
                       const std::vector<FloatLayer*>& callSources) override {
        FirstValues firsts;
        for (const FloatTensor& input : inputs) {
            firsts.push_back(input.volume() > 0 ? input.readData()[0] : -1.0F);
            shapes.push_back(input.shape());
        }
        calls.push_back(firsts);
        lastSources = callSources;
        return PropagateToConsumers(inputs.front(), this);
    }

    std::vector<FirstValues> calls;
    std::vector<Shape> shapes;
    std::vector<FloatLayer*> lastSources;
};

/** The header of a record with several inputs. */
std::vector<std::uint8_t> joinHeader(std::int16_t count, const std::vector<std::string>& names) {
    std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(count & 0xFF),
                                       static_cast<std::uint8_t>((count >> 8) & 0xFF)};
    for (const std::string& name : names) {
        const auto length = static_cast<std::uint8_t>(name.size());
        bytes.insert(bytes.end(), {length, 0, 0, 0});
        bytes.insert(bytes.end(), name.begin(), name.end());
    }
    return bytes;
}

class BaseQueuedLayerTest : public testing::Test {
  protected:
    BaseQueuedLayerTest() {
        layers_["left"] = std::shared_ptr<FloatLayer>(left_);
        layers_["right"] = std::shared_ptr<FloatLayer>(right_);
    }

    std::unique_ptr<NotingJoin> makeJoin(const std::vector<std::uint8_t>& header) {
        MemoryStream stream(header);
        ModelReader reader(stream);
        return std::make_unique<NotingJoin>(layers_, reader);
    }

    std::shared_ptr<InputLayer<float>> left_ = std::make_shared<InputLayer<float>>();
    std::shared_ptr<InputLayer<float>> right_ = std::make_shared<InputLayer<float>>();
    LayerMap<float> layers_;
    const FloatTensor threeFrames_ = makeTensor({3, 2, 1}, {1, 1, 2, 2, 3, 3});
    const FloatTensor oneFrame_ = makeTensor({1, 2, 1}, {7, 7});
};

TEST_F(BaseQueuedLayerTest, HeaderConnectsTheInputsInOrder) {
    const auto join = makeJoin(joinHeader(2, {"right", "left"}));
    EXPECT_THAT(join->sources, ElementsAre(right_.get(), left_.get()));
    ASSERT_EQ(join->inputQueues.size(), 2U);
    EXPECT_EQ(join->inputQueues.front().source, right_.get());
    EXPECT_THAT(left_->consumers, ElementsAre(join.get()));
    EXPECT_THAT(right_->consumers, ElementsAre(join.get()));
    EXPECT_EQ(join->layerType, 0);
}

TEST_F(BaseQueuedLayerTest, ThreeFramesAgainstOneGiveOneCallAndKeepTwo) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    EXPECT_FALSE(left_->AddTensor(threeFrames_, nullptr));
    right_->AddTensor(oneFrame_, nullptr);
    EXPECT_THAT(join->calls, ElementsAre(FirstValues{1, 7}));
    EXPECT_THAT(join->lastSources, ElementsAre(left_.get(), right_.get()));
    EXPECT_EQ(join->inputQueues.front().tensors.size(), 2U);
    EXPECT_EQ(join->inputQueues.back().tensors.size(), 0U);
}

TEST_F(BaseQueuedLayerTest, FramesMeetByAgeWhicheverSideIsAhead) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    left_->AddTensor(oneFrame_, nullptr);
    right_->AddTensor(threeFrames_, nullptr);
    left_->AddTensor(threeFrames_, nullptr);
    EXPECT_THAT(join->calls, ElementsAre(FirstValues{7, 1}, FirstValues{1, 2}, FirstValues{2, 3}));
    EXPECT_EQ(join->inputQueues.front().tensors.size(), 1U);
}

TEST_F(BaseQueuedLayerTest, EverySetHoldsOneFrameOfEachInputWithItsOwnValues) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    left_->AddTensor(threeFrames_, nullptr);
    right_->AddTensor(threeFrames_, nullptr);
    EXPECT_THAT(join->calls, ElementsAre(FirstValues{1, 1}, FirstValues{2, 2}, FirstValues{3, 3}));
    for (const Shape& shape : join->shapes) {
        EXPECT_EQ(shape, (Shape{1, 2, 1}));
    }
}

TEST_F(BaseQueuedLayerTest, ResultIsTrueWhenAnySetReachesAnOutput) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    OutputLayer<float> output;
    join->consumers = {&output};
    EXPECT_FALSE(left_->AddTensor(threeFrames_, nullptr));
    EXPECT_TRUE(right_->AddTensor(oneFrame_, nullptr));
    EXPECT_EQ(output.results.size(), 1U);
}

TEST_F(BaseQueuedLayerTest, EachQueuedFrameCostsOneBlock) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    left_->AddTensor(threeFrames_, nullptr);
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before + 3);
}

TEST_F(BaseQueuedLayerTest, QueuedFramesKeepTheirValuesWhenTheInputIsWrittenAgain) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    FloatTensor reused = makeTensor({1, 1, 1}, {5});
    left_->AddTensor(reused, nullptr);
    reused.data()[0] = 6.0F;
    right_->AddTensor(makeTensor({1, 1, 1}, {8}), nullptr);
    EXPECT_THAT(join->calls, ElementsAre(FirstValues{5, 8}));
}

TEST_F(BaseQueuedLayerTest, ResetDropsTheWaitingFrames) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    left_->AddTensor(threeFrames_, nullptr);
    join->ResetState();
    right_->AddTensor(oneFrame_, nullptr);
    EXPECT_THAT(join->calls, IsEmpty());
    EXPECT_EQ(join->inputQueues.back().tensors.size(), 1U);
}

TEST_F(BaseQueuedLayerTest, TickPassesThroughWithoutTouchingTheQueues) {
    const auto join = makeJoin(joinHeader(2, {"left", "right"}));
    std::vector<std::string> log;
    RecordingLayer consumer("consumer", log);
    join->consumers = {&consumer};
    left_->AddTensor(oneFrame_, nullptr);
    join->SkipFrame();
    EXPECT_THAT(log, ElementsAre("consumer tick"));
    EXPECT_EQ(join->inputQueues.front().tensors.size(), 1U);
}

TEST_F(BaseQueuedLayerTest, UnknownSourceRaises) {
    const auto join = makeJoin(joinHeader(1, {"left"}));
    EXPECT_THROW(join->AddTensor(oneFrame_, right_.get()), std::runtime_error);
    EXPECT_THROW(join->AddTensor(oneFrame_, nullptr), std::runtime_error);
    EXPECT_TRUE(join->calls.empty());
}

TEST_F(BaseQueuedLayerTest, InputCountBelowOneReadsNoNamesAndDrainsNothing) {
    for (const std::int16_t count : {std::int16_t{0}, std::int16_t{-3}}) {
        const auto join = makeJoin(joinHeader(count, {}));
        EXPECT_THAT(join->sources, IsEmpty());
        EXPECT_THROW(join->AddTensor(oneFrame_, left_.get()), std::runtime_error);
        EXPECT_THAT(join->calls, IsEmpty());
        join->ResetState();
    }
}

TEST_F(BaseQueuedLayerTest, SameInputTwiceFillsOnlyTheFirstQueue) {
    const auto join = makeJoin(joinHeader(2, {"left", "left"}));
    EXPECT_EQ(left_->consumers.size(), 2U);
    left_->AddTensor(oneFrame_, nullptr);
    EXPECT_EQ(join->inputQueues.front().tensors.size(), 2U);
    EXPECT_EQ(join->inputQueues.back().tensors.size(), 0U);
    EXPECT_THAT(join->calls, IsEmpty());
}

TEST_F(BaseQueuedLayerTest, SingleInputProcessesEachFrameAtOnce) {
    const auto join = makeJoin(joinHeader(1, {"left"}));
    left_->AddTensor(threeFrames_, nullptr);
    EXPECT_THAT(join->calls, ElementsAre(FirstValues{1}, FirstValues{2}, FirstValues{3}));
}

TEST_F(BaseQueuedLayerTest, EmptyInputQueuesNothingAndFramesWithoutElementsAreFrames) {
    const auto join = makeJoin(joinHeader(1, {"left"}));
    EXPECT_FALSE(left_->AddTensor(FloatTensor(), nullptr));
    EXPECT_THAT(join->calls, IsEmpty());
    left_->AddTensor(FloatTensor({2, 0, 1}), nullptr);
    EXPECT_EQ(join->calls.size(), 2U);
    EXPECT_THAT(join->shapes, ElementsAre(Shape{1, 0, 1}, Shape{1, 0, 1}));
}

TEST_F(BaseQueuedLayerTest, UnknownInputNameRaises) {
    EXPECT_THROW(makeJoin(joinHeader(2, {"left", "nobody"})), std::out_of_range);
}

TEST_F(BaseQueuedLayerTest, NamesThatTheFileCutsOffRaise) {
    EXPECT_THROW(makeJoin(joinHeader(2, {"left"})), std::runtime_error);
}

}  // namespace
}  // namespace vorun
