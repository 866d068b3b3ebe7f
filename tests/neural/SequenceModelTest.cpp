#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "support/SequenceLayers.h"
#include "support/SequenceModel.h"
#include "support/SequenceSchedule.h"

// The plain computation that the engine is compared with, against numbers found by hand.

namespace vorun::sequence {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::LayerType;
using writer::TensorBlock;
using writer::TransposedConvRecord;

/** A stream whose frames have one element for each of the bins. */
Frames streamOf(std::int32_t height, const std::vector<double>& values) {
    Frames stream(static_cast<std::int32_t>(values.size()) / height, height, 1);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto at = static_cast<std::int32_t>(i);
        stream.flat(at / height, at % height).value = values[i];
    }
    return stream;
}

std::vector<double> valuesOf(const Frames& frames) {
    std::vector<double> values;
    for (const Estimate& x : frames.values()) {
        values.push_back(x.value);
    }
    return values;
}

TensorBlock line(const std::vector<float>& values) {
    return {{static_cast<std::int32_t>(values.size())}, values};
}

ConvRecord convOf(std::int32_t kernelFrames, std::int32_t kernelHeight,
                  const std::vector<float>& weights) {
    ConvRecord record;
    record.weights = {{kernelFrames, kernelHeight, 1, 1}, weights};
    return record;
}

TransposedConvRecord doubling(const std::vector<float>& weights) {
    TransposedConvRecord record;
    record.weights = {{static_cast<std::int32_t>(weights.size()), 1, 1, 1}, weights};
    record.timeStride = 2;
    return record;
}

TEST(PlainConvolution, LaterTapsMeetLaterFrames) {
    ConvRecord record = convOf(3, 1, {1, 10, 100});
    record.timeDilation = 2;
    EXPECT_THAT(valuesOf(convolution(record, streamOf(1, {1, 2, 3, 4, 5}))),
                ElementsAre(100, 200, 310, 420, 531));
}

TEST(PlainConvolution, LookaheadSetsTheFirstFrameAndThePhase) {
    ConvRecord record = convOf(1, 1, {1});
    record.timeStride = 2;
    record.lookahead = 3;
    EXPECT_THAT(valuesOf(convolution(record, streamOf(1, {0, 1, 2, 3, 4, 5, 6}))),
                ElementsAre(3, 5));
}

TEST(PlainConvolution, BinsAreCentredAndZeroOutside) {
    EXPECT_THAT(valuesOf(convolution(convOf(1, 3, {1, 10, 100}), streamOf(3, {1, 2, 3}))),
                ElementsAre(210, 321, 32));
}

TEST(PlainConvolution, DepthwiseWeighsEachChannelAlone) {
    ConvRecord record;
    record.weights = {{1, 1, 1, 4}, {1, 10, 100, 1000}};
    Frames stream(1, 1, 2);
    stream.at(0, 0, 0).value = 2;
    stream.at(0, 0, 1).value = 3;
    EXPECT_THAT(valuesOf(convolution(record, stream)), ElementsAre(2, 20, 300, 3000));
}

TEST(PlainTransposedConvolution, FramesOverlapAndLookaheadDropsTheFirst) {
    TransposedConvRecord record = doubling({1, 10, 100});
    const Frames stream = streamOf(1, {1, 2});
    EXPECT_THAT(valuesOf(transposedConvolution(record, 1, stream)), ElementsAre(1, 10, 102, 20));
    record.lookahead = 1;
    record.bias = line({0.5F});
    EXPECT_THAT(valuesOf(transposedConvolution(record, 1, stream)), ElementsAre(10.5, 102.5, 20.5));
}

TEST(PlainTransposedConvolution, BinsWidenByTheHeightStride) {
    TransposedConvRecord record = doubling({});
    record.weights = {{1, 4, 1, 1}, {1, 10, 100, 1000}};
    record.timeStride = 1;
    record.heightStride = 2;
    EXPECT_THAT(valuesOf(transposedConvolution(record, 1, streamOf(2, {1, 2}))),
                ElementsAre(10, 102, 1020, 200));
}

