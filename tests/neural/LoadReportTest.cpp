#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/LoadReport.h"
#include "neural/MemoryStream.h"

namespace vorun {
namespace {

using test::MemoryStream;
using writer::ModelHeader;
using writer::ModelWriter;

using Bytes = std::vector<std::uint8_t>;

LoadReport refusalOf(Bytes bytes) {
    NeuralModel<float> model;
    LoadReport report;
    EXPECT_FALSE(model.Load(std::make_shared<MemoryStream>(std::move(bytes)), report));
    return report;
}

constexpr std::int64_t bytesOfTag = 4 + 11;
constexpr std::int64_t bytesOfTagAndVersion = bytesOfTag + 4;

TEST(LoadReport, IsEmptyAfterASuccess) {
    NeuralModel<float> model;
    LoadReport report{"left over", 7};
    EXPECT_TRUE(model.Load(std::make_shared<MemoryStream>(ModelWriter().bytes()), report));
    EXPECT_EQ(report.reason, "");
    EXPECT_EQ(report.byte, 0);
}

TEST(LoadReport, TellsThatNoStreamWasGiven) {
    NeuralModel<float> model;
    LoadReport report;
    EXPECT_FALSE(model.Load(nullptr, report));
    EXPECT_EQ(report.reason, "no stream to read from");
}

TEST(LoadReport, StandsBehindAWrongTag) {
    ModelHeader header;
    header.tag = "VORUN.nodel";
    const LoadReport report = refusalOf(ModelWriter(header).bytes());
    EXPECT_EQ(report.reason, "not a model file");
    EXPECT_EQ(report.byte, bytesOfTag);
}

TEST(LoadReport, StandsBehindAnOldVersion) {
    ModelHeader header;
    header.version = 4099;
    const LoadReport report = refusalOf(ModelWriter(header).bytes());
    EXPECT_EQ(report.reason, "model file version is below 4100");
    EXPECT_EQ(report.byte, bytesOfTagAndVersion);
}

TEST(LoadReport, StandsBehindAnUnknownType) {
    const auto headerAndCount =
        static_cast<std::int64_t>(ModelWriter().bytes().size() - std::string("....input").size());
    ModelWriter file;
    file.addRaw("x", 8, {});
    const LoadReport report = refusalOf(file.bytes());
    EXPECT_EQ(report.reason, "layer type is unknown");
    EXPECT_EQ(report.byte, headerAndCount + 5 + 2);
}

TEST(LoadReport, StandsBehindTheNameOfNoLayer) {
    ModelWriter file;
    file.setOutputSource("nobody");
    const Bytes bytes = file.bytes();
    const LoadReport report = refusalOf(bytes);
    EXPECT_EQ(report.reason, "invalid map<K, T> key");
    EXPECT_EQ(report.byte, static_cast<std::int64_t>(bytes.size()));
}

TEST(LoadReport, StandsAtTheEndOfACutFile) {
    Bytes bytes = ModelWriter().bytes();
    bytes.resize(21);
    const LoadReport report = refusalOf(bytes);
    EXPECT_EQ(report.reason, "model file ends early");
    EXPECT_GE(report.byte, bytesOfTagAndVersion);
    EXPECT_LE(report.byte, 21);
}

}  // namespace
}  // namespace vorun
