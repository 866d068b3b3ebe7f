#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hosts/HostProcess.h"
#include "inspect/InspectTools.h"
#include "support/ScratchFolder.h"

/** The program as its users run it. */
namespace vorun::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using writer::LayerType;
using writer::ModelWriter;

constexpr int success = 0;
constexpr int refused = 1;
constexpr int badUsage = 2;
constexpr int cannotRead = 3;
constexpr int writeFailed = 9;

ProcessResult run(const std::vector<std::string>& arguments, const ProcessSetup& setup = {}) {
    return runProgram(VORUN_INSPECT_PROGRAM, arguments, setup);
}

void expectError(const ProcessResult& result, int status, const std::string& text) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(isOneLine(result.err)) << result.err;
    EXPECT_THAT(result.err, StartsWith("vorun-inspect: "));
    EXPECT_THAT(result.err, HasSubstr(text));
}

class InspectProgram : public testing::Test {
  protected:
    std::string save(const ModelWriter& model) { return folder_.save(model); }

    ScratchFolder folder_;
};

TEST_F(InspectProgram, DescribesTheModelThatShips) {
    const ProcessResult result = run({VORUN_GATE_MODEL});
    EXPECT_EQ(result.status, success);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("\nlatency      1280 samples, 26.7 ms: 3 hops of framing, 2 "
                                      "frames of look-ahead\n"));
    EXPECT_THAT(result.out, HasSubstr("  7  floor mean 1  ConvLayer     presence      342 x 3  "));
    EXPECT_THAT(result.out, testing::Not(HasSubstr("warning")));
}

TEST_F(InspectProgram, DescribesEveryLayerType) {
    const ProcessResult result = run({save(everyLayer())});
    EXPECT_EQ(result.status, success) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\nlayers       16, and the output gets 4 x 2 from mask\n"));
    EXPECT_THAT(result.out, HasSubstr("1 frame of look-ahead"));
}

TEST_F(InspectProgram, DescribesEveryVersion) {
    for (const std::int32_t version : {4100, 4101, 4102, 4103, 4104, 4105, 9999}) {
        writer::ModelHeader header = headerOf(4, 2);
        header.version = version;
        const ProcessResult result = run({save(everyLayer(header))});
        EXPECT_EQ(result.status, success) << version << ": " << result.err;
        EXPECT_THAT(result.out, HasSubstr("version " + std::to_string(version)));
    }
}

TEST_F(InspectProgram, DrawsTheGraphAndWarnsBesideIt) {
    ModelWriter model(headerOf(4, 1));
    model.addActivation("a", "input", LayerType::relu);
    const ProcessResult result = run({"--dot", save(model)});
    EXPECT_EQ(result.status, success);
    EXPECT_THAT(result.out, StartsWith("digraph model {\n"));
    EXPECT_THAT(result.out, HasSubstr("input -> layer1"));
    EXPECT_EQ(result.err,
              "vorun-inspect: warning: \"a\" does not lead to the output; it runs all the same\n");
}

TEST_F(InspectProgram, RefusedFilesAreToldWhereAndWhy) {
    const std::string path = save(ModelWriter().addRaw("x", 11, {}));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{path}, std::vector<std::string>{path, "--dot"}}) {
        expectError(run(arguments), refused,
                    "'" + path +
                        "' is refused at byte 81, in layer 1, \"x\" of type 11: layer "
                        "type is unknown");
    }
}

TEST_F(InspectProgram, FilesThatCannotBeReadAreNoModels) {
    expectError(run({folder_.path("gone.vorun")}), cannotRead, "No such file or directory");
    expectError(run({folder_.path()}), cannotRead, "Is a directory");
    expectError(run({"/dev/null"}), cannotRead, "not a file");
}

TEST_F(InspectProgram, WrongCommandLinesAreTold) {
    expectError(run({}), badUsage, "MODEL is missing; see --help");
    expectError(run({"--dots", VORUN_GATE_MODEL}), badUsage, "--dots; see --help");
    expectError(run({VORUN_GATE_MODEL, "b"}), badUsage, "see --help");
    expectError(run({"--\x1b[2J"}), badUsage, "\\x1b[2J");
}

TEST_F(InspectProgram, HelpAndVersionAreAnswered) {
    const ProcessResult help = run({"--help"});
    EXPECT_EQ(help.status, success);
    EXPECT_THAT(help.out, HasSubstr("Exit status:"));
    const ProcessResult version = run({"--version"});
    EXPECT_EQ(version.status, success);
    EXPECT_THAT(version.out, StartsWith("vorun-inspect "));
}

TEST_F(InspectProgram, AnOutputThatIsLostIsToldToo) {
    ProcessSetup setup;
    for (const ProcessSetup::Out out : {ProcessSetup::Out::fullDevice, ProcessSetup::Out::closed,
                                        ProcessSetup::Out::closedPipe}) {
        setup.out = out;
        expectError(run({VORUN_GATE_MODEL}, setup), writeFailed,
                    "cannot write to the standard output");
    }
}

TEST_F(InspectProgram, PathsAreEscaped) {
    const ProcessResult result = run({folder_.path("\x1b[2J")});
    EXPECT_EQ(result.status, cannotRead);
    EXPECT_THAT(result.err, HasSubstr("\\x1b[2J"));
}

TEST_F(InspectProgram, EveryDamagedByteEndsWithAStatus) {
    ModelWriter model(headerOf(4, 1));
    model.addConv("c", "input", convOf({1, 1, 1, 1})).setOutputSource("c");
    const Bytes sound = model.bytes();
    for (std::size_t i = 0; i < sound.size(); ++i) {
        Bytes damaged = sound;
        damaged[i] ^= 0xFFU;
        folder_.write("damaged", damaged);
        const ProcessResult result = run({folder_.path("damaged")});
        ASSERT_TRUE(result.status == success || result.status == refused)
            << "byte " << i << ": " << result.status;
        ASSERT_EQ(result.status == refused, result.out.empty()) << "byte " << i;
    }
}

}  // namespace
}  // namespace vorun::test
