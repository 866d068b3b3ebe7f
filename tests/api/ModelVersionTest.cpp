#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/Samples.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

bool loads(const std::vector<std::uint8_t>& bytes) {
    return ApiModel(TemporaryFile(bytes).path()).created();
}

/** A network whose answer to one 1.0 is `values`, word for word. */
std::vector<float> expandedHalves(const std::vector<std::uint16_t>& words) {
    const auto count = static_cast<std::int32_t>(words.size());
    writer::ConvRecord record;
    // A product of -0.0 added to any value leaves that value's bits.
    record.weights = {{1, 1, 1, count}, std::vector<float>(words.size(), -0.0F)};
    record.bias.shape = {count};
    record.bias.elementType = writer::ElementType::half;
    record.bias.halfWords = words;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    EXPECT_TRUE(model.created());
    return model.run({{1, 1, 1}, {1.0F}}).values;
}

/** A half word without infinities: the largest exponent continues the series. */
float halfValue(std::uint16_t word) {
    const int exponent = (word >> 10) & 31;
    const int mantissa = word & 1023;
    const double magnitude =
        exponent == 0 ? std::ldexp(mantissa, -24) : std::ldexp(1024 + mantissa, exponent - 25);
    return static_cast<float>(std::copysign(magnitude, (word & 0x8000) != 0 ? -1.0 : 1.0));
}

TEST(HalfWeights, ExpandToTheirValuesForEveryWord) {
    std::vector<std::uint16_t> words(65536);
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<std::uint16_t>(i);
    }
    const std::vector<float> values = expandedHalves(words);
    ASSERT_EQ(values.size(), words.size());
    for (std::size_t i = 0; i < words.size(); ++i) {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(values[i]),
                  std::bit_cast<std::uint32_t>(halfValue(words[i])))
            << i;
    }
}

TEST(HalfWeights, HaveNoInfinityAndNoNotANumber) {
    EXPECT_EQ(expandedHalves({0x3C00, 0x0001, 0x7C00, 0xFC00, 0x7E00, 0x7FFF}),
              (std::vector<float>{1.0F, std::ldexp(1.0F, -24), 65536.0F, -65536.0F, 98304.0F,
                                  131008.0F}));
    EXPECT_TRUE(std::signbit(expandedHalves({0x8000}).front()));
}

TEST(UndefinedElements, LoadAsZerosAndConsumeNoBytes) {
    TestModel model{frameHeader(32, 32, 16), {constantStage(1, {1.0F, 2.0F})}};
    auto& record = std::get<writer::ConvRecord>(model.network[0]);
    record.weights.elementType = writer::ElementType::undefined;
    record.weights.values.clear();
    const TemporaryModel file(model);
    ApiModel handle(file.path());
    ASSERT_TRUE(handle.created());
    EXPECT_EQ(handle.run({{1, 1, 1}, {5.0F}}).values, (std::vector<float>{1.0F, 2.0F}));
}

TEST(UndefinedElements, InTheBiasAreZerosToo) {
    TestModel model{frameHeader(32, 32, 16), {copyStage(1, 2, 3.0F)}};
    auto& record = std::get<writer::ConvRecord>(model.network[0]);
    record.bias.shape = {2};
    record.bias.elementType = writer::ElementType::undefined;
    const TemporaryModel file(model);
    ApiModel handle(file.path());
    ASSERT_TRUE(handle.created());
    EXPECT_EQ(handle.run({{1, 1, 1}, {5.0F}}).values, (std::vector<float>{15.0F, 15.0F}));
}

TEST(ModelVersions, AllGiveTheSameAudioFromTheSameNetwork) {
    TestModel model = livelyMasks(frameHeader(32, 32, 16), 3, 1);
    const Planar input = whiteNoise(1, 320, 4);
    Planar expected;
    for (const std::int32_t version :
         {4105, 4100, 4101, 4102, 4103, 4104, 4106, std::numeric_limits<std::int32_t>::max()}) {
        for (const char* tag : {"VORUN.model", "ZUTo.model"}) {
            model.header.version = version;
            model.header.tag = tag;
            const TemporaryModel file(model);
            ApiProcessor processor(file.path(), 1, 48000.0);
            ASSERT_TRUE(processor.created()) << version << tag;
            processor.set(gainOf(1), 0.0F);
            const Planar output = runAtOnce(processor, input);
            if (expected.empty()) {
                expected = output;
            }
            EXPECT_TRUE(sameBits(output, expected)) << version << tag;
        }
    }
}

TEST(ModelVersions, BytesBehindTheEndAreNotRead) {
    TestModel model = livelyMasks(frameHeader(32, 32, 16), 3);
    std::vector<std::uint8_t> bytes = model.bytes();
    bytes.insert(bytes.end(), 1000, 0xFF);
    EXPECT_TRUE(loads(bytes));
}

