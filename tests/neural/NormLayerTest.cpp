#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "neural/SingleLayerTest.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatTensor;
using test::makeTensor;
using test::RecordingLayer;
using test::Shape;
using test::valuesOf;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ElementType;
using writer::LayerType;
using writer::ModelWriter;
using writer::TensorBlock;

class NormLayerTest : public test::SingleLayerTest {
  protected:
    /** The offset stands first in the file. */
    void loadNorm(const TensorBlock& offset, const TensorBlock& scale) {
        ModelWriter file;
        file.addTwoTensors("layer", "input", LayerType::norm, offset, scale);
        load(file);
    }
};

TEST_F(NormLayerTest, ScalesThenOffsetsEveryRowByChannel) {
    loadNorm({{2}, {10, 20}}, {{2}, {2, 3}});
    EXPECT_THAT(run({1, 2, 2}, {1, 2, 3, 4}), ElementsAre(12, 26, 16, 32));
}

TEST_F(NormLayerTest, UnitScaleAndNoOffsetReturnTheInput) {
    loadNorm({{2}, {0, 0}}, {{2}, {1, 1}});
    const std::vector<float> values{0.1F, -3.5F, 1e30F, -1e-30F, INFINITY, 7.0F};
    EXPECT_EQ(run({1, 3, 2}, values), values);
}

TEST_F(NormLayerTest, ProductIsRoundedBeforeTheOffsetIsAdded) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24, whose last term a single rounding at the end would keep.
    loadNorm({{1}, {-(1.0F + 0x1p-11F)}}, {{1}, {1.0F + 0x1p-12F}});
    EXPECT_THAT(runValue(1.0F + 0x1p-12F), ElementsAre(0));
}

TEST_F(NormLayerTest, InfiniteInputTimesZeroIsNotANumber) {
    loadNorm({{1}, {0}}, {{1}, {0}});
    EXPECT_TRUE(std::isnan(runValue(INFINITY).front()));
    EXPECT_THAT(runValue(5), ElementsAre(0));
}

TEST_F(NormLayerTest, SeveralFramesGoOutAsOneTensorOfTheSameShape) {
    loadNorm({{1}, {1}}, {{1}, {2}});
    EXPECT_THAT(run({2, 2, 1}, {1, 2, 3, 4}), ElementsAre(3, 5, 7, 9));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({2, 2, 1})));
}

TEST_F(NormLayerTest, EveryBinOfATallFrameIsTreatedAlike) {
    for (const std::int32_t channels : {1, 3, 20}) {
        TensorBlock offset{{channels}, {}};
        TensorBlock scale{{channels}, {}};
        for (std::int32_t c = 0; c < channels; ++c) {
            offset.values.push_back(0.3F * static_cast<float>(c) - 1.1F);
            scale.values.push_back(1.7F - 0.1F * static_cast<float>(c));
        }
        loadNorm(offset, scale);
        std::vector<float> in;
        std::vector<float> expected;
        for (std::int32_t i = 0; i < 37 * channels; ++i) {
            const auto channel = static_cast<std::size_t>(i % channels);
            in.push_back(0.01F * static_cast<float>(i) - 0.7F);
            const float product = in.back() * scale.values[channel];
            expected.push_back(product + offset.values[channel]);
        }
        EXPECT_EQ(run({1, 37, channels}, in), expected) << channels;
    }
}

TEST_F(NormLayerTest, TwoFramesAtOnceGiveWhatTheyGiveOneByOne) {
    loadNorm({{2}, {0.1F, 0.2F}}, {{2}, {0.3F, 0.7F}});
    std::vector<float> oneByOne = run({1, 1, 2}, {0.9F, -1.1F});
    const std::vector<float> second = run({1, 1, 2}, {1.3F, 1.7F});
    oneByOne.insert(oneByOne.end(), second.begin(), second.end());
    EXPECT_EQ(run({2, 1, 2}, {0.9F, -1.1F, 1.3F, 1.7F}), oneByOne);
}

TEST_F(NormLayerTest, InputWithoutFramesStillGoesToTheConsumers) {
    loadNorm({{1}, {1}}, {{1}, {2}});
    EXPECT_TRUE(layer().AddTensor(FloatTensor({0, 2, 1}), nullptr));
    EXPECT_TRUE(layer().AddTensor(FloatTensor(), nullptr));
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape({0, 2, 1}), Shape()));
    EXPECT_THAT(recorder_.values, ElementsAre(IsEmpty(), IsEmpty()));
}

TEST_F(NormLayerTest, LongerTensorsOfTheFileUseTheirFirstValues) {
    loadNorm({{2, 2}, {10, 20, 99, 99}}, {{3}, {2, 3, 99}});
    EXPECT_THAT(run({1, 1, 2}, {1, 1}), ElementsAre(12, 23));
    EXPECT_THAT(runValue(1), ElementsAre(12));
}

TEST_F(NormLayerTest, AllConsumersGetTheTensorAndOneThatReachesAnOutputIsEnough) {
    loadNorm({{1}, {1}}, {{1}, {2}});
    RecordingLayer reaching("reaching", log_, true);
    layer().consumers = {&reaching, &recorder_};
    EXPECT_TRUE(layer().AddTensor(makeTensor({1, 1, 1}, {4}), nullptr));
    EXPECT_THAT(log_, ElementsAre("reaching tensor", "after tensor"));
    EXPECT_EQ(recorder_.lastSource, &layer());
}

TEST_F(NormLayerTest, ResultsThatWaitKeepTheirValues) {
    loadNorm({{1}, {1}}, {{1}, {2}});
    model_.input->AddTensor(makeTensor({1, 1, 1}, {1}), nullptr);
    model_.input->AddTensor(makeTensor({1, 1, 1}, {5}), nullptr);
    EXPECT_THAT(valuesOf(model_.output->TakeResult()), ElementsAre(3, 11));
}

TEST_F(NormLayerTest, TicksAndLatencyPassThroughAndAResetChangesNothing) {
    loadNorm({{1}, {1}}, {{1}, {2}});
    layer().SkipFrame();
    EXPECT_THAT(log_, ElementsAre("after tick"));
    recorder_.ownLatency = 4;
    EXPECT_EQ(layer().GetLatency(3), 12);
    runValue(100);
    model_.Reset();
    EXPECT_THAT(runValue(1), ElementsAre(3));
}

TEST_F(NormLayerTest, RecordCarriesTheTypeNumberAndEndsBehindTheScale) {
    ModelWriter file;
    file.addTwoTensors("norm", "input", LayerType::norm, {{1}, {1}}, {{1}, {-3}})
        .addActivation("layer", "norm", LayerType::relu);
    load(file);
    EXPECT_EQ(test::layerNamed(model_, "norm")->layerType, 7);
    EXPECT_THAT(runValue(-2), ElementsAre(7));
    EXPECT_THAT(runValue(2), ElementsAre(0));
}

TEST_F(NormLayerTest, HalfPrecisionTensorsAreExpanded) {
    loadNorm({{1}, {}, ElementType::half, {0x3C00}}, {{1}, {}, ElementType::half, {0x3800}});
    EXPECT_THAT(runValue(6), ElementsAre(4));
}

TEST_F(NormLayerTest, SteadyFramesTakeNoBlock) {
    loadNorm({{2}, {1, 2}}, {{2}, {2, 3}});
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 16, 2})), 0U);
    EXPECT_EQ(blocksOfAFrame(countingTensor({1, 12, 2})), 0U);
}

}  // namespace
}  // namespace vorun
