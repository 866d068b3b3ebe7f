#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/BoundedFileTest.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();

/** Files that promise what they do not hold; the promise must not be believed. */
class LyingFile : public BoundedFileTest {
  protected:
    using BoundedFileTest::expectBounded;
    Exercise expectBounded(const writer::ConvRecord& record) {
        return expectBounded(TestModel{frameHeader(16, 16, 8), {record}}.bytes());
    }
};
using LyingStrings = LyingFile;
using LyingTensors = LyingFile;
using LyingStrides = LyingFile;
using LyingCounts = LyingFile;
using LyingNames = LyingFile;
using ADeepGraph = LyingFile;
using LyingHeaders = LyingFile;
using LyingResults = LyingFile;

std::vector<std::uint8_t> littleEndian(std::int32_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    return {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8U),
            static_cast<std::uint8_t>(word >> 16U), static_cast<std::uint8_t>(word >> 24U)};
}

/** The model file with the four bytes at `position` replaced. */
std::vector<std::uint8_t> withInteger(std::vector<std::uint8_t> bytes, std::size_t position,
                                      std::int32_t value) {
    const std::vector<std::uint8_t> word = littleEndian(value);
    std::copy(word.begin(), word.end(), bytes.begin() + static_cast<std::ptrdiff_t>(position));
    return bytes;
}

TEST_F(LyingStrings, OfAnyLengthAreRefused) {
    const std::vector<std::uint8_t> bytes = TestModel{frameHeader(16, 16, 8), {}}.bytes();
    // The tag's length is the first field; the first bus name follows 4 + 11 + 21 bytes later.
    for (const std::size_t position : {std::size_t{0}, std::size_t{4 + 11 + 21}}) {
        for (const std::int32_t length : {huge, huge - 3, 1 << 30, 1 << 20, -1, lowest}) {
            SCOPED_TRACE(testing::Message() << "at " << position << ": " << length);
            EXPECT_FALSE(expectBounded(withInteger(bytes, position, length)).modelLoaded);
        }
    }
}

TEST_F(LyingTensors, LargerThanTheFileAreRefusedBeforeMemoryIsTaken) {
    for (const Shape& shape :
         {Shape{huge, 1, 1, 1}, Shape{1 << 28, 1, 1, 1}, Shape{1, 1, 1, 1 << 24},
          Shape{1, 1, 1000, 1000}, Shape{1, 1, 1, 64}, Shape{1, huge, huge, 1}}) {
        for (const auto type : {writer::ElementType::single, writer::ElementType::half}) {
            writer::ConvRecord record = constantStage(1, {1.0F});
            record.weights.shape = shape;
            record.weights.elementType = type;
            EXPECT_FALSE(expectBounded(record).modelLoaded);
        }
    }
}

TEST_F(LyingTensors, OfUndefinedElementsStayBounded) {
    for (const Shape& shape : {Shape{huge, 1, 1, 1}, Shape{1, 1, 1, 1 << 24},
                               Shape{1, 1, 4096, 4096}, Shape{1, 1 << 22, 1, 1}}) {
        writer::ConvRecord record = constantStage(1, {1.0F});
        record.weights.shape = shape;
        record.weights.elementType = writer::ElementType::undefined;
        record.weights.values.clear();
        expectBounded(record);
    }
}

TEST_F(LyingTensors, WhoseVolumeOverflowsStayBounded) {
    for (const Shape& shape :
         {Shape{65536, 65536, 1, 1}, Shape{65536, 32768, 1, 1}, Shape{huge, huge, huge, huge},
          Shape{1 << 30, 4, 1, 1}, Shape{65537, 65536, 1, 1}, Shape{lowest, lowest, 1, 1}}) {
        writer::ConvRecord record = constantStage(1, {1.0F});
        record.weights.shape = shape;
        expectBounded(record);
        record.weights.values.clear();
        expectBounded(record);
    }
}

TEST_F(LyingTensors, WithNegativeDimensionsStayBounded) {
    for (const Shape& shape :
         {Shape{1, 1, -1, -1}, Shape{-1, -1, 1, 1}, Shape{-1, 1, 1, -1}, Shape{-1, 1, 1, 1},
          Shape{1, -1, 1, 1}, Shape{1, 1, 1, -1}, Shape{lowest, 1, 1, 1}, Shape{1, -1, -1, 1}}) {
        writer::ConvRecord record = constantStage(1, {1.0F});
        record.weights.shape = shape;
        expectBounded(record);
        record.weights.values.clear();
        expectBounded(record);
    }
}

