#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/TransposedLayerTest.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatTensor;
using test::loads;
using test::Shape;
using test::TransposedLayerTest;
using test::transposedRecord;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ModelHeader;
using writer::ModelWriter;
using writer::TensorBlock;
using writer::TransposedConvRecord;

bool loadsRecord(const TransposedConvRecord& record, std::int32_t version = 4105) {
    ModelHeader header;
    header.version = version;
    ModelWriter file(header);
    return loads(file.addTransposedConv("up", "input", record).setOutputSource("up"));
}

bool loadsKernels(const TensorBlock& time, const TensorBlock& height) {
    ModelWriter file;
    file.addTwoTensors("smooth", "input", writer::LayerType::separableChannelConv, time, height);
    return loads(file.setOutputSource("smooth"));
}

TransposedConvRecord plainRecord() {
    return transposedRecord({1, 1, 1, 1}, {1});
}

TransposedConvRecord recordOf(const TensorBlock& weights, std::int16_t outChannels) {
    TransposedConvRecord record;
    record.weights = weights;
    record.outChannels = outChannels;
    return record;
}

TEST(TransposedConvRecord, TimeStrideBelowOneIsRefused) {
    for (const int stride : {0, -1, -128}) {
        TransposedConvRecord record = plainRecord();
        record.timeStride = static_cast<std::int8_t>(stride);
        EXPECT_FALSE(loadsRecord(record)) << stride;
    }
}

TEST(TransposedConvRecord, HeightStrideBelowZeroIsRefused) {
    for (const int stride : {0, -1, -128}) {
        TransposedConvRecord record = plainRecord();
        record.heightStride = static_cast<std::int8_t>(stride);
        EXPECT_EQ(loadsRecord(record), stride == 0) << stride;
    }
}

TEST(TransposedConvRecord, WeightsWithoutABlockForTheirDimensionsAreRefused) {
    for (const TensorBlock& weights :
         {TensorBlock{{1}, {1}}, TensorBlock{{1, 1}, {1}}, TensorBlock{{1, 1, 1}, {1}},
          TensorBlock{{-1, -1, 1, 1}, {1}}, TensorBlock{{1, 0, 1, -1}, {}},
          TensorBlock{{65536, 65536, 1, 1}, {}}, TensorBlock{{1, 1, 641, 6700417}, {1}},
          TensorBlock{{1, 1, 1, 1, 0}, {}}}) {
        EXPECT_FALSE(loadsRecord(recordOf(weights, 1))) << testing::PrintToString(weights.shape);
    }
    EXPECT_TRUE(loadsRecord(recordOf({{1, 1, 1, 1, 2}, {1, 2}}, 1)));
}

TEST(TransposedConvRecord, BiasShorterThanTheChannelsIsRefused) {
    TransposedConvRecord record = recordOf({{1, 1, 2, 1}, {1, 2}}, 3);
    record.bias = {{2}, {1, 2}};
    EXPECT_FALSE(loadsRecord(record));
    record.bias = {{-3}, {}};
    EXPECT_FALSE(loadsRecord(record));
    record.bias = {{3}, {1, 2, 3}};
    EXPECT_TRUE(loadsRecord(record));
    record.bias = {{0}, {}};
    EXPECT_TRUE(loadsRecord(record));
}

TEST(TransposedConvRecord, KernelsThatWriteBeyondTheirBinAreRefused) {
    EXPECT_FALSE(loadsRecord(recordOf({{1, 1, 3, 1}, {1, 2, 3}}, 2)));
    EXPECT_TRUE(loadsRecord(recordOf({{1, 1, 3, 1}, {1, 2, 3}}, 3)));
    EXPECT_FALSE(loadsRecord(recordOf({{1, 1, 1, 3}, {1, 2, 3}}, 2)));
    EXPECT_TRUE(loadsRecord(recordOf({{1, 1, 1, 3}, {1, 2, 3}}, 3)));
    EXPECT_FALSE(loadsRecord(recordOf({{1, 1, 1, 1}, {1}}, 0)));
    EXPECT_TRUE(loadsRecord(recordOf({{1, 1, 1, 3}, {1, 2, 3}}, 1)));
    EXPECT_FALSE(loadsRecord(recordOf({{1, 1, 2, 0}, {}}, -1)));
    EXPECT_FALSE(loadsRecord(recordOf({}, -1)));
}

