#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/MemoryStream.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using test::loads;
using test::makeTensor;
using test::MemoryStream;
using test::valuesOf;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

ConvRecord scalingConv(float factor) {
    ConvRecord record;
    record.weights = {{1, 1, 1, 1}, {factor}};
    return record;
}

/** A header in which every field has a value of its own. */
ModelHeader distinctHeader() {
    ModelHeader header;
    header.modelId = -7;
    header.sampleRate = 44100.5;
    header.inputChannels = 3;
    header.inputFormat = 1;
    header.inputBins = 300;
    header.pipelineMode = 9;
    header.outputChannels = -2;
    header.maskCount = 2;
    header.busNames = {"one", "", "three"};
    header.outputFormat = 5;
    header.skipped[0] = 77;
    header.fftSize = 1024;
    header.windowSize = 900;
    header.hopSize = 128;
    return header;
}

TEST(ModelFile, SmallestFileIsAPassThrough) {
    NeuralModel<float> model = loadedModel(ModelWriter());
    EXPECT_THAT(model.input->consumers, ElementsAre(model.output.get()));
    EXPECT_EQ(model.layers.size(), 2U);
    EXPECT_EQ(layerNamed(model, "output"), model.output);
    EXPECT_EQ(model.output->layerType, 1);
    EXPECT_THAT(valuesOf(evaluate(model, countingTensor({1, 2, 1}))), ElementsAre(1, 2));
}

// The bytes that docs/model_file.md explains, written out by hand.
TEST(ModelFile, WorkedExampleOfTheDocumentIsWrittenAndReadThatWay) {
    const auto text = [](const std::string& characters) {
        return std::vector<std::uint8_t>(characters.begin(), characters.end());
    };
    const std::vector<std::vector<std::uint8_t>> parts = {
        {11, 0, 0, 0},
        text("VORUN.model"),
        {0x09, 0x10, 0, 0, 1, 0},
        {0, 0, 0, 0, 0, 0x70, 0xE7, 0x40},
        {1, 0, 1, 1, 0, 1, 1},
        {9, 0, 0, 0},
        text("Processed"),
        {8, 0, 0, 0},
        text("Residual"),
        {0, 1, 1, 0, 2, 0, 2, 0, 1},
        {1, 0, 0, 0},
        {1, 0, 0, 0, 'd', 2, 0, 5, 0, 0, 0},
        text("input"),
        {0, 4, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0x40},
        {1, 0, 1, 1, 1, 0, 0},
        {1, 0, 0, 0, 'd'}};
    std::vector<std::uint8_t> bytes;
    for (const std::vector<std::uint8_t>& part : parts) {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    ConvRecord conv = scalingConv(2.0F);
    conv.weights.elementType = ElementType::half;
    conv.reservedParameter = 0;
    ModelWriter file;
    file.addConv("d", "input", conv).setOutputSource("d");
    EXPECT_EQ(file.bytes(), bytes);
    NeuralModel<float> model = loadedModel(bytes);
    EXPECT_EQ(model.sampleRate, 48000.0);
    EXPECT_EQ(model.inputBins, 257);
    EXPECT_EQ(model.fftSize, 512);
    EXPECT_EQ(model.hopSize, 256);
    EXPECT_THAT(model.busNames, ElementsAre("Processed", "Residual"));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {3}))), ElementsAre(6));
}

TEST(ModelFile, HeaderFieldsLandInTheirPlaces) {
    const NeuralModel<float> model = loadedModel(ModelWriter(distinctHeader()));
    EXPECT_EQ(model.modelId, -7);
    EXPECT_EQ(model.sampleRate, 44100.5);
    EXPECT_EQ(model.inputChannels, 3);
    EXPECT_EQ(model.inputFormat, 1);
    EXPECT_EQ(model.inputBins, 300);
    EXPECT_EQ(model.complexInputBins, 0);
    EXPECT_EQ(model.pipelineMode, 9);
    EXPECT_EQ(model.outputChannels, -2);
    EXPECT_EQ(model.maskCount, 2);
    EXPECT_THAT(model.busNames, ElementsAre("one", "", "three"));
    EXPECT_EQ(model.outputFormat, 5);
    EXPECT_EQ(model.fftSize, 1024);
    EXPECT_EQ(model.windowSize, 900);
    EXPECT_EQ(model.hopSize, 128);
    EXPECT_EQ(model.latency, 0);
    EXPECT_TRUE(model.enabled);
}

TEST(ModelFile, InputFormat2SplitsTheBinCount) {
    ModelHeader header = distinctHeader();
    header.inputFormat = 2;
    header.complexInputBins = 17;
    header.magnitudeInputBins = 240;
    const NeuralModel<float> model = loadedModel(ModelWriter(header));
    EXPECT_EQ(model.complexInputBins, 17);
    EXPECT_EQ(model.inputBins, 257);
    EXPECT_EQ(model.pipelineMode, 9);
}

