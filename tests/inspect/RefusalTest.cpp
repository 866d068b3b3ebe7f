#include <gtest/gtest.h>

#include "inspect/InspectTools.h"

/** Where and why a file is refused, at bytes counted by hand in the layout of a model file. */
namespace vorun::test {
namespace {

using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

/** A header of the newest version ends with the count of layers in front of this byte. */
constexpr std::size_t firstLayer = 0x4A;

std::string refusalOf(const Bytes& bytes) {
    const inspect::Inspection inspection = inspected(bytes);
    EXPECT_FALSE(inspection.description.has_value());
    return inspection.refusal;
}

std::string refusalOf(const ModelWriter& model) {
    return refusalOf(model.bytes());
}

Bytes cut(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

TEST(Refusal, FilesOfAnotherKind) {
    EXPECT_EQ(refusalOf(Bytes{}), "refused at byte 0: not a model file");
    EXPECT_EQ(refusalOf(Bytes{'R', 'I', 'F', 'F', 0, 0, 0, 0}),
              "refused at byte 4: not a model file");
    EXPECT_EQ(refusalOf(Bytes{0xFF, 0xFF, 0xFF, 0xFF}), "refused at byte 4: not a model file");
    ModelHeader header;
    header.tag = "VORUN.modem";
    EXPECT_EQ(refusalOf(ModelWriter(header)), "refused at byte 15: not a model file");
}

TEST(Refusal, VersionsThatAreTooOld) {
    ModelHeader header;
    header.version = 4099;
    EXPECT_EQ(refusalOf(ModelWriter(header)),
              "refused at byte 19, in the version: model file version is below 4100");
}

TEST(Refusal, AFileCutInItsHeader) {
    EXPECT_EQ(refusalOf(cut(ModelWriter().bytes(), 0x40)),
              "refused at byte 64, in the header: model file ends early");
}

TEST(Refusal, ANameOfNegativeLength) {
    Bytes bytes = ModelWriter().bytes();
    bytes[0x27] = 0xFF;  // Highest byte of the length of the first bus name.
    EXPECT_EQ(refusalOf(bytes),
              "refused at byte 40, in the header: a length or a count is below 0");
}

TEST(Refusal, AnUnknownType) {
    ModelWriter model;
    model.addActivation("a", "input", LayerType::relu).addRaw("b", 8, {});
    // The first record: name, type and input. The second: name and type.
    const std::size_t byte = firstLayer + (4 + 1) + 2 + (4 + 5) + (4 + 1) + 2;
    EXPECT_EQ(refusalOf(model), "refused at byte " + std::to_string(byte) +
                                    ", in layer 2, \"b\" of type 8: layer type is unknown");
}

TEST(Refusal, AnUnknownInput) {
    ModelWriter model;
    model.addActivation("a", "inputs", LayerType::relu);
    const std::size_t byte = firstLayer + (4 + 1) + 2 + (4 + 6);
    EXPECT_EQ(refusalOf(model),
              "refused at byte " + std::to_string(byte) +
                  ", in layer 1, \"a\" of type 4, ReLULayer: no earlier layer has the name "
                  "\"inputs\"");
}

TEST(Refusal, AnUnknownSourceOfTheOutput) {
    ModelWriter model;
    model.setOutputSource("mask");
    EXPECT_EQ(refusalOf(model),
              "refused at byte " + std::to_string(firstLayer + 4 + 4) +
                  ", in the name of the layer that feeds the output: no earlier layer has the "
                  "name \"mask\"");
}

TEST(Refusal, ACutTensor) {
    ModelWriter model;
    model.addConv("c", "input", convOf({1, 1, 1, 4})).setOutputSource("c");
    // Name, type, input; element type, rank and shape; then the values that are not all there.
    const std::size_t values = firstLayer + (4 + 1) + 2 + (4 + 5) + 1 + 1 + 4 * 4;
    EXPECT_EQ(refusalOf(cut(model.bytes(), values + 3)),
              "refused at byte " + std::to_string(values) +
                  ", in layer 1, \"c\" of type 2, ConvLayer: model file ends early");
}

TEST(Refusal, ARecordThatTheEngineFindsWrong) {
    writer::ConvRecord record = convOf({1, 1, 1, 1});
    record.timeStride = 0;
    ModelWriter model;
    model.addConv("c", "input", record)
        .addActivation("a", "c", LayerType::relu)
        .setOutputSource("a");
    const std::string refusal = refusalOf(model);
    EXPECT_NE(refusal.find(", in layer 1, \"c\" of type 2, ConvLayer: "), std::string::npos)
        << refusal;
    EXPECT_NE(refusal.find("stride is below 1"), std::string::npos) << refusal;
}

TEST(Refusal, TwoLayersOfOneName) {
    ModelWriter model;
    model.addActivation("a", "input", LayerType::relu)
        .addActivation("a", "input", LayerType::relu)
        .addActivation("b", "a", LayerType::relu)
        .setOutputSource("b");
    const std::size_t record = (4 + 1) + 2 + (4 + 5);
    EXPECT_EQ(refusalOf(model),
              "refused at byte " + std::to_string(firstLayer + 2 * record) +
                  ", in layer 2, \"a\" of type 4, ReLULayer: two layers have the same name");
}

TEST(Refusal, NamesInItAreEscaped) {
    ModelWriter model;
    model.addRaw("\x1b[2J\"", 13, {});
    EXPECT_NE(refusalOf(model).find("\"\\x1b[2J\\\"\" of type 13"), std::string::npos);
}

TEST(Refusal, ASoundFileHasNone) {
    const inspect::Inspection inspection = inspected(ModelWriter().bytes());
    EXPECT_TRUE(inspection.description.has_value());
    EXPECT_EQ(inspection.refusal, "");
}

}  // namespace
}  // namespace vorun::test
