#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "inspect/FileDecoder.h"
#include "inspect/InspectTools.h"

namespace vorun::test {
namespace {

using inspect::FileContents;
using inspect::LayerRecord;
using inspect::modelInput;
using inspect::StoredAs;
using testing::ElementsAre;
using testing::IsEmpty;
using writer::ElementType;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

FileContents decodedVersion(std::int32_t version) {
    ModelHeader header = headerOf(4, 2);
    header.version = version;
    header.fftSize = 32;
    header.windowSize = 24;
    header.hopSize = 8;
    header.maskCount = 2;
    header.busNames = {"Voice", "Music", "Rest"};
    return decoded(everyLayer(header).bytes());
}

TEST(FileDecoder, ReadsTheHeaderOfTheNewestVersion) {
    ModelHeader header;
    header.modelId = -7;
    header.sampleRate = 44100.5;
    header.inputChannels = 3;
    header.inputFormat = 2;
    header.complexInputBins = 10;
    header.magnitudeInputBins = 20;
    header.pipelineMode = 1;
    header.outputChannels = 4;
    header.outputFormat = 2;
    const FileContents contents = decoded(ModelWriter(header).bytes());
    EXPECT_EQ(contents.tag, "VORUN.model");
    EXPECT_EQ(contents.version, 4105);
    EXPECT_EQ(contents.modelId, -7);
    EXPECT_EQ(contents.sampleRate, 44100.5);
    EXPECT_EQ(contents.inputChannels, 3);
    EXPECT_EQ(contents.complexInputBins, 10);
    EXPECT_EQ(contents.inputBins, 30);
    EXPECT_EQ(contents.featureRows(), 60);
    EXPECT_EQ(contents.pipelineMode, 1);
    EXPECT_EQ(contents.outputChannels, 4);
    EXPECT_EQ(contents.outputFormat, 2);
    EXPECT_EQ(contents.fftSize, 512);
    EXPECT_EQ(contents.windowSize, 512);
    EXPECT_EQ(contents.hopSize, 256);
    EXPECT_EQ(contents.outputSource, "input");
    EXPECT_EQ(contents.outputFeeder, modelInput);
}

TEST(FileDecoder, EveryVersionIsReadToItsEnd) {
    for (const std::int32_t version : {4100, 4101, 4102, 4103, 4104, 4105, 4106, 2147483647}) {
        const FileContents contents = decodedVersion(version);
        EXPECT_EQ(contents.layers.size(), 16U) << version;
        EXPECT_EQ(contents.readBytes, contents.fileBytes) << version;
        EXPECT_EQ(contents.windowSize, version >= 4101 ? 24 : 32) << version;
        EXPECT_EQ(contents.maskCount, version >= 4102 ? 2 : 1) << version;
        EXPECT_EQ(contents.busNames.size(), version >= 4102 ? 3U : 2U) << version;
        // What older records leave out.
        EXPECT_EQ(contents.layers[7].tensors[2].values, version >= 4103 ? 6 : 0) << version;
        EXPECT_EQ(contents.layers[3].outChannels, 2) << version;
        EXPECT_EQ(contents.layers[1].tensors[0].storedAs, StoredAs::single) << version;
        EXPECT_EQ(contents.layers[1].tensors[1].storedAs,
                  version >= 4105 ? StoredAs::half : StoredAs::single)
            << version;
    }
}

TEST(FileDecoder, OutChannelsOfOlderFilesAreThoseOfTheWeights) {
    const auto outChannels = [](std::int32_t version) {
        ModelHeader header;
        header.version = version;
        ModelWriter model(header);
        model.addTransposedConv("t", "input", transposedOf({1, 1, 5, 2}, 3));
        return decoded(model.bytes()).layers[0].outChannels;
    };
    EXPECT_EQ(outChannels(4103), 5);
    EXPECT_EQ(outChannels(4104), 3);
}

TEST(FileDecoder, TensorsAreTold) {
    ModelWriter model;
    model.addTwoTensors("n", "input", LayerType::norm, blockOf({3, 2}, ElementType::half),
                        blockOf({}));
    const LayerRecord record = decoded(model.bytes()).layers[0];
    ASSERT_EQ(record.tensors.size(), 2U);
    EXPECT_EQ(record.tensors[0].role, "offset");
    EXPECT_THAT(record.tensors[0].shape, ElementsAre(3, 2));
    EXPECT_EQ(record.tensors[0].values, 6);
    EXPECT_EQ(record.tensors[0].storedAs, StoredAs::half);
    EXPECT_EQ(record.tensors[0].dim(1), 2);
    EXPECT_EQ(record.tensors[0].dim(2), 0);
    EXPECT_EQ(record.tensors[1].role, "scale");
    EXPECT_EQ(record.tensors[1].values, 0);
}

TEST(FileDecoder, BytesBehindTheEndAreNotRead) {
    Bytes bytes = ModelWriter().bytes();
    bytes.insert(bytes.end(), 5, 0xFF);
    const FileContents contents = decoded(bytes);
    EXPECT_EQ(contents.fileBytes - contents.readBytes, 5);
}

TEST(FileDecoder, NegativeCountsMeanNone) {
    ModelHeader header;
    header.maskCount = -1;
    header.busNames = {};
    ModelWriter model(header);
    model.setLayerCount(-3);
    const FileContents contents = decoded(model.bytes());
    EXPECT_THAT(contents.busNames, IsEmpty());
    EXPECT_THAT(contents.layers, IsEmpty());
}

TEST(FileDecoder, ARecordMayTakeTheNameOfTheInput) {
    ModelWriter model;
    model.addActivation("a", "input", LayerType::relu)
        .addActivation("input", "a", LayerType::relu)
        .addActivation("b", "input", LayerType::relu);
    const FileContents contents = decoded(model.bytes());
    EXPECT_THAT(contents.layers[0].feeders, ElementsAre(modelInput));
    EXPECT_THAT(contents.layers[2].feeders, ElementsAre(1));
    EXPECT_EQ(contents.outputFeeder, 1);
}

TEST(FileDecoder, LaterNamesAreNotKnownYet) {
    ModelWriter model;
    model.addActivation("a", "b", LayerType::relu).addActivation("b", "input", LayerType::relu);
    EXPECT_THROW(decoded(model.bytes()), std::runtime_error);
}

}  // namespace
}  // namespace vorun::test