TEST(ModelFile, OutputFormat2SkipsTwoBytesMore) {
    ModelHeader header = distinctHeader();
    const std::size_t size = ModelWriter(header).bytes().size();
    header.outputFormat = 2;
    header.skipped[1] = 99;
    const std::vector<std::uint8_t> bytes = ModelWriter(header).bytes();
    EXPECT_EQ(bytes.size(), size + 2);
    const NeuralModel<float> model = loadedModel(bytes);
    EXPECT_EQ(model.outputFormat, 2);
    EXPECT_EQ(model.fftSize, 1024);
    EXPECT_EQ(model.hopSize, 128);
}

class ModelFileVersion : public testing::TestWithParam<std::tuple<std::string, std::int32_t>> {};

TEST_P(ModelFileVersion, ReadsByItsRules) {
    const auto& [tag, version] = GetParam();
    ModelHeader header = distinctHeader();
    header.tag = tag;
    header.version = version;
    ModelWriter file(header);
    ConvRecord conv = scalingConv(2.5F);
    conv.weights.elementType = ElementType::half;
    file.addConv("conv", "input", conv).setOutputSource("conv");
    if (version < 4100) {
        EXPECT_FALSE(loads(file));
        return;
    }
    NeuralModel<float> model = loadedModel(file);
    EXPECT_EQ(model.hopSize, 128);
    EXPECT_EQ(model.windowSize, version < 4101 ? 1024 : 900);
    EXPECT_EQ(model.maskCount, version < 4102 ? 1 : 2);
    if (version < 4102) {
        EXPECT_THAT(model.busNames, ElementsAre("Processed", "Residual"));
    } else {
        EXPECT_THAT(model.busNames, ElementsAre("one", "", "three"));
    }
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {2}))), ElementsAre(5));
}

INSTANTIATE_TEST_SUITE_P(
    BothTags, ModelFileVersion,
    testing::Combine(testing::Values("VORUN.model", "ZUTo.model"),
                     testing::Values(-1, 4099, 4100, 4101, 4102, 4103, 4104, 4105, 4106,
                                     std::numeric_limits<std::int32_t>::max())));

TEST(ModelFile, TagMustMatchInLengthAndEveryByte) {
    for (const std::string tag : {"", "VORUN.mode", "VORUN.modem", "VORUN.model ", "vorun.model",
                                  "ZUTo.mode", "ZUTO.model", "ZUTo.modelX"}) {
        ModelHeader header;
        header.tag = tag;
        EXPECT_FALSE(loads(ModelWriter(header))) << tag;
    }
}

TEST(ModelFile, MaskCountZeroReadsOneNameAndMinusOneNone) {
    ModelHeader header = distinctHeader();
    header.maskCount = 0;
    header.busNames = {"only"};
    EXPECT_THAT(loadedModel(ModelWriter(header)).busNames, ElementsAre("only"));
    for (const int count : {-1, -128}) {
        header.maskCount = static_cast<std::int8_t>(count);
        header.busNames = {};
        const NeuralModel<float> model = loadedModel(ModelWriter(header));
        EXPECT_TRUE(model.busNames.empty());
        EXPECT_EQ(model.maskCount, count);
        EXPECT_EQ(model.hopSize, 128);
    }
}

TEST(ModelFile, LayerCountBelowOneMeansNone) {
    EXPECT_TRUE(loads(ModelWriter().setLayerCount(0)));
    EXPECT_TRUE(loads(ModelWriter().setLayerCount(-5)));
}

TEST(ModelFile, LayerCountAboveTheRecordsEndsTheLoad) {
    EXPECT_FALSE(loads(ModelWriter().setLayerCount(1)));
    EXPECT_FALSE(loads(ModelWriter().setLayerCount(std::numeric_limits<std::int32_t>::max())));
}

TEST(ModelFile, TypesWithoutAClassEndTheLoad) {
    for (const int type : {0, 1, 8, 10, 11, 13, 21, -1, 32767}) {
        ModelWriter file;
        file.addRaw("layer", static_cast<std::int16_t>(type),
                    {5, 0, 0, 0, 'i', 'n', 'p', 'u', 't'});
        EXPECT_FALSE(loads(file)) << type;
    }
}

TEST(ModelFile, EveryActivationLoadsAndKeepsItsTypeNumber) {
    for (const LayerType type : {LayerType::relu, LayerType::elu, LayerType::sigmoid,
                                 LayerType::softplus, LayerType::hardSigmoid}) {
        const NeuralModel<float> model =
            loadedModel(ModelWriter().addActivation("layer", "input", type));
        EXPECT_EQ(layerNamed(model, "layer")->layerType, static_cast<std::int32_t>(type));
    }
    const NeuralModel<float> model = loadedModel(ModelWriter()
                                                     .addLeakyRelu("leaky", "input", 0.1F)
                                                     .addConv("conv", "leaky", scalingConv(1)));
    EXPECT_EQ(layerNamed(model, "leaky")->layerType, 12);
    EXPECT_EQ(layerNamed(model, "conv")->layerType, 2);
}

