#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::loads;
using test::makeTensor;
using test::RecordingLayer;
using test::valuesOf;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;
using writer::LayerType;
using writer::ModelWriter;
using writer::SelfAttentionRecord;
using writer::TensorBlock;

using Shape = std::vector<std::int32_t>;

TensorBlock ones(std::int32_t count) {
    return {{count}, std::vector<float>(static_cast<std::size_t>(count), 1.0F)};
}

/** Shapes of which the values are none, though a dimension is huge or negative. */
std::vector<Shape> hollowShapes() {
    return {{2'000'000'000, 0}, {0, 2'000'000'000}, {-7, 0}, {65536, 65536}};
}

/** Shapes whose 32-bit product is below zero. */
std::vector<Shape> negativeShapes() {
    return {{-1}, {-3, 5}, {32768, 65536}, {65535, 65537}};
}

ModelWriter twoTensors(LayerType type, const TensorBlock& first, const TensorBlock& second) {
    ModelWriter file;
    file.addTwoTensors("layer", "input", type, first, second).setOutputSource("layer");
    return file;
}

ModelWriter dense(const TensorBlock& weights, const TensorBlock& bias = {}) {
    return twoTensors(LayerType::dense, weights, bias);
}

ModelWriter norm(const TensorBlock& offset, const TensorBlock& scale) {
    return twoTensors(LayerType::norm, offset, scale);
}

ModelWriter preNorm(const TensorBlock& weights) {
    ModelWriter file;
    file.addPreNorm("layer", "input", weights).setOutputSource("layer");
    return file;
}

ModelWriter attention(const SelfAttentionRecord& record) {
    ModelWriter file;
    file.addSelfAttention("layer", "input", record).setOutputSource("layer");
    return file;
}

/** Enough of everything for a height of 4 and 3 channels, with a window of two frames. */
SelfAttentionRecord ampleAttention() {
    return {ones(9), ones(12), 0, {{2, 3}, std::vector<float>(6, 1.0F)}};
}

/** One of each layer, large enough for a height of 4 and 3 channels. */
std::vector<ModelWriter> ampleLayers() {
    SelfAttentionRecord plain = ampleAttention();
    plain.attentionWeights = {};
    SelfAttentionRecord late = ampleAttention();
    late.lookahead = 1;
    return {dense(ones(48), ones(12)), norm(ones(3), ones(3)),      preNorm(ones(5)),
            attention(plain),          attention(ampleAttention()), attention(late)};
}

void expectRaise(const ModelWriter& file, const Shape& inputShape) {
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THROW(evaluate(model, countingTensor(inputShape)), std::runtime_error)
        << testing::PrintToString(inputShape);
}

void expectPass(const ModelWriter& file, const Shape& inputShape) {
    NeuralModel<float> model = loadedModel(file);
    EXPECT_EQ(evaluate(model, countingTensor(inputShape)).shape(), inputShape);
}

TEST(DenseInput, WeightsForFewerBinsOrChannelsRaise) {
    expectPass(dense(ones(48)), {1, 4, 3});
    expectPass(dense(ones(48)), {5, 4, 3});
    expectRaise(dense(ones(47)), {1, 4, 3});
    expectRaise(dense(ones(48)), {1, 5, 3});
    expectRaise(dense(ones(48)), {1, 4, 4});
    expectRaise(dense({}), {1, 1, 1});
}

TEST(DenseInput, BiasShorterThanTheFrameRaisesUnlessItIsEmpty) {
    expectPass(dense(ones(48), ones(12)), {2, 4, 3});
    expectRaise(dense(ones(48), ones(11)), {1, 4, 3});
    expectPass(dense(ones(48), {{0}, {}}), {1, 4, 3});
    for (const Shape& shape : negativeShapes()) {
        expectRaise(dense(ones(48), {shape, {}}), {1, 1, 1});
        expectPass(dense({}, {shape, {}}), {0, 1, 1});
        expectRaise(dense({shape, {}}), {1, 1, 1});
    }
}

TEST(DenseInput, HeightWhoseSquareLeaves32BitsRaises) {
    expectRaise(dense(ones(48)), {1, 65536, 1});
    expectRaise(dense(ones(48)), {1, 131072, 2});
}

TEST(NormInput, FewerValuesThanChannelsRaise) {
    expectPass(norm(ones(3), ones(3)), {2, 7, 3});
    expectRaise(norm(ones(2), ones(3)), {1, 1, 3});
    expectRaise(norm(ones(3), ones(2)), {1, 1, 3});
    expectRaise(norm({}, ones(1)), {1, 1, 1});
    expectRaise(norm(ones(1), {}), {1, 1, 1});
    for (const Shape& shape : negativeShapes()) {
        expectRaise(norm({shape, {}}, ones(1)), {1, 1, 1});
        expectRaise(norm(ones(1), {shape, {}}), {1, 1, 1});
    }
}