TEST_F(LyingTensors, WithoutElementsButHugeDimensionsStayBounded) {
    for (const Shape& shape :
         {Shape{huge, 0, 1, 1}, Shape{1 << 24, 0, 1, 1}, Shape{0, huge, 1, 1}, Shape{1, 0, huge, 1},
          Shape{1, 0, 1, huge}, Shape{1, 0, 1, 1 << 26}, Shape{1, 1, 0, 1 << 26},
          Shape{0, 1, 1, 1 << 26}, Shape{1 << 20, 1, 1, 0}, Shape{2, 0, 0, 0}, Shape{0, 0, 0, 0}}) {
        for (const int dilation : {1, 127, -128, 0}) {
            for (const bool biased : {true, false}) {
                writer::ConvRecord record = constantStage(1, {1.0F});
                record.weights = {shape, {}};
                record.timeDilation = static_cast<std::int8_t>(dilation);
                if (!biased) {
                    record.bias = {{0}, {}};
                }
                SCOPED_TRACE(testing::Message() << testing::PrintToString(shape) << " dilation "
                                                << dilation << " bias " << biased);
                expectBounded(record);
            }
        }
    }
}

TEST_F(LyingTensors, OfOddRanksStayBounded) {
    const Shape shapes[] = {{},
                            {1},
                            {2, 1},
                            {1, 1, 1},
                            {1, 1, 1, 1, 1},
                            {1, 1, 1, 1, 7},
                            Shape(127, 1),
                            Shape(127, 0),
                            Shape(127, 2)};
    for (const Shape& shape : shapes) {
        writer::ConvRecord record = constantStage(1, {1.0F});
        record.weights.shape = shape;
        record.weights.values.assign(shape.empty() ? 0 : 7, 0.5F);
        expectBounded(record);
    }
}

TEST_F(LyingTensors, ABiasShorterThanItsRowStaysBounded) {
    for (const Shape& shape : {Shape{1}, Shape{3}, Shape{1, 1, 2}}) {
        writer::ConvRecord record = constantStage(1, {1.0F, 2.0F, 3.0F, 4.0F});
        record.bias.shape = shape;
        record.bias.values.resize(static_cast<std::size_t>(shape.back()));
        expectBounded(record);
    }
}

TEST_F(LyingTensors, ALongerBiasLeavesItsTailAside) {
    writer::ConvRecord record = constantStage(1, {1.0F, 2.0F});
    record.bias = {{5}, {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}};
    const TemporaryModel file(TestModel{frameHeader(16, 16, 8), {record}});
    ApiModel model(file.path());
    ASSERT_TRUE(model.created());
    EXPECT_EQ(model.run({{1, 1, 1}, {9.0F}}).values, (std::vector<float>{1.0F, 2.0F}));
}

TEST_F(LyingStrides, OfZeroAndBelowStayBounded) {
    for (const int value : {0, -1, -2, -128, 127}) {
        for (int field = 0; field < 5; ++field) {
            writer::ConvRecord record = randomStage({3, 3, 1, 1}, 4);
            std::int8_t* fields[] = {&record.timeStride, &record.heightStride, &record.timeDilation,
                                     &record.reservedParameter, &record.lookahead};
            *fields[field] = static_cast<std::int8_t>(value);
            SCOPED_TRACE(testing::Message() << "field " << field << " is " << value);
            expectBounded(record);
        }
    }
}

TEST_F(LyingStrides, AReservedParameterIsNotRead) {
    for (const int value : {0, -1, 127, -128}) {
        writer::ConvRecord record = copyStage(1, 1, 2.0F);
        record.reservedParameter = static_cast<std::int8_t>(value);
        const TemporaryModel file(TestModel{frameHeader(16, 16, 8), {record}});
        ApiModel model(file.path());
        ASSERT_TRUE(model.created()) << value;
        EXPECT_EQ(model.run({{1, 1, 1}, {3.0F}}).values, std::vector<float>{6.0F});
    }
}

TEST_F(LyingCounts, MoreLayersThanTheFileHoldsAreRefused) {
    for (const std::int32_t count : {1, 2, 1000, huge}) {
        writer::ModelWriter file(frameHeader(16, 16, 8));
        EXPECT_FALSE(expectBounded(file.setLayerCount(count).bytes()).modelLoaded) << count;
    }
}