TEST(ModelFile, UnknownOutputSourceEndsTheLoad) {
    EXPECT_FALSE(loads(ModelWriter().setOutputSource("nobody")));
    EXPECT_FALSE(loads(ModelWriter().setOutputSource("output")));
}

TEST(ModelFile, UnknownOrLaterInputEndsTheLoad) {
    ModelWriter unknown;
    unknown.addActivation("a", "nobody", LayerType::relu);
    EXPECT_FALSE(loads(unknown));
    ModelWriter later;
    later.addActivation("a", "b", LayerType::relu).addActivation("b", "input", LayerType::relu);
    EXPECT_FALSE(loads(later));
    ModelWriter itself;
    itself.addActivation("a", "a", LayerType::relu);
    EXPECT_FALSE(loads(itself));
}

TEST(ModelFile, BytesBehindTheEndAreIgnored) {
    std::vector<std::uint8_t> bytes = ModelWriter().bytes();
    bytes.insert(bytes.end(), {1, 2, 3, 255});
    EXPECT_TRUE(loads(bytes));
}

TEST(ModelFile, ReadingStartsAtTheFirstByteAndTheStreamIsReleased) {
    auto stream = std::make_shared<MemoryStream>(ModelWriter().bytes());
    stream->SetPosition(9);
    NeuralModel<float> model;
    EXPECT_TRUE(model.Load(stream));
    EXPECT_EQ(stream.use_count(), 1);
    auto bad = std::make_shared<MemoryStream>(std::vector<std::uint8_t>{1, 2});
    NeuralModel<float> other;
    EXPECT_FALSE(other.Load(bad));
    EXPECT_EQ(bad.use_count(), 1);
}

TEST(ModelFile, NoStreamAndFailingStreamsEndTheLoad) {
    class FailingStream : public MemoryStream {
      public:
        FailingStream() : MemoryStream(ModelWriter().bytes()) {}
        std::int64_t GetPosition() override { throw std::runtime_error("no position"); }
    };
    class FixedStream : public MemoryStream {
      public:
        FixedStream() : MemoryStream(ModelWriter().bytes()) {}
        bool SetPosition(std::uint64_t /*position*/) override { return false; }
    };
    EXPECT_FALSE(NeuralModel<float>().Load(nullptr));
    EXPECT_FALSE(NeuralModel<float>().Load(std::make_shared<FailingStream>()));
    EXPECT_FALSE(NeuralModel<float>().Load(std::make_shared<FixedStream>()));
}

TEST(ModelFile, NothingComesOutOfAModelThatDidNotLoad) {
    ModelWriter file;
    file.addActivation("a", "input", LayerType::relu);
    // The connection stands already when the record turns out to be wrong.
    ConvRecord conv = scalingConv(1);
    conv.timeStride = 0;
    file.addConv("broken", "input", conv).addConv("broken too", "a", conv);
    NeuralModel<float> model;
    EXPECT_FALSE(model.Load(std::make_shared<MemoryStream>(file.bytes())));
    EXPECT_TRUE(model.input->consumers.empty());
    EXPECT_EQ(evaluate(model, countingTensor({1, 1, 1})).rank(), 0);
    model.Reset();
}

TEST(ModelFile, WeightsThatClaimMoreThanTheFileHoldsEndTheLoad) {
    ConvRecord conv = scalingConv(1);
    conv.weights.shape = {1, 1, 1, 1000};
    ModelWriter file;
    file.addConv("conv", "input", conv);
    EXPECT_FALSE(loads(file));
}

TEST(ModelFile, UndefinedElementTypeLoadsWithZeroWeights) {
    ConvRecord conv;
    conv.weights = {{2, 1, 1, 1}, {}, ElementType::undefined};
    conv.bias = {{1}, {0.5F}};
    ModelWriter file;
    file.addConv("conv", "input", conv).setOutputSource("conv");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {7}))), ElementsAre(0.5F));
}

TEST(ModelFile, HalvesAndSinglesOfTheSameValuesGiveEqualModels) {
    const FloatTensor input = makeTensor({1, 1, 1}, {3});
    float results[2] = {};
    int i = 0;
    for (const ElementType type : {ElementType::half, ElementType::single}) {
        ConvRecord conv = scalingConv(-0.375F);
        conv.weights.elementType = type;
        ModelWriter file;
        file.addConv("conv", "input", conv).setOutputSource("conv");
        NeuralModel<float> model = loadedModel(file);
        results[i++] = valuesOf(evaluate(model, input)).at(0);
    }
    EXPECT_EQ(results[0], -1.125F);
    EXPECT_EQ(results[0], results[1]);
}

}  // namespace
}  // namespace vorun
