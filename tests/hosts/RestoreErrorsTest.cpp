#include <filesystem>
#include <sys/stat.h>

#include "hosts/RestoreFixture.h"
#include "restore/HostError.h"

namespace vorun::test {
namespace {

using restore::ExitStatus;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

/** Every error leaves the target and its folder as they were. */
class RestoreErrorTest : public RestoreTest {
  protected:
    RestoreErrorTest() { writeBytes(output_, "what was there"); }

    void expectError(const ProcessResult& result, ExitStatus status, const std::string& text) {
        EXPECT_EQ(result.status, static_cast<int>(status));
        EXPECT_TRUE(isOneLine(result.err)) << result.err;
        EXPECT_THAT(result.err, StartsWith("vorun-restore: "));
        EXPECT_THAT(result.err, HasSubstr(text));
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(readBytes(folder_.file("out.wav")), "what was there");
        EXPECT_THAT(folder_.names(), UnorderedElementsAreArray(expectedNames_));
    }

    std::vector<std::string> expectedNames_ = {"model.vorun", "in.wav", "out.wav"};
};

TEST_F(RestoreErrorTest, MissingInput) {
    input_ = folder_.file("missing.wav");
    expectError(run(), ExitStatus::cannotReadInput, "missing.wav': No such file");
}

TEST_F(RestoreErrorTest, InputIsAFolder) {
    input_ = folder_.file("");
    expectError(run(), ExitStatus::cannotReadInput, "Is a directory");
}

TEST_F(RestoreErrorTest, InputIsADevice) {
    input_ = "/dev/zero";
    expectError(run(), ExitStatus::cannotReadInput, "not a file");
}

TEST_F(RestoreErrorTest, InputIsNotAudio) {
    writeBytes(input_, "A letter to a friend.\nWith two lines.\n");
    expectError(run(), ExitStatus::notAudio, "is not audio");
    writeBytes(input_, "");
    expectError(run(), ExitStatus::notAudio, "is not audio");
}

TEST_F(RestoreErrorTest, InputIsDamaged) {
    noise_.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    input_ = folder_.file("in.flac");
    expectedNames_.emplace_back("in.flac");
    writeRecording(input_, noise_);
    std::string bytes = readBytes(input_);
    bytes.replace(bytes.size() / 2, 20000, 20000, '\0');
    writeBytes(input_, bytes);
    expectError(run(), ExitStatus::notAudio, "is damaged: ");
}

TEST_F(RestoreErrorTest, MissingModel) {
    expectError(runRestore({"--model", folder_.file("none.vorun"), input_, output_}),
                ExitStatus::modelRefused, "cannot open the model");
}

TEST_F(RestoreErrorTest, ModelIsAFolder) {
    expectError(runRestore({"--model", folder_.file(""), input_, output_}),
                ExitStatus::modelRefused, "Is a directory");
}

TEST_F(RestoreErrorTest, PipeThatNobodyWritesIsNoModelAndNoInput) {
    const std::string pipe = folder_.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    expectedNames_.emplace_back("pipe");
    expectError(runRestore({"--model", pipe, input_, output_}), ExitStatus::modelRefused,
                "pipe': not a file");
    expectError(runRestore({pipe, output_}), ExitStatus::cannotReadInput, "pipe': not a file");
}

TEST_F(RestoreErrorTest, RefusedModel) {
    writeBytes(model_, "VORUN.mode");
    expectError(run(), ExitStatus::modelRefused, "refuses");
    expectError(runRestore({"--model", model_, "--list-buses"}), ExitStatus::modelRefused,
                "refuses");
}

TEST_F(RestoreErrorTest, ModelThatCannotRunAtTheRateOfTheInput) {
    noise_.sampleRate = 8;
    writeRecording(input_, noise_);
    expectError(run(), ExitStatus::modelRefused, "cannot run on 1 channel at 8 Hz");
}

TEST_F(RestoreErrorTest, ModelThatLosesFramesIsToldInsteadOfKeepingAllAudio) {
    writeFrameDropper(model_);
    expectError(run(), ExitStatus::modelRefused, "less audio than it takes");
}

TEST_F(RestoreErrorTest, ExceptionOfTheEngineIsTold) {
    writeRowDropper(model_);
    expectError(run(), ExitStatus::engineFailed, "the engine failed: ");
}

TEST_F(RestoreErrorTest, SeveralModelsStopBeforeTheInputIsRead) {
    expectError(runRestore({"--model", "a", "--model", "b", "missing.wav", output_}),
                ExitStatus::severalModels, "no audio from several model files");
}

TEST_F(RestoreErrorTest, UnknownBus) {
    expectError(run({"--gain", "Drums=1"}), ExitStatus::unknownBus, "no bus 'Drums'");
    expectError(run({"--solo", "2"}), ExitStatus::unknownBus, "'Processed', 'Residual'");
    expectError(run({"--sensitivity-of", "-1=0"}), ExitStatus::unknownBus, "no bus '-1'");
}

TEST_F(RestoreErrorTest, BadValuesAndOptions) {
    expectError(run({"--block", "0"}), ExitStatus::badUsage, "--block takes a number from 1");
    expectError(run({"--gain", "Processed"}), ExitStatus::badUsage, "BUS=VALUE");
    expectError(run({"--residual-db", "3"}), ExitStatus::badUsage, "from -96 to 0");
    expectError(run({"--no-such"}), ExitStatus::badUsage, "--no-such");
    expectError(run({"third.wav"}), ExitStatus::badUsage, "third.wav");
    expectError(run({"--block", "1", "--block", "2"}), ExitStatus::badUsage,
                "--block is given more than once");
    expectError(runRestore({"--list-buses", input_}), ExitStatus::badUsage,
                "in.wav' has no meaning with --list-buses");
    expectError(runRestore({"--info", input_, output_}), ExitStatus::badUsage,
                "out.wav' has no meaning with --info");
    expectError(runRestore({}), ExitStatus::badUsage, "INPUT");
    expectError(runRestore({input_}), ExitStatus::badUsage, "OUTPUT");
}

TEST_F(RestoreErrorTest, SameFileUnderAnyOfItsNames) {
    const std::string before = readBytes(input_);
    std::filesystem::create_symlink("in.wav", folder_.file("soft.wav"));
    std::filesystem::create_hard_link(input_, folder_.file("hard.wav"));
    expectedNames_.insert(expectedNames_.end(), {"soft.wav", "hard.wav"});
    for (const char* const name : {"in.wav", "./in.wav", "soft.wav", "hard.wav"}) {
        output_ = folder_.file(name);
        expectError(run(), ExitStatus::sameFile, "the same file");
        EXPECT_EQ(readBytes(input_), before);
    }
}

TEST_F(RestoreErrorTest, UnknownSuffix) {
    output_ = folder_.file("out.xyz");
    expectError(run(), ExitStatus::cannotCreateOutput, "suffix");
    output_ = "/dev/full";
    expectError(run(), ExitStatus::cannotCreateOutput, "suffix");
}

TEST_F(RestoreErrorTest, OutputInAMissingFolder) {
    output_ = folder_.file("missing/out.wav");
    expectError(run(), ExitStatus::cannotCreateOutput, "No such file");
}

TEST_F(RestoreErrorTest, OutputIsAFolder) {
    output_ = folder_.file("folder.wav");
    std::filesystem::create_directory(output_);
    expectedNames_.emplace_back("folder.wav");
    expectError(run(), ExitStatus::cannotCreateOutput, "something other than a file");
}

TEST_F(RestoreErrorTest, OutputBehindALinkIsADevice) {
    output_ = folder_.file("full.wav");
    std::filesystem::create_symlink("/dev/full", output_);
    expectedNames_.emplace_back("full.wav");
    expectError(run(), ExitStatus::cannotCreateOutput, "full.wav': something other than a file");
}

TEST_F(RestoreErrorTest, OutputLinkToAMissingFolderStays) {
    output_ = folder_.file("dangling.wav");
    std::filesystem::create_symlink("nowhere/x.wav", output_);
    expectedNames_.emplace_back("dangling.wav");
    expectError(run(), ExitStatus::cannotCreateOutput, "dangling.wav': No such file");
    EXPECT_TRUE(std::filesystem::is_symlink(output_));
}

TEST_F(RestoreErrorTest, ReportThatCannotBePrinted) {
    for (const auto out : {ProcessSetup::Out::fullDevice, ProcessSetup::Out::closedPipe,
                           ProcessSetup::Out::closed}) {
        ProcessSetup setup;
        setup.out = out;
        for (const char* const question : {"--help", "--version", "--list-buses", "--info"}) {
            expectError(runRestore({question}, setup), ExitStatus::writeFailed,
                        "cannot write to the standard output: ");
        }
    }
}

TEST_F(RestoreErrorTest, FileSizeLimitInEveryContainer) {
    for (const char* const name : {"out.wav", "full.flac", "full.ogg", "full.aiff"}) {
        output_ = folder_.file(name);
        ProcessSetup setup;
        setup.fileSizeLimit = 2000;
        expectError(run({}, setup), ExitStatus::writeFailed, "File too large");
    }
}

}  // namespace
}  // namespace vorun::test