TEST(ModelVersions, AnOutputFormatOfTwoMovesTheRestByTwoBytes) {
    TestModel model = livelyMasks(frameHeader(32, 24, 8), 3);
    const std::size_t plain = model.bytes().size();
    for (const int format : {2, 0, 1, 3, -1}) {
        model.header.outputFormat = static_cast<std::int8_t>(format);
        EXPECT_EQ(model.bytes().size(), format == 2 ? plain + 2 : plain);
        const TemporaryModel file(model);
        ApiModel handle(file.path());
        ASSERT_TRUE(handle.created()) << format;
        VorunModelInfo info{};
        vorunGetProcessorInfo(static_cast<void*>(handle.handle()), &info);
        EXPECT_EQ(info.windowSize, 24) << format;
        EXPECT_EQ(info.hopSize, 8) << format;
    }
}

TEST(ModelVersions, AMaskCountOfZeroReadsOneNameAndANegativeOneNone) {
    TestModel model = livelyMasks(frameHeader(32, 32, 16), 3);
    model.header.maskCount = 0;
    model.header.busNames = {"Residual"};
    EXPECT_TRUE(loads(model.bytes()));
    model.header.maskCount = -1;
    model.header.busNames = {};
    EXPECT_TRUE(loads(model.bytes()));
}

TEST(LayerRecords, OfUnassignedTypesGiveNull) {
    for (const int type : {0, 1, 8, 10, 11, 13, 21, 22, 255, -1, 32767, -32768}) {
        writer::ModelWriter file(frameHeader(32, 32, 16));
        // What a layer with a single input would read.
        file.addRaw("odd", static_cast<std::int16_t>(type), {5, 0, 0, 0, 'i', 'n', 'p', 'u', 't'});
        EXPECT_FALSE(loads(file.bytes())) << type;
    }
}

TEST(LayerRecords, MayOnlyNameLayersThatStandBeforeThem) {
    writer::ModelWriter later(frameHeader(32, 32, 16));
    later.addActivation("a", "b", writer::LayerType::relu)
        .addActivation("b", "input", writer::LayerType::relu)
        .setOutputSource("b");
    EXPECT_FALSE(loads(later.bytes()));
    writer::ModelWriter itself(frameHeader(32, 32, 16));
    itself.addActivation("a", "a", writer::LayerType::relu).setOutputSource("a");
    EXPECT_FALSE(loads(itself.bytes()));
    writer::ModelWriter output(frameHeader(32, 32, 16));
    output.addActivation("a", "output", writer::LayerType::relu).setOutputSource("a");
    EXPECT_FALSE(loads(output.bytes()));
}

TEST(LayerRecords, AnUnknownOutputSourceGivesNull) {
    writer::ModelWriter file(frameHeader(32, 32, 16));
    file.addActivation("a", "input", writer::LayerType::relu);
    for (const char* source : {"b", "", "A", "a ", "output"}) {
        EXPECT_FALSE(loads(file.setOutputSource(source).bytes())) << source;
    }
    EXPECT_TRUE(loads(file.setOutputSource("a").bytes()));
}

TEST(LayerRecords, ACountOfZeroOrBelowMeansNone) {
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        writer::ModelWriter file(frameHeader(32, 32, 16));
        const TemporaryFile model(file.setLayerCount(count).bytes());
        ApiModel handle(model.path());
        ASSERT_TRUE(handle.created()) << count;
        EXPECT_EQ(handle.run({{1, 2, 1}, {5.0F, 6.0F}}).values, (std::vector<float>{5.0F, 6.0F}));
    }
}

TEST(LayerRecords, FanOutFeedsBranchesAndOnlyTheOutputsSourceAnswers) {
    writer::ModelWriter file(frameHeader(32, 32, 16));
    file.addConv("double", "input", copyStage(1, 1, 2.0F))
        .addConv("triple", "input", copyStage(1, 1, 3.0F))
        .addConv("ten", "double", copyStage(1, 1, 10.0F))
        .setOutputSource("ten");
    const TemporaryFile model(file.bytes());
    ApiModel handle(model.path());
    ASSERT_TRUE(handle.created());
    EXPECT_EQ(handle.run({{1, 1, 1}, {5.0F}}).values, std::vector<float>{100.0F});
}

TEST(LayerRecords, TheLatencyIsTheLongestPathsEvenOfABranchThatEndsBlind) {
    writer::ConvRecord slow = copyStage(1, 1);
    slow.lookahead = 7;
    writer::ModelWriter file(frameHeader(32, 32, 16));
    file.addConv("slow", "input", slow)
        .addConv("fast", "input", copyStage(1, 1))
        .setOutputSource("fast");
    const TemporaryFile model(file.bytes());
    ApiModel handle(model.path());
    ASSERT_TRUE(handle.created());
    VorunModelInfo info{};
    vorunGetProcessorInfo(static_cast<void*>(handle.handle()), &info);
    EXPECT_EQ(info.latency, 7);
}

}  // namespace
}  // namespace vorun::apitest