TEST(PlainSeparableConvolution, LastTimeTapMeetsTheCurrentFrame) {
    EXPECT_THAT(
        valuesOf(separableConvolution({line({1, 10, 100}), line({1})}, streamOf(1, {1, 2, 3, 4}))),
        ElementsAre(201, 312, 423));
}

TEST(PlainSeparableConvolution, LaterHeightTapsMeetLowerBins) {
    EXPECT_THAT(
        valuesOf(separableConvolution({line({1}), line({1, 10, 100})}, streamOf(3, {1, 2, 3}))),
        ElementsAre(12, 123, 230));
}

TEST(PlainAttention, WindowThenMatrixThenBias) {
    writer::SelfAttentionRecord record;
    record.projection = {{1, 1}, {2}};
    record.projectionBias = line({5});
    record.attentionWeights = {{2, 1}, {1, 10}};
    EXPECT_THAT(valuesOf(attention(record, streamOf(1, {1, 2}))), ElementsAre(25, 47));
    record.lookahead = 1;
    EXPECT_THAT(valuesOf(attention(record, streamOf(1, {1, 2}))), ElementsAre(47));
}

TEST(PlainAttention, ProjectionRowsAreInputChannels) {
    writer::SelfAttentionRecord record;
    record.projection = {{2, 2}, {1, 10, 100, 1000}};
    record.projectionBias = line({0, 0});
    Frames stream(1, 1, 2);
    stream.at(0, 0, 0).value = 2;
    stream.at(0, 0, 1).value = 3;
    EXPECT_THAT(valuesOf(attention(record, stream)), ElementsAre(302, 3020));
}

TEST(PlainPreNorm, FirstWeightIsTheCurrentLevelTheNextTheOldest) {
    EXPECT_THAT(valuesOf(preNorm(line({1, 10, 100}), streamOf(1, {1, 2, 3, 4}))),
                ElementsAre(DoubleNear(1.0 / 111.0, 1e-12), DoubleNear(2.0 / 112.0, 1e-12),
                            DoubleNear(3.0 / 213.0, 1e-12), DoubleNear(4.0 / 324.0, 1e-12)));
}

TEST(PlainDense, EachOutputBinSumsAllInputBins) {
    const TwoTensors tensors = {{{2, 2, 1}, {1, 10, 100, 1000}}, line({0.5F, 0.25F})};
    EXPECT_THAT(valuesOf(dense(tensors, streamOf(2, {2, 3}))), ElementsAre(32.5, 3200.25));
}

TEST(PlainArithmetic, LaterInputsStandOnTop) {
    const Frames a = streamOf(1, {2});
    const Frames b = streamOf(1, {3});
    const Frames c = streamOf(1, {12});
    EXPECT_THAT(valuesOf(arithmetic(0, {&a, &b, &c})), ElementsAre(72));
    EXPECT_THAT(valuesOf(arithmetic(1, {&a, &b, &c})), ElementsAre(8));
    EXPECT_THAT(valuesOf(arithmetic(2, {&a, &b, &c})), ElementsAre(17));
    EXPECT_THAT(valuesOf(arithmetic(3, {&a, &b, &c})), ElementsAre(11));
    EXPECT_THAT(valuesOf(arithmetic(7, {&a, &b, &c})), ElementsAre(2));
}

TEST(PlainActivations, AtHandComputedPoints) {
    const auto at = [](LayerType type, double x) {
        return activation(type, 0.5F, streamOf(1, {x})).flat(0, 0).value;
    };
    EXPECT_EQ(at(LayerType::relu, -2.0), 0.0);
    EXPECT_EQ(at(LayerType::leakyRelu, -2.0), -1.0);
    EXPECT_NEAR(at(LayerType::elu, -std::log(2.0)), -0.5, 1e-12);
    EXPECT_NEAR(at(LayerType::sigmoid, std::log(3.0)), 0.75, 1e-12);
    EXPECT_EQ(at(LayerType::sigmoid, 11.0), at(LayerType::sigmoid, 10.0));
    EXPECT_NEAR(at(LayerType::hardSigmoid, 1.5), 0.75, 1e-7);
    EXPECT_NEAR(at(LayerType::softplus, std::log(3.0)), std::log(4.0), 1e-12);
}

