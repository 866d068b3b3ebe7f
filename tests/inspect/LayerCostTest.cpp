#include <gtest/gtest.h>

#include "inspect/InspectTools.h"
#include "inspect/LayerKinds.h"

/** Shapes, costs and memory of each layer type, computed by hand. */
namespace vorun::test {
namespace {

using inspect::Flow;
using inspect::Rate;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;
using writer::SelfAttentionRecord;
using writer::TransposedConvRecord;

void expectShape(const Flow& flow, std::int64_t height, std::int64_t channels, const Rate& rate) {
    EXPECT_EQ(flow.output.height, height);
    EXPECT_EQ(flow.output.channels, channels);
    EXPECT_EQ(flow.output.rate, rate) << textOf(flow.output.rate);
}

void expectFigures(const Flow& flow, double multiplyAdds, std::int64_t history,
                   std::int64_t outputs) {
    EXPECT_EQ(flow.multiplyAdds, multiplyAdds);
    EXPECT_EQ(flow.historyValues, history);
    EXPECT_EQ(flow.outputValues, outputs);
    EXPECT_TRUE(flow.faults.empty()) << flow.faults.front();
}

Flow convFlow(const ConvRecord& record, std::int16_t rows, std::int8_t channels) {
    return flowOf(ModelWriter(headerOf(rows, channels)).addConv("c", "input", record));
}

TEST(LayerCost, ConvolutionMixesChannelsOverItsKernel) {
    const Flow flow = convFlow(convOf({2, 3, 2, 4}), 6, 2);
    expectShape(flow, 6, 4, {1, 1});
    // 16 taps inside the frame, 2 frames, 2 to 4 channels; a history of 2 frames of 6 x 2.
    expectFigures(flow, 16 * 2 * 2 * 4, 24, 24);
    EXPECT_EQ(flow.remark, "");
}

TEST(LayerCost, DilationLengthensTheHistoryAlone) {
    ConvRecord record = convOf({3, 1, 2, 4});
    record.timeDilation = 5;
    const Flow flow = convFlow(record, 6, 2);
    expectFigures(flow, 6 * 3 * 2 * 4, (2 * 5 + 1) * 12, 24);
}

TEST(LayerCost, ConvolutionOfManyBinsSumsItsLastChannelsByColumn) {
    ConvRecord record = convOf({3, 5, 2, 20});
    record.timeDilation = 2;
    record.heightStride = 2;
    const Flow flow = convFlow(record, 33, 2);
    // The 4 channels beside 16: their weights again, and sums of 5 frames of 16 bins.
    EXPECT_EQ(flow.arrangedValues, 3 * 5 * 2 * 4);
    EXPECT_EQ(flow.waitingSums, 5 * 4 * 16);
    // The output; and a frame as columns of 2 x 2 values of two bins, 17 in two registers.
    EXPECT_EQ(flow.outputValues, 16 * 20 + 2 * 2 * 2 * 16);
    EXPECT_EQ(flow.historyValues, 5 * 33 * 2);
}

TEST(LayerCost, FewBinsOrNearlyFullRegistersHaveNoColumns) {
    const Flow low = convFlow(convOf({1, 5, 2, 4}), 15, 2);
    EXPECT_EQ(low.waitingSums, 0);
    EXPECT_EQ(low.outputValues, 15 * 4);
    const Flow full = convFlow(convOf({1, 90, 2, 13}), 16, 2);
    EXPECT_EQ(full.arrangedValues, 0);
    EXPECT_EQ(full.waitingSums, 0);
    EXPECT_EQ(full.outputValues, 16 * 13);
}

TEST(LayerCost, ColumnsTakeMoreChannelsTheLongerTheRuns) {
    // 12 channels for an endless run, 11 from 22 products on, 9 from 9, 8 for any.
    struct Case {
        std::int32_t run;
        std::int32_t channels;
        bool hasColumns;
    };
    for (const Case& expected :
         {Case{2, 1, true}, Case{2, 8, true}, Case{2, 9, false}, Case{8, 9, false},
          Case{10, 9, true}, Case{20, 11, false}, Case{22, 11, true}, Case{46, 12, false},
          Case{48, 12, true}, Case{500, 13, false}, Case{500, 16, false}}) {
        const Flow flow = convFlow(convOf({1, expected.run / 2, 2, expected.channels}), 16, 2);
        EXPECT_EQ(flow.arrangedValues, expected.hasColumns ? expected.run * expected.channels : 0);
        EXPECT_EQ(flow.waitingSums, expected.hasColumns ? 16 * expected.channels : 0);
    }
}

TEST(LayerCost, RowsOfOneInputChannelNeedNoColumns) {
    for (const std::int32_t channels : {2, 7, 12, 13, 16, 20}) {
        const Flow flow = convFlow(convOf({3, 2, 1, channels}), 16, 1);
        EXPECT_EQ(flow.arrangedValues, 0);
        EXPECT_EQ(flow.waitingSums, 0);
        // Up to 12 channels beside whole registers are summed before they go between the others.
        const std::int32_t summed = channels % 16 <= 12 ? channels % 16 : 0;
        EXPECT_EQ(flow.outputValues, 16 * (channels + summed)) << channels;
    }
    EXPECT_EQ(convFlow(convOf({3, 2, 1, 7}), 15, 1).outputValues, 15 * 7);
}

TEST(LayerCost, OneChannelOfOneWaitsInSums) {
    for (const std::int32_t channels : {1, 17}) {
        const Flow flow = convFlow(convOf({3, 2, 1, channels}), 16, 1);
        EXPECT_EQ(flow.arrangedValues, 3 * 2);
        EXPECT_EQ(flow.waitingSums, 3 * 16);
        EXPECT_EQ(flow.outputValues, 16 * channels + 16);
    }
}

TEST(LayerCost, SumsThatNoTensorCanHoldAreLeftOut) {
    ConvRecord record = convOf({127, 6, 2, 9});
    record.timeDilation = 127;
    const Flow flow = convFlow(record, 16383, 2);
    // 16003 x 16383 x 2 values fit into a history, but not 4.5 times as many.
    EXPECT_EQ(flow.historyValues, std::int64_t{16003} * 16383 * 2);
    EXPECT_EQ(flow.waitingSums, 0);
    EXPECT_EQ(flow.outputValues, 9 * 16383);
}

TEST(LayerCost, ATimeStrideOrNoDilationLeavesNoColumns) {
    ConvRecord record = convOf({2, 5, 2, 4});
    record.timeStride = 2;
    EXPECT_EQ(convFlow(record, 16, 2).arrangedValues, 0);
    EXPECT_EQ(convFlow(record, 16, 2).waitingSums, 0);
    record.timeStride = 1;
    record.timeDilation = 0;
    EXPECT_EQ(convFlow(record, 16, 2).arrangedValues, 0);
    EXPECT_EQ(convFlow(record, 16, 2).waitingSums, 0);
}

TEST(LayerCost, StridesOfAConvolutionSaveFramesAndBins) {
    ConvRecord record = convOf({1, 4, 2, 3});
    record.timeStride = 2;
    record.heightStride = 2;
    const Flow flow = convFlow(record, 6, 2);
    expectShape(flow, 3, 3, {1, 2});
    // 10 taps inside, 2 to 3 channels, every other frame.
    expectFigures(flow, 30, 12, 9);
}

TEST(LayerCost, BinsThatAHeightStrideDropsAreNotInTheOutput) {
    ConvRecord record = convOf({1, 1, 1, 1});
    record.heightStride = 2;
    const Flow flow = convFlow(record, 5, 1);
    expectShape(flow, 2, 1, {1, 1});
    expectFigures(flow, 2, 5, 2);
}

TEST(LayerCost, DepthwiseConvolutionKeepsChannelsApart) {
    const Flow flow = convFlow(convOf({3, 1, 1, 4}), 6, 2);
    expectShape(flow, 6, 4, {1, 1});
    // The history holds the frames already spread over the 4 channels.
    expectFigures(flow, 6 * 3 * 4, 3 * 6 * 4, 24);
    EXPECT_EQ(flow.remark, "depthwise");
}

TEST(LayerCost, OneInputChannelIsNoDepthwiseConvolution) {
    const Flow flow = convFlow(convOf({1, 1, 1, 4}), 6, 1);
    expectFigures(flow, 24, 6, 24);
    EXPECT_EQ(flow.remark, "");
}

TEST(LayerCost, TransposedConvolutionGivesMoreFramesAndBins) {
    TransposedConvRecord record = transposedOf({3, 4, 5, 2}, 5);
    record.timeStride = 2;
    record.heightStride = 2;
    const Flow flow = flowOf(ModelWriter(headerOf(3, 2)).addTransposedConv("t", "input", record));
    expectShape(flow, 6, 5, {2, 1});
    // 10 taps inside. A ring of 3 frames and one that waits, and the 2 inputs that reach an output;
    // the output, and a place for one input.
    expectFigures(flow, 10 * 3 * 5 * 2, (3 + 1) * 30 + 2 * 6, 30 + 6);
    // The kernel a second time, arranged for the output bins.
    EXPECT_EQ(flow.arrangedValues, 3 * 4 * 5 * 2);
}

TEST(LayerCost, TransposedConvolutionOfManyBinsTurnsItsFrameRound) {
    TransposedConvRecord record = transposedOf({3, 4, 2, 17}, 2);
    record.heightStride = 2;
    const Flow flow = flowOf(ModelWriter(headerOf(16, 17)).addTransposedConv("t", "input", record));
    // The output, the input as columns, and 3 rows as planes.
    EXPECT_EQ(flow.outputValues, 32 * 2 + 17 * 16 + 3 * 32 * 2);
    EXPECT_EQ(flow.historyValues, 3 * 32 * 2);
    EXPECT_EQ(flow.arrangedValues, 3 * 4 * 2 * 17);
    EXPECT_EQ(flow.waitingSums, 0);
}

TEST(LayerCost, ARowOfOneValueABinOrOfOtherChannelsHasNoPlanes) {
    const auto outputOf = [](std::int16_t channels) {
        const TransposedConvRecord record = transposedOf({3, 4, channels, 20}, channels);
        return flowOf(ModelWriter(headerOf(16, 20)).addTransposedConv("t", "input", record))
            .outputValues;
    };
    EXPECT_EQ(outputOf(1), 16 * 1 + 20 * 16);
    EXPECT_EQ(outputOf(17), 16 * 17 + 20 * 16);
}

TEST(LayerCost, TransposedConvolutionOfFewChannelsRemembersItsInput) {
    struct Case {
        std::int16_t height;
        std::int8_t in;
        std::int32_t out;
        /** Copies of each input frame, and channels of the output that are summed by column. */
        int copies;
        int byColumn;
    };
    for (const Case& expected :
         {Case{16, 1, 1, 1, 1}, Case{16, 1, 18, 1, 2}, Case{16, 3, 2, 1, 2}, Case{16, 3, 18, 2, 2},
          Case{16, 3, 16, 1, 0}, Case{16, 16, 12, 1, 12}, Case{15, 3, 2, 1, 0}}) {
        TransposedConvRecord record = transposedOf({5, 3, expected.out, expected.in},
                                                   static_cast<std::int16_t>(expected.out));
        record.heightStride = 2;
        record.timeStride = 2;
        const Flow flow = flowOf(ModelWriter(headerOf(expected.height, expected.in))
                                     .addTransposedConv("t", "input", record));
        const std::int64_t row = std::int64_t{2} * expected.height * expected.out;
        // A ring of 5 and one that waits; three input frames reach an output.
        EXPECT_EQ(flow.historyValues,
                  6 * row + 3 * expected.copies * expected.height * expected.in);
        EXPECT_EQ(flow.outputValues,
                  row + 2 * expected.height * expected.byColumn + expected.height * expected.in);
    }
}

TEST(LayerCost, TransposedConvolutionThatLeavesChannelsOutRemembersNothing) {
    const TransposedConvRecord record = transposedOf({3, 4, 2, 4}, 3);
    const Flow flow = flowOf(ModelWriter(headerOf(8, 4)).addTransposedConv("t", "input", record));
    EXPECT_EQ(flow.historyValues, 3 * 8 * 3);
    EXPECT_EQ(flow.outputValues, 8 * 3);
}

TEST(LayerCost, TransposedConvolutionOfLongStridesHasALongRing) {
    TransposedConvRecord record = transposedOf({1, 1, 1, 1}, 1);
    record.timeStride = 4;
    const Flow flow = flowOf(ModelWriter(headerOf(3, 1)).addTransposedConv("t", "input", record));
    expectShape(flow, 3, 1, {4, 1});
    expectFigures(flow, 3, (4 + 3) * 3, 3);
}

TEST(LayerCost, DepthwiseTransposedConvolutionKeepsChannelsApart) {
    const Flow flow = flowOf(
        ModelWriter(headerOf(3, 2)).addTransposedConv("t", "input", transposedOf({2, 1, 1, 2}, 2)));
    expectShape(flow, 3, 2, {1, 1});
    // Both the ring and the frames that reach an output.
    expectFigures(flow, 3 * 2 * 2, 2 * 6 + 2 * 6, 6 + 6);
    EXPECT_EQ(flow.remark, "depthwise");
}

TEST(LayerCost, AHeightStrideOfZeroLeavesNoBins) {
    TransposedConvRecord record = transposedOf({2, 3, 4, 2}, 4);
    record.heightStride = 0;
    const Flow flow = flowOf(ModelWriter(headerOf(3, 2)).addTransposedConv("t", "input", record));
    expectShape(flow, 0, 4, {1, 1});
    expectFigures(flow, 0, 0, 0);
}

TEST(LayerCost, DenseMixesAllBins) {
    const Flow flow = flowOf(
        ModelWriter(headerOf(4, 2))
            .addTwoTensors("d", "input", LayerType::dense, blockOf({4, 4, 2}), blockOf({4, 2})));
    expectShape(flow, 4, 2, {1, 1});
    // The output, and one channel of the frame and of its sums.
    expectFigures(flow, 4 * 4 * 2, 0, 8 + 2 * 4);
    EXPECT_EQ(flow.arrangedValues, 4 * 4 * 2);
}

TEST(LayerCost, DenseOfManyChannelsTakesItsWeightsAsTheyAre) {
    const Flow flow =
        flowOf(ModelWriter(headerOf(4, 8))
                   .addTwoTensors("d", "input", LayerType::dense, blockOf({4, 4, 8}), blockOf({})));
    expectFigures(flow, 4 * 4 * 8, 0, 4 * 8);
    EXPECT_EQ(flow.arrangedValues, 0);
}

TEST(LayerCost, NormIsOneStepForEachValue) {
    const Flow flow =
        flowOf(ModelWriter(headerOf(4, 2))
                   .addTwoTensors("n", "input", LayerType::norm, blockOf({2}), blockOf({2})));
    expectFigures(flow, 8, 0, 8);
}

TEST(LayerCost, PreNormMeasuresAndScalesEachFrame) {
    const Flow flow = flowOf(ModelWriter(headerOf(4, 2)).addPreNorm("p", "input", blockOf({5})));
    expectFigures(flow, 8 + 8 + 5, 5, 8);
}

TEST(LayerCost, SeparableConvolutionFiltersTimeThenHeight) {
    const Flow flow = flowOf(ModelWriter(headerOf(4, 2))
                                 .addTwoTensors("s", "input", LayerType::separableChannelConv,
                                                blockOf({3}), blockOf({5})));
    expectShape(flow, 4, 2, {1, 1});
    // Height taps at distances -2 to 2 meet 2, 3, 4, 3 and 2 of the 4 bins.
    expectFigures(flow, 3 * 8 + 14 * 2, 3 * 8, 16);
}

TEST(LayerCost, HeightTapsBeyondTheFrameCostNothing) {
    const Flow flow = flowOf(ModelWriter(headerOf(2, 1))
                                 .addTwoTensors("s", "input", LayerType::separableChannelConv,
                                                blockOf({1}), blockOf({11})));
    expectFigures(flow, 2 + 4, 2, 4);
}

TEST(LayerCost, AttentionIsAWindowAndAMatrix) {
    SelfAttentionRecord record;
    record.projection = blockOf({2, 2});
    record.projectionBias = blockOf({4, 2});
    ModelWriter plain(headerOf(4, 2));
    expectFigures(flowOf(plain.addSelfAttention("a", "input", record)), 8 * 2, 0, 8);
    record.attentionWeights = blockOf({3, 2});
    record.lookahead = 2;
    ModelWriter windowed(headerOf(4, 2));
    expectFigures(flowOf(windowed.addSelfAttention("a", "input", record)), 8 * (3 + 2), 24, 16);
}

TEST(LayerCost, ActivationsKeepTheShape) {
    struct Case {
        LayerType type;
        double multiplyAdds;
        std::int64_t outputs;
    };
    for (const Case& expected :
         {Case{LayerType::relu, 0, 8}, Case{LayerType::elu, 0, 8}, Case{LayerType::sigmoid, 0, 8},
          Case{LayerType::softplus, 0, 8}, Case{LayerType::hardSigmoid, 8, 8}}) {
        const Flow flow =
            flowOf(ModelWriter(headerOf(4, 2)).addActivation("a", "input", expected.type));
        expectShape(flow, 4, 2, {1, 1});
        expectFigures(flow, expected.multiplyAdds, 0, expected.outputs);
    }
    expectFigures(flowOf(ModelWriter(headerOf(4, 2)).addLeakyRelu("l", "input", 0.5F)), 8, 0, 8);
}

TEST(LayerCost, ConcatAddsChannelsAndKeepsOneFrameOfEach) {
    ModelWriter model(headerOf(4, 2));
    model.addConv("c", "input", convOf({1, 1, 2, 3})).addConcat("j", {"input", "c"});
    const Flow flow = *followed(model).layers[1].flow;
    expectShape(flow, 4, 5, {1, 1});
    expectFigures(flow, 0, 8 + 12, 20);
}

TEST(LayerCost, ArithmeticStepsOverEachFurtherInput) {
    const auto flowWith = [](int operation) {
        ModelWriter model(headerOf(4, 2));
        model.addActivation("a", "input", LayerType::relu)
            .addActivation("b", "input", LayerType::relu)
            .addArithmetic("j", {"a", "b", "input"}, static_cast<std::int8_t>(operation));
        return *followed(model).layers[2].flow;
    };
    for (const int operation : {0, 1, 2, 3}) {
        expectShape(flowWith(operation), 4, 2, {1, 1});
        expectFigures(flowWith(operation), 16, 24, 8);
    }
    for (const int operation : {-1, 4, 7}) {
        expectFigures(flowWith(operation), 0, 24, 8);
    }
}

TEST(LayerKinds, NumbersWithoutALayerHaveNoEntry) {
    for (const std::int32_t type : {-1, 0, 1, 8, 10, 11, 13, 21, 32767}) {
        EXPECT_EQ(inspect::kindOf(type), nullptr) << type;
    }
}

TEST(LayerKinds, WordsTellTheParametersOfEachType) {
    const inspect::FileContents contents = decoded(everyLayer().bytes());
    std::vector<std::string> words;
    for (const inspect::LayerRecord& record : contents.layers) {
        words.push_back(inspect::kindOf(record.type)->describe(record));
    }
    const std::vector<std::string> expected = {
        "level over 2 frames",
        "kernel 2 frames x 3 bins, 2 to 3 channels, stride 2 x 1, look-ahead 1, bias",
        "",
        "kernel 2 frames x 3 bins, 3 to 2 channels, stride 2 x 1, no bias",
        "scale and offset of 2 channels",
        "4 to 4 bins, bias",
        "3 taps over time, 3 over height",
        "2 channels, window of 3 frames",
        "",
        "slope 0.25",
        "",
        "kernel 1 frame x 1 bin, 4 to 2 channels, no bias",
        "",
        "",
        "",
        "product (operation 0)"};
    EXPECT_EQ(words, expected);
}

}  // namespace
}  // namespace vorun::test