TEST(TransposedConvRecord, SizesWithoutValuesMayNotOutgrowTheirFile) {
    EXPECT_FALSE(loadsRecord(recordOf({{1'000'000, 0, 1, 1}, {}}, 1)));
    EXPECT_FALSE(loadsRecord(recordOf({{2'000'000'000, 0, 1, 1}, {}}, 32767)));
    EXPECT_FALSE(loadsRecord(recordOf({{1'000, 0, 1, 1}, {}}, 1'000)));
    EXPECT_FALSE(loadsRecord(recordOf({{1, 0, 2'000'000'000, 1}, {}}, 1), 4103));
    EXPECT_FALSE(loadsRecord(recordOf(plainRecord().weights, 32767)));
    EXPECT_FALSE(loadsRecord(recordOf({}, 32767)));
    EXPECT_TRUE(loadsRecord(recordOf({{3, 0, 1, 4}, {}}, 4)));
    TransposedConvRecord backed = plainRecord();
    backed.outChannels = 32767;
    backed.bias = {{32767}, std::vector<float>(32767)};
    EXPECT_TRUE(loadsRecord(backed));
}

TEST(TransposedConvRecord, StridesOfAPathMayNotMultiplyWithoutEndAndZeroCountsAsOne) {
    const auto chainLoads = [](std::int8_t firstHeightStride, std::int8_t heightStride, int count) {
        ModelWriter file;
        TransposedConvRecord record = plainRecord();
        record.heightStride = firstHeightStride;
        file.addTransposedConv("0", "input", record);
        record.heightStride = heightStride;
        record.timeStride = heightStride == 1 ? 2 : 1;
        for (int i = 1; i <= count; ++i) {
            file.addTransposedConv(std::to_string(i), std::to_string(i - 1), record);
        }
        return loads(file.setOutputSource(std::to_string(count)));
    };
    for (const std::int8_t heightStride : {std::int8_t{1}, std::int8_t{2}}) {
        EXPECT_TRUE(chainLoads(0, heightStride, 15));
        EXPECT_FALSE(chainLoads(0, heightStride, 16));
        EXPECT_FALSE(chainLoads(2, heightStride, 15));
    }
}

class TransposedConvInput : public TransposedLayerTest {};

TEST_F(TransposedConvInput, EmptyKernelGivesTheBias) {
    TransposedConvRecord record = recordOf({}, 2);
    record.bias = {{2}, {5, 6}};
    record.timeStride = 2;
    load(record);
    EXPECT_THAT(framesAfter({1, 2, 1}, {1, 2}),
                ElementsAre(ElementsAre(5, 6, 5, 6), ElementsAre(5, 6, 5, 6)));
    load(recordOf({{3, 2, 2, 0}, {}}, 2));
    EXPECT_THAT(framesAfter({1, 1, 1}, {1}), ElementsAre(ElementsAre(0, 0)));
    // Nothing of the input is read, so that it may even hold nothing.
    EXPECT_THAT(framesAfter(FloatTensor({1, 1, 0})), ElementsAre(ElementsAre(0, 0)));
}

TEST_F(TransposedConvInput, NoOutputChannelsGiveTensorsWithoutValues) {
    load(recordOf({}, 0));
    framesAfter({1, 3, 1}, {1, 2, 3});
    EXPECT_THAT(recorder_.shapes, ElementsAre(Shape{1, 3, 0}));
}

TEST_F(TransposedConvInput, ReadingBeyondTheInputRaises) {
    load(transposedRecord({1, 1, 1, 3}, {1, 1, 1}));
    EXPECT_THROW(framesAfter(countingTensor({1, 4, 2})), std::runtime_error);
    EXPECT_THROW(framesAfter(FloatTensor({1, 4, 0})), std::runtime_error);
    EXPECT_THROW(framesAfter(countingTensor({1})), std::runtime_error);
    EXPECT_THROW(framesAfter(FloatTensor({1, 2, 3, 0})), std::runtime_error);
    // The frames before the end of the input stand.
    EXPECT_THROW(framesAfter(countingTensor({3, 1, 2})), std::runtime_error);
    EXPECT_THAT(recorder_.values, ElementsAre(ElementsAre(6), ElementsAre(15)));
}

TEST_F(TransposedConvInput, LowerFramesUseTheStartOfTheirRow) {
    load(transposedRecord({2, 1, 1, 1}, {1, 10}));
    EXPECT_THAT(framesAfter({1, 3, 1}, {1, 2, 3}), ElementsAre(ElementsAre(1, 2, 3)));
    EXPECT_THAT(framesAfter({1, 1, 1}, {4}), ElementsAre(ElementsAre(14)));
    // The second and third bin of the first frame's row were neither released nor emptied.
    EXPECT_THAT(framesAfter({1, 3, 1}, {5, 6, 7}), ElementsAre(ElementsAre(45, 6, 7)));
    EXPECT_THAT(framesAfter({1, 3, 1}, {0, 0, 0}), ElementsAre(ElementsAre(50, 80, 100)));
}

TEST_F(TransposedConvInput, HigherFramesRaiseBeforeTheyChangeTheRing) {
    for (const std::int8_t timeStride : {std::int8_t{1}, std::int8_t{2}, std::int8_t{3}}) {
        TransposedConvRecord record = transposedRecord({2, 1, 1, 1}, {1, 10});
        record.timeStride = timeStride;
        load(record);
        framesAfter({1, 2, 1}, {1, 2});
        EXPECT_THROW(framesAfter(countingTensor({1, 3, 1})), std::runtime_error);
        const float carried = timeStride == 1 ? 10.0F : 0.0F;
        EXPECT_THAT(framesAfter({1, 2, 1}, {3, 4})[0], ElementsAre(3 + carried, 4 + 2 * carried));
    }
}

TEST_F(TransposedConvInput, HigherFramesSpillWhileTheirRowsEndInsideTheRing) {
    TransposedConvRecord record = transposedRecord({1, 1, 1, 1}, {1});
    record.timeStride = 3;
    record.lookahead = 6;
    load(record);
    EXPECT_THAT(framesAfter({1, 2, 1}, {1, 2}), IsEmpty());
    EXPECT_THAT(framesAfter(countingTensor({1, 6, 1})), IsEmpty());
    EXPECT_THROW(framesAfter(countingTensor({1, 3, 1})), std::runtime_error);
    layer().ResetState();
    EXPECT_THROW(framesAfter(countingTensor({1, 7, 1})), std::runtime_error);
    framesAfter({1, 2, 1}, {1, 2});
    framesAfter({1, 2, 1}, {1, 2});
    EXPECT_THAT(framesAfter({1, 2, 1}, {3, 4}),
                ElementsAre(ElementsAre(3, 4), ElementsAre(0, 0), ElementsAre(0, 0)));
}

TEST_F(TransposedConvInput, SizesBeyond31BitsRaise) {
    TransposedConvRecord record = transposedRecord({1, 1, 1, 0}, {});
    record.heightStride = 127;
    load(record);
    EXPECT_THROW(framesAfter(FloatTensor({1, 100'000'000, 0})), std::runtime_error);
    record.timeStride = 127;
    load(record);
    EXPECT_THROW(framesAfter(FloatTensor({1, 1'000'000, 0})), std::runtime_error);
}

TEST(SeparableChannelConvRecord, KernelsWithoutValuesForTheirTapsAreRefused) {
    const TensorBlock good = {{1}, {1}};
    EXPECT_TRUE(loadsKernels(good, good));
    for (const TensorBlock& bad :
         {TensorBlock{}, TensorBlock{{0}, {}}, TensorBlock{{-1}, {}}, TensorBlock{{3, 0}, {}},
          TensorBlock{{-1, -2}, {1, 2}}, TensorBlock{{65536, 65536}, {}}}) {
        EXPECT_FALSE(loadsKernels(bad, good)) << testing::PrintToString(bad.shape);
        EXPECT_FALSE(loadsKernels(good, bad)) << testing::PrintToString(bad.shape);
    }
    EXPECT_TRUE(loadsKernels({{1, 2}, {1, 2}}, good));
}

class SeparableChannelConvInput : public TransposedLayerTest {
  protected:
    void loadThreeTaps() { load({{3}, {1, 10, 100}}, {{3}, {0, 1, 0}}); }
};

TEST_F(SeparableChannelConvInput, InputsWithoutFramesGiveNothing) {
    loadThreeTaps();
    EXPECT_THAT(framesAfter(FloatTensor()), IsEmpty());
    EXPECT_THAT(framesAfter(FloatTensor({0, 2, 1})), IsEmpty());
    EXPECT_THAT(framesAfter(countingTensor({2, 2, 1})), ElementsAre(ElementsAre(301, 402)));
}

TEST_F(SeparableChannelConvInput, RanksOneAndTwoRaiseAndSoDoFramesWithoutTheirValues) {
    loadThreeTaps();
    EXPECT_THROW(framesAfter(countingTensor({1})), std::runtime_error);
    EXPECT_THROW(framesAfter(countingTensor({1, 1})), std::runtime_error);
    EXPECT_THROW(framesAfter(FloatTensor({1, 2, 3, 0})), std::runtime_error);
    EXPECT_THAT(framesAfter(countingTensor({2, 1, 1, 1})), ElementsAre(ElementsAre(201)));
}

TEST_F(SeparableChannelConvInput, LargerFramesRaiseAndLeaveTheStreamAlone) {
    loadThreeTaps();
    framesAfter({1, 2, 1}, {1, 2});
    EXPECT_THROW(framesAfter(countingTensor({1, 3, 1})), std::runtime_error);
    EXPECT_THROW(framesAfter(countingTensor({1, 2, 2})), std::runtime_error);
    EXPECT_THAT(framesAfter({1, 2, 1}, {3, 4}), ElementsAre(ElementsAre(301, 402)));
    layer().ResetState();
    EXPECT_THROW(framesAfter(countingTensor({1, 3, 1})), std::runtime_error);
}

TEST_F(SeparableChannelConvInput, SmallerFramesUseTheStartOfTheirRow) {
    loadThreeTaps();
    framesAfter({1, 2, 1}, {1, 2});
    EXPECT_THAT(framesAfter({1, 1, 1}, {3}), ElementsAre(ElementsAre(301)));
    EXPECT_THAT(framesAfter({1, 1, 2}, {4, 5}), ElementsAre(ElementsAre(413, 520)));
}

TEST_F(SeparableChannelConvInput, HistoryBeyond31BitsRaises) {
    load({{3000}, std::vector<float>(3000)}, {{1}, {1}});
    EXPECT_THROW(framesAfter(FloatTensor({1, 1'000'000, 1})), std::runtime_error);
}

}  // namespace
}  // namespace vorun
