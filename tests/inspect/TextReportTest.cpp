#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inspect/InspectTools.h"
#include "inspect/TextReport.h"

namespace vorun::test {
namespace {

using inspect::Inspection;
using testing::HasSubstr;
using testing::Not;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

std::string reportOf(const ModelWriter& model) {
    const Inspection inspection = inspected(model.bytes());
    EXPECT_EQ(inspection.refusal, "");
    return inspection.description ? textReport("m.vorun", *inspection.description) : "";
}

ModelWriter smallModel() {
    ModelHeader header = headerOf(4, 1);
    header.fftSize = 8;
    header.windowSize = 8;
    header.hopSize = 4;
    header.sampleRate = 8000.0;
    ConvRecord record = convOf({2, 3, 1, 2});
    record.weights.elementType = ElementType::half;
    record.bias = blockOf({2});
    record.lookahead = 1;
    ModelWriter model(header);
    model.addConv("mean", "input", record)
        .addActivation("lines", "mean", LayerType::relu)
        .addConv("mask", "lines", convOf({1, 1, 2, 1}))
        .setOutputSource("mask");
    return model;
}

TEST(TextReport, TellsAllOfASmallModel) {
    // Before the layers stand 74 bytes, less four for the shorter name of the output's source.
    const std::string size = std::to_string(smallModel().bytes().size());
    // mean: 10 taps inside 4 bins, 2 frames, 2 channels. mask: 4 bins, 2 channels. 2000 frames/s.
    // Memory: 12 + 2 + 2 weights, the mask's twice; a history of 2 x 4 and one of 8 values; 8 + 8 +
    // 4 outputs.
    EXPECT_EQ(
        reportOf(smallModel()),
        "model        m.vorun\n"
        "format       version 4105, tag VORUN.model, " +
            size +
            " bytes\n"
            "id           1\n"
            "rate         8000 Hz\n"
            "input        4 rows x 1 channel: 4 magnitudes\n"
            "output       1 mask x 1 channel, multiplied with the spectrum (pipeline mode 0)\n"
            "buses        Processed, Residual\n"
            "framing      transform 8, window 8 (1.0 ms), hop 4 (0.5 ms), symmetric windows\n"
            "latency      12 samples, 1.5 ms: 2 hops of framing, 1 frame of look-ahead\n"
            "cost         48 multiply-adds a frame, 96.0 thousand a second\n"
            "memory       72 bytes of weights, 64 bytes of histories, 80 bytes of outputs\n"
            "layers       3, and the output gets 4 x 1 from mask\n"
            "\n"
            "  #  layer  type       from   output  multiply-adds                      values  "
            "parameters\n"
            "  1  mean   ConvLayer  input  4 x 2              40  12 at 16 bit + 2 at 32 bit  "
            "kernel 2 "
            "frames x 3 bins, 1 to 2 channels, look-ahead 1, bias\n"
            "  2  lines  ReLULayer  mean   4 x 2               0\n"
            "  3  mask   ConvLayer  lines  4 x 1               8                 2 at 32 bit  "
            "kernel 1 "
            "frame x 1 bin, 2 to 1 channel, no bias\n");
}

TEST(TextReport, SpectrumModeAndComplexBinsAreNamed) {
    ModelHeader header;
    header.inputFormat = 2;
    header.complexInputBins = 2;
    header.magnitudeInputBins = 3;
    header.pipelineMode = 1;
    header.maskCount = 2;
    header.outputChannels = 2;
    header.busNames = {"Voice, sung", "", "Rest\n"};
    const std::string report = reportOf(ModelWriter(header));
    EXPECT_THAT(report, HasSubstr("\ninput        11 rows x 1 channel: 2 complex bins of four rows "
                                  "each, 3 magnitudes\n"));
    EXPECT_THAT(report, HasSubstr("\noutput       2 estimates x 2 channels of a bus's spectrum "
                                  "(pipeline mode 1)\n"));
    EXPECT_THAT(report, HasSubstr("\nbuses        \"Voice, sung\", \"\", Rest\\n\n"));
    EXPECT_THAT(report, HasSubstr("\nlayers       0, and the output gets 11 x 1 from input\n"));
    EXPECT_THAT(report, HasSubstr("\n\nwarning      the output has 1 channel, but the header "
                                  "promises 4\n"));
}

TEST(TextReport, WindowsOfManyHopsHaveLowLatency) {
    ModelHeader header;
    header.hopSize = 128;
    EXPECT_THAT(reportOf(ModelWriter(header)),
                HasSubstr("hop 128 (2.7 ms), low-latency windows\nlatency      384 samples, 8.0 "
                          "ms: 3 hops of framing, 0 frames of look-ahead\n"));
}

TEST(TextReport, UnreadBytesAreTold) {
    Bytes bytes = ModelWriter().bytes();
    const std::string whole = std::to_string(bytes.size() + 3);
    bytes.insert(bytes.end(), 3, 0);
    EXPECT_THAT(textReport("m", *inspected(bytes).description),
                HasSubstr(", " + whole + " bytes, of which the last 3 are not read\n"));
}

TEST(TextReport, UnknownShapesAreMarked) {
    ModelWriter model(headerOf(0, 1));
    model.addActivation("r", "input", LayerType::relu).setOutputSource("r");
    const std::string report = reportOf(model);
    EXPECT_THAT(report, HasSubstr("\ncost         at least 0 multiply-adds a frame"));
    EXPECT_THAT(report, HasSubstr("\nmemory       at least 0 bytes of weights"));
    EXPECT_THAT(report, HasSubstr("and the output gets ? from r\n"));
    EXPECT_THAT(report, HasSubstr("\n  1  r      ReLULayer  input  ?                   ?\n"));
}

TEST(TextReport, ARateThatIsNoneGivesNoFiguresForIt) {
    ModelHeader header;
    header.sampleRate = 0.0;
    EXPECT_THAT(reportOf(ModelWriter(header)), Not(HasSubstr("a second")));
}

TEST(TextReport, FractionsOfFramesAreShown) {
    ConvRecord slow = convOf({1, 1, 1, 1});
    slow.timeStride = 3;
    ModelWriter model(headerOf(4, 1));
    model.addConv("slow", "input", slow).setOutputSource("slow");
    const std::string report = reportOf(model);
    EXPECT_THAT(report, HasSubstr("  4 x 1 at 1/3            1.3  "));
    EXPECT_THAT(report, HasSubstr("\nwarning      the output gives 1/3 frames for each that goes "
                                  "in\n"));
}

TEST(TextReport, LongNamesPushOnlyTheirOwnLine) {
    ModelWriter model(headerOf(4, 1));
    const std::string name(60, 'n');
    model.addActivation(name, "input", LayerType::relu)
        .addActivation("r", name, LayerType::relu)
        .setOutputSource("r");
    const std::string report = reportOf(model);
    EXPECT_THAT(report, HasSubstr("\n  1  " + name + "  ReLULayer  input"));
    EXPECT_THAT(report, HasSubstr("\n  2  r" + std::string(27, ' ') + "  ReLULayer  " + name));
}

TEST(TextReport, NamesCannotWriteToTheTerminal) {
    ModelWriter model(headerOf(4, 1));
    model.addActivation("\x1b[2J\nwarning", "input", LayerType::relu)
        .setOutputSource("\x1b[2J\nwarning");
    const std::string report = reportOf(model);
    EXPECT_THAT(report, HasSubstr("\\x1b[2J\\nwarning"));
    EXPECT_THAT(report, Not(HasSubstr("\x1b")));
}

TEST(TextReport, ATagOfOlderFilesIsShown) {
    ModelHeader header;
    header.tag = "ZUTo.model";
    header.version = 4100;
    EXPECT_THAT(reportOf(ModelWriter(header)), HasSubstr("version 4100, tag ZUTo.model, "));
}

}  // namespace
}  // namespace vorun::test
