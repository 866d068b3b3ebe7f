#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "inspect/InspectTools.h"

/** What loads, but could not run. */
namespace vorun::test {
namespace {

using inspect::GraphFlow;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelWriter;
using writer::SelfAttentionRecord;

/** Warnings of a model of 4 rows and 2 channels; the last layer feeds the output. */
std::vector<std::string> warningsOf(const ModelWriter& model) {
    return followed(model).warnings;
}

ModelWriter model() {
    return ModelWriter(headerOf(4, 2));
}

TEST(LayerFault, AGraphThatRunsHasNone) {
    EXPECT_THAT(warningsOf(everyLayer()), IsEmpty());
}

TEST(LayerFault, ConvolutionOfOtherChannels) {
    EXPECT_THAT(
        warningsOf(model().addConv("c", "input", convOf({1, 1, 3, 2})).setOutputSource("c")),
        ElementsAre("\"c\" takes 3 channels, but gets 2"));
}

TEST(LayerFault, DepthwiseConvolutionToNoMultiple) {
    EXPECT_THAT(
        warningsOf(model().addConv("c", "input", convOf({1, 1, 1, 5})).setOutputSource("c")),
        ElementsAre("\"c\" makes 5 channels one by one, which is no multiple of the 2 that it "
                    "gets"));
}

TEST(LayerFault, TransposedConvolutionOfOtherChannels) {
    EXPECT_THAT(warningsOf(model()
                               .addTransposedConv("t", "input", transposedOf({1, 1, 2, 3}, 2))
                               .setOutputSource("t")),
                ElementsAre("\"t\" takes 3 channels, but gets 2"));
}

TEST(LayerFault, DenseOfOtherHeight) {
    EXPECT_THAT(warningsOf(model()
                               .addTwoTensors("d", "input", LayerType::dense, blockOf({3, 3, 2}),
                                              blockOf({3, 2}))
                               .setOutputSource("d")),
                ElementsAre("\"d\" has 18 values in its weights, but needs 4 x 4 for each of 2 "
                            "channels",
                            "\"d\" has 6 values in its bias, but needs 8"));
}

TEST(LayerFault, NormOfTooFewChannels) {
    EXPECT_THAT(
        warningsOf(model()
                       .addTwoTensors("n", "input", LayerType::norm, blockOf({2}), blockOf({1}))
                       .setOutputSource("n")),
        ElementsAre("\"n\" has 1 values in its scale, but needs 2"));
}

TEST(LayerFault, AttentionOfOtherSizes) {
    SelfAttentionRecord record;
    record.projection = blockOf({1, 2});
    record.projectionBias = blockOf({7});
    record.attentionWeights = blockOf({3, 1});
    EXPECT_THAT(warningsOf(model().addSelfAttention("a", "input", record).setOutputSource("a")),
                ElementsAre("\"a\" has 2 values in its projection, but needs 2 x 2",
                            "\"a\" has 7 values in its projection bias, but needs 8",
                            "\"a\" has 3 values in its attention weights, but needs 3 x 2"));
}

TEST(LayerFault, JoinsOfOtherShapes) {
    ConvRecord half = convOf({1, 1, 2, 2});
    half.heightStride = 2;
    EXPECT_THAT(warningsOf(model()
                               .addConv("h", "input", half)
                               .addConcat("j", {"input", "h"})
                               .setOutputSource("j")),
                ElementsAre("\"j\" joins 2 bins to the 4 of its first input"));
    EXPECT_THAT(warningsOf(model()
                               .addConv("h", "input", half)
                               .addArithmetic("j", {"input", "h"}, 2)
                               .setOutputSource("j")),
                ElementsAre("\"j\" meets 4 values on an input with the 8 of its first"));
}

TEST(LayerFault, AnInputThatNoStepReadsMayBeSmall) {
    ConvRecord half = convOf({1, 1, 2, 2});
    half.heightStride = 2;
    EXPECT_THAT(warningsOf(model()
                               .addConv("h", "input", half)
                               .addArithmetic("j", {"input", "h"}, 9)
                               .setOutputSource("j")),
                IsEmpty());
}

TEST(LayerFault, JoinsOfOtherRates) {
    ConvRecord slow = convOf({1, 1, 2, 2});
    slow.timeStride = 2;
    EXPECT_THAT(warningsOf(model()
                               .addConv("s", "input", slow)
                               .addArithmetic("j", {"input", "s"}, 2)
                               .setOutputSource("j")),
                ElementsAre("\"j\" gets 1/2 frames on one input for 1 on the first: the surplus "
                            "piles up",
                            "the output gives 1/2 frames for each that goes in"));
}

TEST(LayerFault, AJoinWithOneInputTwice) {
    EXPECT_THAT(warningsOf(model().addArithmetic("j", {"input", "input"}, 2).setOutputSource("j")),
                ElementsAre("\"j\" names an input twice, so that it never has a frame on each"));
}

TEST(LayerFault, AJoinWithoutInputs) {
    const GraphFlow graph = followed(model().addConcat("j", {}).setOutputSource("j"));
    EXPECT_THAT(graph.warnings, ElementsAre("\"j\" has no inputs and never gives a frame"));
    EXPECT_FALSE(graph.isComplete);
    EXPECT_FALSE(graph.output.has_value());
}

TEST(LayerFault, ValuesThatAreNoNumbersOrNotThere) {
    ConvRecord record = convOf({1, 1, 2, 2});
    record.weights.values = {1.0F, std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(), 0.0F};
    record.bias = blockOf({2}, ElementType::undefined);
    EXPECT_THAT(warningsOf(model().addConv("c", "input", record).setOutputSource("c")),
                ElementsAre("\"c\" has 2 values in its weights that no number can stand for "
                            "(infinite or not a number)",
                            "\"c\" has no stored values in its bias, whose element type is "
                            "unknown: they load as zeros"));
}

TEST(LayerFault, AnOutputThatTheHeaderDoesNotPromise) {
    ConvRecord record = convOf({1, 1, 2, 1});
    record.heightStride = 2;
    EXPECT_THAT(warningsOf(model().addConv("c", "input", record).setOutputSource("c")),
                ElementsAre("the output has 2 rows, but the header promises 4",
                            "the output has 1 channel, but the header promises 2"));
}

TEST(LayerFault, ALayerThatLeadsNowhere) {
    EXPECT_THAT(warningsOf(model().addActivation("a", "input", LayerType::relu)),
                ElementsAre("\"a\" does not lead to the output; it runs all the same"));
}

TEST(LayerFault, FramesLargerThanATensor) {
    ModelWriter file(headerOf(32767, 127));
    writer::TransposedConvRecord grow = transposedOf({1, 1, 127, 127}, 127);
    grow.heightStride = 127;
    file.addTransposedConv("a", "input", grow)
        .addTransposedConv("b", "a", grow)
        .setOutputSource("b");
    const GraphFlow graph = followed(file);
    EXPECT_THAT(graph.warnings, ElementsAre("\"b\" needs a tensor of more than 2^31 - 1 values"));
    EXPECT_FALSE(graph.isComplete);
    EXPECT_TRUE(graph.layers[0].flow.has_value());
    EXPECT_FALSE(graph.layers[1].flow.has_value());
}

}  // namespace
}  // namespace vorun::test
