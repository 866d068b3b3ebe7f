#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "restore/HostError.h"
#include "restore/Options.h"

namespace vorun::restore {
namespace {

using testing::ElementsAre;

std::optional<Options> parse(std::vector<const char*> words) {
    words.insert(words.begin(), "vorun-restore");
    return parseOptions(static_cast<int>(words.size()), words.data());
}

ExitStatus statusOf(const std::vector<const char*>& words) {
    try {
        parse(words);
        return ExitStatus::success;
    } catch (const HostError& error) {
        return error.status();
    }
}

TEST(Options, DefaultsLeaveAllToTheInputAndTheShippedModel) {
    const std::optional<Options> options = parse({"in.wav", "out.wav"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->input, "in.wav");
    EXPECT_EQ(options->output, "out.wav");
    EXPECT_TRUE(options->models.empty());
    EXPECT_FALSE(options->mix.residualDb);
    EXPECT_FALSE(options->mix.sensitivity);
    EXPECT_FALSE(options->mix.soloBus);
    EXPECT_FALSE(options->sampleFormat);
    EXPECT_EQ(options->blockSamples, 4096);
}

TEST(Options, ReadsEveryOptionInAnyPlace) {
    const std::optional<Options> options = parse({"--model",
                                                  "m",
                                                  "in",
                                                  "--residual-db",
                                                  "-96",
                                                  "--sensitivity",
                                                  "-100",
                                                  "--gain",
                                                  "A=0",
                                                  "--gain",
                                                  "1=100",
                                                  "out",
                                                  "--sensitivity-of",
                                                  "A=-5",
                                                  "--sensitivity-of",
                                                  "B=5",
                                                  "--solo",
                                                  "A",
                                                  "--block",
                                                  "1",
                                                  "--sample-format",
                                                  "float"});
    ASSERT_TRUE(options);
    EXPECT_THAT(options->models, ElementsAre("m"));
    EXPECT_EQ(options->input, "in");
    EXPECT_EQ(options->output, "out");
    EXPECT_EQ(options->mix.residualDb, -96.0F);
    EXPECT_EQ(options->mix.sensitivity, -100.0F);
    ASSERT_EQ(options->mix.gains.size(), 2U);
    EXPECT_EQ(options->mix.gains[1].bus, "1");
    EXPECT_EQ(options->mix.gains[1].value, 100.0F);
    ASSERT_EQ(options->mix.sensitivities.size(), 2U);
    EXPECT_EQ(options->mix.sensitivities[0].value, -5.0F);
    EXPECT_EQ(options->mix.soloBus, "A");
    EXPECT_EQ(options->blockSamples, 1);
    EXPECT_EQ(options->sampleFormat, SampleFormat::single);
}

TEST(Options, ValuesOutOfRangeAreBadUsage) {
    const std::vector<std::vector<const char*>> wrong = {
        {"--residual-db", "0.1"},   {"--residual-db", "-96.1"}, {"--residual-db", "loud"},
        {"--residual-db", ""},      {"--sensitivity", "101"},   {"--sensitivity", "nan"},
        {"--gain", "A=-0.1"},       {"--gain", "A=101"},        {"--gain", "A"},
        {"--sensitivity-of", "A="}, {"--block", "0"},           {"--block", "-1"},
        {"--block", "1.5"},         {"--block", "1048577"},     {"--sample-format", "pcm12"},
        {"--unknown", "1"},
    };
    for (const auto& option : wrong) {
        std::vector<const char*> words = {"in.wav", "out.wav"};
        words.insert(words.end(), option.begin(), option.end());
        EXPECT_EQ(statusOf(words), ExitStatus::badUsage) << option[0] << " " << option[1];
    }
}

TEST(Options, MissingAndSurplusFilesAreBadUsage) {
    EXPECT_EQ(statusOf({}), ExitStatus::badUsage);
    EXPECT_EQ(statusOf({"in.wav"}), ExitStatus::badUsage);
    EXPECT_EQ(statusOf({"in.wav", "out.wav", "more.wav"}), ExitStatus::badUsage);
    EXPECT_EQ(statusOf({"in.wav", "out.wav", "--model"}), ExitStatus::badUsage);
    EXPECT_EQ(statusOf({"--list-buses", "in.wav"}), ExitStatus::badUsage);
    EXPECT_EQ(statusOf({"--info", "in.wav", "out.wav"}), ExitStatus::badUsage);
}

TEST(Options, QuestionsAboutTheModelNeedNoFiles) {
    EXPECT_EQ(statusOf({"--list-buses"}), ExitStatus::success);
    EXPECT_EQ(statusOf({"--info"}), ExitStatus::success);
    EXPECT_EQ(statusOf({"--info", "in.wav"}), ExitStatus::success);
}

TEST(Options, SeveralModelsHaveAStatusOfTheirOwn) {
    EXPECT_EQ(statusOf({"--model", "a", "--model", "b", "in.wav", "out.wav"}),
              ExitStatus::severalModels);
}

TEST(Options, ErrorIsOneLine) {
    try {
        parse({"--gain", "two\nlines", "in.wav", "out.wav"});
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
}

}  // namespace
}  // namespace vorun::restore