TEST(PlainModel, JoinMeetsTheFramesInTheOrderOfTheirArrival) {
    Model model;
    ConvRecord late = convOf(1, 1, {1});
    late.lookahead = 2;
    model.nodes = {{"late", LayerType::conv, {"input"}, late},
                   {"join", LayerType::concat, {"input", "late"}, {}}};
    model.outputSource = "join";
    EXPECT_THAT(valuesOf(evaluateModel(model, streamOf(1, {1, 2, 3, 4}))), ElementsAre(1, 3, 2, 4));
    EXPECT_EQ(framesAfter(model, 4), 2);
    EXPECT_EQ(Schedule(model).latency(), 2);
}

/** A decimation by two, with or without the interpolation that undoes it. */
Model decimation(bool undone) {
    Model model;
    ConvRecord half = convOf(1, 1, {1});
    half.timeStride = 2;
    model.nodes = {{"half", LayerType::conv, {"input"}, half}};
    model.outputSource = "half";
    if (undone) {
        model.nodes.push_back({"double", LayerType::transposedConv, {"half"}, doubling({1})});
        model.outputSource = "double";
    }
    return model;
}

TEST(PlainSchedule, TickOfASkippedFrameReleasesThePendingOne) {
    Schedule plain(decimation(false));
    Schedule undone(decimation(true));
    for (std::int32_t t = 0; t < 6; ++t) {
        EXPECT_EQ(plain.feed(1), t % 2 == 0 ? 1 : 0);
        EXPECT_EQ(undone.feed(1), 1);
        EXPECT_EQ(undone.waiting(), t % 2 == 0 ? 1 : 0);
    }
}

TEST(PlainSchedule, WithoutTicksFramesPileUp) {
    Model model;
    model.nodes = {{"double", LayerType::transposedConv, {"input"}, doubling({1})}};
    model.outputSource = "double";
    Schedule schedule(model);
    EXPECT_EQ(schedule.feed(3), 3);
    EXPECT_EQ(schedule.waiting(), 3);
    schedule.reset();
    EXPECT_EQ(schedule.feed(1), 1);
    EXPECT_EQ(schedule.waiting(), 1);
}

TEST(PlainSchedule, LatencyScalesExceptForAttention) {
    Model model = decimation(false);
    ConvRecord conv = convOf(1, 1, {1});
    conv.lookahead = 3;
    writer::SelfAttentionRecord attention;
    attention.lookahead = 5;
    model.nodes.push_back({"conv", LayerType::conv, {"half"}, conv});
    model.nodes.push_back({"attention", LayerType::selfAttention, {"conv"}, attention});
    EXPECT_EQ(Schedule(model).latency(), 2 * 3 + 5);
    model.header.version = 4102;
    EXPECT_EQ(Schedule(model).latency(), 2 * 3);
}

TEST(PlainErrorBound, HoldsForASumInSinglePrecisionAndIsNotIdle) {
    Sum sum;
    float single = 0.0F;
    for (std::int32_t i = 1; i <= 1000; ++i) {
        const float weight = 1.0F / static_cast<float>(i);
        sum.add(static_cast<double>(weight), {static_cast<double>(0.1F), 0.0});
        single += weight * 0.1F;
    }
    const Estimate exact = sum.result();
    const double off = std::fabs(static_cast<double>(single) - exact.value);
    EXPECT_LE(off, exact.error);
    EXPECT_GT(off, 0.0);
    EXPECT_LE(exact.error, 1001.0 * 6e-8 * exact.value);
}

}  // namespace
}  // namespace vorun::sequence
