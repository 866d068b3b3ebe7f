#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inspect/GraphFlow.h"
#include "inspect/InspectTools.h"

namespace vorun::test {
namespace {

using inspect::GraphFlow;
using inspect::Rate;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelWriter;
using writer::TransposedConvRecord;

ConvRecord everyOther() {
    ConvRecord record = convOf({1, 1, 2, 2});
    record.timeStride = 2;
    return record;
}

TEST(GraphFlow, ThePassThroughModelGivesWhatItGets) {
    const GraphFlow graph = followed(ModelWriter(headerOf(4, 2)));
    ASSERT_TRUE(graph.output.has_value());
    EXPECT_EQ(graph.output->height, 4);
    EXPECT_EQ(graph.output->channels, 2);
    EXPECT_EQ(graph.multiplyAdds, 0.0);
    EXPECT_TRUE(graph.isComplete);
    EXPECT_TRUE(graph.warnings.empty());
}

TEST(GraphFlow, ComplexBinsTakeFourRows) {
    writer::ModelHeader header = headerOf(0, 1);
    header.inputFormat = 2;
    header.complexInputBins = 3;
    header.magnitudeInputBins = 5;
    EXPECT_EQ(followed(ModelWriter(header)).output->height, 3 * 4 + 5);
}

TEST(GraphFlow, LayersBehindAStrideCostLess) {
    TransposedConvRecord back = transposedOf({1, 1, 2, 2}, 2);
    back.timeStride = 2;
    ModelWriter model(headerOf(4, 2));
    model.addConv("down", "input", everyOther())
        .addConv("inner", "down", everyOther())
        .addConv("same", "inner", convOf({1, 1, 2, 2}))
        .addTransposedConv("up", "same", back)
        .addTransposedConv("out", "up", back)
        .setOutputSource("out");
    const GraphFlow graph = followed(model);
    // A frame of 4 bins from 2 to 2 channels is 16 steps, in each of the layers.
    EXPECT_EQ(graph.layers[0].multiplyAdds, 8.0);
    EXPECT_EQ(graph.layers[1].multiplyAdds, 4.0);
    EXPECT_EQ(graph.layers[2].multiplyAdds, 4.0);
    EXPECT_EQ(graph.layers[3].multiplyAdds, 4.0);
    EXPECT_EQ(graph.layers[4].multiplyAdds, 8.0);
    EXPECT_EQ(graph.multiplyAdds, 28.0);
    EXPECT_EQ(graph.layers[2].flow->output.rate, (Rate{1, 4}));
    EXPECT_TRUE(graph.output->rate.isOne());
    EXPECT_TRUE(graph.warnings.empty());
}

TEST(GraphFlow, MemoryIsThatOfSinglePrecisionValues) {
    ConvRecord record = convOf({3, 1, 2, 13});
    record.weights.elementType = ElementType::half;
    record.bias = blockOf({13});
    ModelWriter model(headerOf(4, 2));
    model.addConv("c", "input", record)
        .addActivation("r", "c", LayerType::elu)
        .setOutputSource("r");
    const GraphFlow graph = followed(model);
    EXPECT_EQ(graph.weightBytes, 4.0 * (78 + 13));
    EXPECT_EQ(graph.historyBytes, 4.0 * 3 * 8);
    EXPECT_EQ(graph.outputBytes, 4.0 * (52 + 52));
}

TEST(GraphFlow, WithoutRowsNothingFollows) {
    ModelWriter model(headerOf(0, 2));
    model.addActivation("r", "input", LayerType::relu)
        .addConcat("j", {"r", "input"})
        .setOutputSource("j");
    const GraphFlow graph = followed(model);
    EXPECT_FALSE(graph.isComplete);
    EXPECT_FALSE(graph.output.has_value());
    EXPECT_FALSE(graph.layers[0].flow.has_value());
    EXPECT_FALSE(graph.layers[1].flow.has_value());
    EXPECT_TRUE(graph.layers[0].leadsToOutput);
}

TEST(GraphFlow, TheOutputIsReachedBackThroughJoins) {
    ModelWriter model(headerOf(4, 2));
    model.addActivation("a", "input", LayerType::relu)
        .addActivation("b", "a", LayerType::relu)
        .addActivation("dead", "b", LayerType::relu)
        .addArithmetic("j", {"a", "b"}, 2)
        .setOutputSource("j");
    const GraphFlow graph = followed(model);
    EXPECT_TRUE(graph.layers[0].leadsToOutput);
    EXPECT_TRUE(graph.layers[1].leadsToOutput);
    EXPECT_FALSE(graph.layers[2].leadsToOutput);
    EXPECT_TRUE(graph.layers[3].leadsToOutput);
}

TEST(GraphFlow, RatesAreReducedAndBounded) {
    EXPECT_EQ(textOf(Rate{1, 2}.times(2, 1)), "1");
    EXPECT_EQ(textOf(Rate{1, 2}.times(3, 1)), "3/2");
    EXPECT_EQ(textOf(Rate{1, 6}.times(1, 4)), "1/24");
    Rate rate;
    for (int i = 0; i < 1000; ++i) {
        rate = rate.times(1, 127);
    }
    EXPECT_GT(rate.value(), 0.0);
    EXPECT_LT(rate.value(), 1e-9);
}

TEST(GraphFlow, ProductsStopAtWhatATensorHolds) {
    EXPECT_EQ(inspect::product({}), 1);
    EXPECT_EQ(inspect::product({2147483647, 1}), 2147483647);
    EXPECT_EQ(inspect::product({65536, 32768}), 2147483648);
    EXPECT_EQ(inspect::product({65536, 65536, 65536, 65536, 0}), 0);
    EXPECT_EQ(inspect::product({4, -1}), 2147483648);
}

}  // namespace
}  // namespace vorun::test