TEST_F(LyingNames, GivenTwiceStayBounded) {
    writer::ModelWriter held(frameHeader(16, 16, 8));
    held.addActivation("a", "input", writer::LayerType::relu)
        .addActivation("b", "a", writer::LayerType::relu)
        .addActivation("a", "b", writer::LayerType::relu)
        .setOutputSource("a");
    expectBounded(held.bytes());
    writer::ModelWriter loose(frameHeader(16, 16, 8));
    for (int i = 0; i < 20; ++i) {
        loose.addConv("a", "input", randomStage({2, 3, 1, 1}, 3));
    }
    expectBounded(loose.setOutputSource("a").bytes());
    writer::ModelWriter itself(frameHeader(16, 16, 8));
    itself.addActivation("a", "input", writer::LayerType::relu)
        .addActivation("a", "a", writer::LayerType::relu)
        .setOutputSource("a");
    expectBounded(itself.bytes());
}

TEST_F(LyingNames, OfTheGraphsEndsStayBounded) {
    for (const char* name : {"input", "output"}) {
        for (const char* source : {"input", "output"}) {
            writer::ModelWriter file(frameHeader(16, 16, 8));
            file.addConv(name, "input", randomStage({2, 3, 1, 1}, 3)).setOutputSource(source);
            expectBounded(file.bytes());
            file.addActivation("more", name, writer::LayerType::relu).setOutputSource("more");
            expectBounded(file.bytes());
        }
    }
}

TEST_F(ADeepGraph, OfManyLayersRuns) {
    writer::ModelWriter file(frameHeader(16, 16, 8));
    std::string last = "input";
    for (int i = 0; i < 500; ++i) {
        const std::string name = std::to_string(i);
        file.addActivation(name, last, writer::LayerType::relu);
        last = name;
    }
    EXPECT_TRUE(expectBounded(file.setOutputSource(last).bytes()).modelLoaded);
}

TEST_F(LyingHeaders, WithNegativeBinCountsStayBounded) {
    for (const int count : {-1, -17, -32768, 32767}) {
        TestModel plain{frameHeader(16, 16, 8), {}};
        plain.header.inputBins = static_cast<std::int16_t>(count);
        expectBounded(plain.bytes());
        for (const int complexBins : {-1, -32768, 3, 9}) {
            TestModel split{complexHeader(frameHeader(16, 16, 8), complexBins), {}};
            split.header.magnitudeInputBins = static_cast<std::int16_t>(count);
            expectBounded(split.bytes());
        }
    }
}

TEST_F(LyingHeaders, WithATransformThatIsNoPowerOfTwoStayBounded) {
    for (const int size : {3, 5, 15, 17, 24, 31, 33, 48, 1000, 32767}) {
        TestModel model = constantMasks(frameHeader(size, 2, 1), {0.5F});
        expectBounded(model.bytes());
        model.header.windowSize = model.header.fftSize;
        model.header.hopSize = static_cast<std::int16_t>(size / 3 == 0 ? 1 : size / 3);
        expectBounded(model.bytes());
    }
}

void expectRaisesWhileDecoding(const TestModel& model) {
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar input = whiteNoise(1, 64, 1);
    EXPECT_THROW(processor.push(input), std::runtime_error);
    processor.reset();
    EXPECT_EQ(processor.pending(), 0);
    EXPECT_THROW(processor.push(input), std::runtime_error);
}

TEST_F(LyingResults, OfFewerRowsThanTheHeaderPromisesRaise) {
    TestModel model = constantMasks(frameHeader(32, 32, 16), {0.5F});
    std::get<writer::ConvRecord>(model.network[0]).heightStride = 2;
    expectRaisesWhileDecoding(model);
    TestModel split = constantMasks(complexHeader(frameHeader(32, 32, 16), 5), {0.5F});
    std::get<writer::ConvRecord>(split.network[0]).heightStride = 2;
    expectRaisesWhileDecoding(split);
}

TEST_F(LyingResults, OfFewerChannelsThanTheHeaderPromisesRaise) {
    TestModel masks = constantMasks(frameHeader(32, 32, 16, 1, 1, 3), {0.5F});
    masks.network = {constantStage(1, {0.5F, 0.5F})};
    expectRaisesWhileDecoding(masks);
    TestModel channels = constantMasks(frameHeader(32, 32, 16, 1, 2, 1), {0.5F});
    channels.network = {constantStage(1, {0.5F})};
    expectRaisesWhileDecoding(channels);
}

}  // namespace
}  // namespace vorun::apitest