TEST(PreNormRecord, WindowWithoutALengthIsRefused) {
    EXPECT_FALSE(loads(preNorm({})));
    EXPECT_FALSE(loads(preNorm({{0}, {}})));
    EXPECT_FALSE(loads(preNorm({{-1}, {}})));
    EXPECT_FALSE(loads(preNorm({{-1, -4}, {1, 1, 1, 1}})));
    EXPECT_TRUE(loads(preNorm(ones(1))));
}

TEST(PreNormRecord, FewerWeightsThanTheFirstDimensionAreRefusedBeforeTheLevelsAreSized) {
    const std::uint64_t before = TensorData<float>::bytesAllocated();
    for (const Shape& shape : hollowShapes()) {
        EXPECT_FALSE(loads(preNorm({shape, {}})));
    }
    for (const Shape& shape : negativeShapes()) {
        EXPECT_FALSE(loads(preNorm({shape, {}})));
    }
    // The product wraps to 65536.
    EXPECT_FALSE(loads(preNorm({{65537, 65536}, std::vector<float>(65536, 1.0F)})));
    EXPECT_LT(TensorData<float>::bytesAllocated() - before, 300'000U);
}

TEST(SelfAttentionRecord, WindowWithoutALengthIsRefused) {
    SelfAttentionRecord record = ampleAttention();
    for (const Shape& shape : negativeShapes()) {
        record.attentionWeights = {shape, {}};
        EXPECT_FALSE(loads(attention(record)));
    }
    record.attentionWeights = {{-2, -3}, std::vector<float>(6, 1.0F)};
    EXPECT_FALSE(loads(attention(record)));
}

TEST(SelfAttentionRecord, WindowWithoutValuesIsNoneAndSizesNothing) {
    const std::uint64_t before = TensorData<float>::bytesAllocated();
    for (const Shape& shape : hollowShapes()) {
        SelfAttentionRecord record = ampleAttention();
        record.attentionWeights = {shape, {}};
        expectPass(attention(record), {2, 4, 3});
    }
    EXPECT_LT(TensorData<float>::bytesAllocated() - before, 4000U);
}

TEST(SelfAttentionInput, ProjectionOfFewerChannelsRaises) {
    SelfAttentionRecord record = ampleAttention();
    expectPass(attention(record), {1, 4, 3});
    record.projection = ones(8);
    expectRaise(attention(record), {1, 4, 3});
    expectPass(attention(record), {1, 4, 2});
    record.projection = {};
    expectRaise(attention(record), {1, 1, 1});
    record.projection = {{-1}, {}};
    expectRaise(attention(record), {1, 1, 1});
}

TEST(SelfAttentionInput, BiasShorterThanTheFrameRaisesEvenIfItIsEmpty) {
    SelfAttentionRecord record = ampleAttention();
    expectRaise(attention(record), {1, 5, 3});
    record.projectionBias = ones(11);
    expectRaise(attention(record), {1, 4, 3});
    record.projectionBias = {};
    expectRaise(attention(record), {1, 1, 1});
    expectPass(attention(record), {1, 0, 1});
    expectPass(attention(record), {0, 1, 1});
    record.projectionBias = {{-1}, {}};
    expectRaise(attention(record), {1, 1, 1});
}

TEST(SelfAttentionInput, WindowOfFewerChannelsRaises) {
    SelfAttentionRecord record = ampleAttention();
    record.attentionWeights = {{5}, std::vector<float>(5, 1.0F)};
    expectPass(attention(record), {1, 4, 1});
    expectRaise(attention(record), {1, 4, 2});
    record.attentionWeights = {{3, 2}, std::vector<float>(6, 1.0F)};
    expectRaise(attention(record), {1, 4, 3});
}

TEST(SelfAttentionInput, WindowWhoseProductWrapsRaisesBeforeTheRingIsSized) {
    SelfAttentionRecord record = ampleAttention();
    record.attentionWeights = {{65537, 65536}, std::vector<float>(65536, 1.0F)};
    NeuralModel<float> model = loadedModel(attention(record));
    const std::uint64_t before = TensorData<float>::bytesAllocated();
    EXPECT_THROW(evaluate(model, countingTensor({1, 12, 1})), std::runtime_error);
    EXPECT_THROW(evaluate(model, FloatTensor({0, 30'000, 1})), std::runtime_error);
    EXPECT_LT(TensorData<float>::bytesAllocated() - before, 4000U);
}

TEST(SelfAttentionInput, RingBeyond31BitsRaisesAndTheLayerStaysUsable) {
    SelfAttentionRecord record = ampleAttention();
    record.attentionWeights = ones(3);
    NeuralModel<float> model = loadedModel(attention(record));
    EXPECT_THROW(evaluate(model, FloatTensor({0, 1'000'000'000, 1})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {5}))), ElementsAre(6));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {7}))), ElementsAre(13));
}

TEST(SelfAttentionInput, LargerFrameThanTheFirstRaisesAndLeavesTheStreamAlone) {
    SelfAttentionRecord record = ampleAttention();
    NeuralModel<float> model = loadedModel(attention(record));
    evaluate(model, makeTensor({1, 2, 1}, {1, 2}));
    EXPECT_THROW(evaluate(model, countingTensor({1, 3, 1})), std::runtime_error);
    EXPECT_THROW(evaluate(model, countingTensor({1, 2, 2})), std::runtime_error);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 2, 1}, {10, 20}))), ElementsAre(12, 23));
    model.Reset();
    EXPECT_THROW(evaluate(model, countingTensor({1, 3, 1})), std::runtime_error);
}

TEST(SelfAttentionInput, FramesOfOtherChannelsStayInsideTheRing) {
    NeuralModel<float> model = loadedModel(attention(ampleAttention()));
    evaluate(model, countingTensor({1, 2, 2}));
    // The same number of values, in bins of one and of three channels.
    EXPECT_THAT(valuesOf(evaluate(model, countingTensor({1, 4, 1}))), SizeIs(4));
    EXPECT_THAT(valuesOf(evaluate(model, countingTensor({1, 1, 3}))), SizeIs(3));
}

TEST(MixingInput, RanksOneAndTwoRaise) {
    for (const ModelWriter& file : ampleLayers()) {
        expectRaise(file, {1});
        expectRaise(file, {1, 1});
        NeuralModel<float> model = loadedModel(file);
        EXPECT_THROW(evaluate(model, FloatTensor({0})), std::runtime_error);
        EXPECT_THROW(evaluate(model, FloatTensor({0, 0})), std::runtime_error);
    }
}

TEST(MixingInput, DimensionsBehindTheThirdMayNotTakeValuesAway) {
    for (const ModelWriter& file : ampleLayers()) {
        NeuralModel<float> model = loadedModel(file);
        evaluate(model, countingTensor({1, 2, 1}));
        EXPECT_THROW(evaluate(model, FloatTensor({1, 2, 1, 0})), std::runtime_error);
        EXPECT_THROW(evaluate(model, FloatTensor({1, 4, 3, 0})), std::runtime_error);
    }
}

TEST(MixingInput, ValuesThatDimensionsBehindTheThirdAddGiveZeros) {
    for (const ModelWriter& file : ampleLayers()) {
        std::vector<std::string> log;
        RecordingLayer after("after", log);
        NeuralModel<float> model = loadedModel(file);
        layerNamed(model, "layer")->consumers = {&after};
        model.input->AddTensor(countingTensor({1, 4, 3}), nullptr);
        model.input->AddTensor(countingTensor({1, 2, 1, 3}), nullptr);
        ASSERT_FALSE(after.values.empty());
        const std::vector<float>& values = after.values.back();
        ASSERT_GE(values.size(), 2U);
        EXPECT_THAT(std::vector<float>(values.begin(), values.begin() + 2),
                    Each(testing::Gt(0.0F)));
        EXPECT_THAT(std::vector<float>(values.begin() + 2, values.end()), Each(0.0F));
    }
}

TEST(MixingInput, EmptyTensorsOfEveryShapePass) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    for (const ModelWriter& file : ampleLayers()) {
        NeuralModel<float> model = loadedModel(file);
        for (const Shape& shape : {Shape{}, Shape{0, 4, 3}, Shape{1, 0, 3}, Shape{1, 4, 0},
                                   Shape{1, most, 0}, Shape{0, 0, 0}, Shape{0, 0, 0, 5}}) {
            EXPECT_NO_THROW(evaluate(model, FloatTensor(shape))) << testing::PrintToString(shape);
        }
        EXPECT_NO_THROW(evaluate(model, countingTensor({1, 4, 3})));
    }
}

TEST(MixingInput, HugeShapesWithoutValuesDoNotRunLong) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    for (const ModelWriter& file : {dense(ones(48)), norm(ones(3), ones(3))}) {
        expectPass(file, {most, most, 0});
        expectPass(file, {most, 0, most});
        expectPass(file, {0, most, most});
    }
}

TEST(MixingInput, LargeTensorRunsThroughEveryLayerThatFits) {
    const Shape shape{1, 4096, 64};
    expectPass(norm(ones(64), ones(64)), shape);
    expectPass(preNorm(ones(100)), shape);
    expectRaise(dense(ones(48), ones(12)), shape);
    expectRaise(attention(ampleAttention()), shape);
}

}  // namespace
}  // namespace vorun
