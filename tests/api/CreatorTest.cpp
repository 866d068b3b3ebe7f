#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

TestModel plainModel() {
    return constantMasks(frameHeader(32, 32, 16), {0.5F});
}

bool isAccepted(const TestModel& model, int channels = 1, double rate = 48000.0) {
    const TemporaryModel file(model);
    return ApiProcessor(file.path(), channels, rate).created();
}

bool isAcceptedAs(const writer::ModelHeader& header, double rate = 48000.0) {
    return isAccepted(constantMasks(header, {0.5F}), 1, rate);
}

template <class Call>
void expectVectorTooLong(Call&& call) {
    try {
        call();
        FAIL() << "no exception";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "vector too long");
    }
}

TEST(Creator, MissingFileGivesNull) {
    EXPECT_EQ(vorunCreateProcessor("/nonexistent/model.file", 1, 48000.0), nullptr);
    EXPECT_EQ(vorunCreateProcessor("", 1, 48000.0), nullptr);
}

TEST(Creator, AFolderInPlaceOfAFileGivesNull) {
    EXPECT_EQ(vorunCreateProcessor(".", 1, 48000.0), nullptr);
}

TEST(Creator, ForeignContentGivesNull) {
    const TemporaryFile empty({});
    EXPECT_EQ(vorunCreateProcessor(empty.path().c_str(), 1, 48000.0), nullptr);
    const TemporaryFile text({'R', 'I', 'F', 'F', 1, 2, 3, 4, 'W', 'A', 'V', 'E'});
    EXPECT_EQ(vorunCreateProcessor(text.path().c_str(), 1, 48000.0), nullptr);
}

TEST(Creator, WrongTagGivesNullAndBothRightOnesLoad) {
    TestModel model = plainModel();
    for (const char* tag : {"VORUN.Model", "VORUN.mode", "VORUN.modelx", "", "ZUTo.mode"}) {
        model.header.tag = tag;
        EXPECT_FALSE(isAccepted(model)) << tag;
    }
    for (const char* tag : {"VORUN.model", "ZUTo.model"}) {
        model.header.tag = tag;
        EXPECT_TRUE(isAccepted(model)) << tag;
    }
}

TEST(Creator, VersionsBelow4100GiveNullAndAllAboveLoad) {
    TestModel model = plainModel();
    for (const std::int32_t version : {4099, 0, -1, std::numeric_limits<std::int32_t>::min()}) {
        model.header.version = version;
        EXPECT_FALSE(isAccepted(model)) << version;
    }
    for (const std::int32_t version :
         {4100, 4101, 4102, 4103, 4104, 4105, 4106, std::numeric_limits<std::int32_t>::max()}) {
        model.header.version = version;
        EXPECT_TRUE(isAccepted(model)) << version;
    }
}

TEST(Creator, NegativeChannelCountRaisesVectorTooLong) {
    const TemporaryModel file(plainModel());
    for (const std::int32_t count : {-1, -2, std::numeric_limits<std::int32_t>::min()}) {
        expectVectorTooLong([&] { vorunCreateProcessor(file.path().c_str(), count, 48000.0); });
        const char* path = file.path().c_str();
        expectVectorTooLong([&] { vorunCreateStemSeparator(1, &path, count, 48000.0); });
    }
}

TEST(Creator, AMissingFileIsFoundBeforeANegativeChannelCount) {
    EXPECT_EQ(vorunCreateProcessor("/nonexistent/model.file", -1, 48000.0), nullptr);
}

TEST(Creator, ChannelCountOfZeroGivesNull) {
    EXPECT_FALSE(isAccepted(plainModel(), 0));
}

TEST(Creator, RatesThatAreNoRateGiveNull) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double rate :
         {0.0, -0.0, -48000.0, std::numeric_limits<double>::quiet_NaN(), infinity, -infinity}) {
        EXPECT_FALSE(isAccepted(plainModel(), 1, rate)) << rate;
    }
}

TEST(Creator, RatesThatLeaveNoUsableFrameGiveNull) {
    // Far above the model's rate the sizes leave 32 bits; far below, the hop is rounded to 0.
    for (const double rate : {1e300, std::numeric_limits<double>::max(), 48000.0 * 0x1p40,
                              48000.0 * 0x1p27, 48000.0 * 0x1p24, 1.0, 1e-300, 5e-324}) {
        EXPECT_FALSE(isAccepted(plainModel(), 1, rate)) << rate;
    }
}

TEST(Creator, ModelRatesThatAreNoRateGiveNull) {
    writer::ModelHeader header = frameHeader(32, 32, 16);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double rate :
         {0.0, -48000.0, std::numeric_limits<double>::quiet_NaN(), infinity, 1e300, 1e-300}) {
        header.sampleRate = rate;
        EXPECT_FALSE(isAcceptedAs(header)) << rate;
    }
}

TEST(Creator, SizesThatCannotBeFramedGiveNull) {
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 32, 0))) << "hop of 0";
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 32, -16))) << "negative hop";
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 31, 16))) << "window below two hops";
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 33, 16))) << "window above the transform";
    EXPECT_FALSE(isAcceptedAs(frameHeader(0, 0, 0))) << "nothing";
    EXPECT_FALSE(isAcceptedAs(frameHeader(-32, -32, -16))) << "all negative";
    EXPECT_TRUE(isAcceptedAs(frameHeader(32, 32, 16)));
    EXPECT_TRUE(isAcceptedAs(frameHeader(32, 32, 1)));
    EXPECT_TRUE(isAcceptedAs(frameHeader(32, 2, 1)));
}

TEST(Creator, SizesAreJudgedAfterScalingToTheHostsRate) {
    // Half the rate halves the sizes, ties to even: hop 3 gives 2 and window 6 gives 3.
    EXPECT_TRUE(isAcceptedAs(frameHeader(8, 6, 3)));
    EXPECT_FALSE(isAcceptedAs(frameHeader(8, 6, 3), 24000.0));
    // A hop of 1 becomes 0.
    EXPECT_TRUE(isAcceptedAs(frameHeader(8, 8, 1)));
    EXPECT_FALSE(isAcceptedAs(frameHeader(8, 8, 1), 24000.0));
    EXPECT_TRUE(isAcceptedAs(frameHeader(8, 8, 1), 24000.1));
}

TEST(Creator, MoreComplexBinsThanTheHostHasGiveNull) {
    const writer::ModelHeader all = complexHeader(frameHeader(32, 32, 16), 17);
    EXPECT_TRUE(isAcceptedAs(all, 48000.0));
    EXPECT_TRUE(isAcceptedAs(all, 96000.0));
    EXPECT_FALSE(isAcceptedAs(all, 24000.0));
    const writer::ModelHeader half = complexHeader(frameHeader(32, 32, 16), 9);
    EXPECT_TRUE(isAcceptedAs(half, 24000.0));
    const writer::ModelHeader oneMore = complexHeader(frameHeader(32, 32, 16), 10);
    EXPECT_FALSE(isAcceptedAs(oneMore, 24000.0));
}

TEST(Creator, AModelWithoutMasksGivesNull) {
    for (const int count : {0, -1, -128}) {
        TestModel model = plainModel();
        model.header.maskCount = static_cast<std::int8_t>(count);
        model.header.busNames.resize(count == 0 ? 1 : 0);
        EXPECT_FALSE(isAccepted(model)) << count;
    }
}

TEST(Creator, FifteenMasksLoadAndSixteenGiveNull) {
    EXPECT_TRUE(isAcceptedAs(frameHeader(32, 32, 16, 1, 1, 15)));
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 32, 16, 1, 1, 16)));
    EXPECT_FALSE(isAcceptedAs(frameHeader(32, 32, 16, 1, 1, 127)));
}

TEST(Creator, AModelWithoutChannelsGivesNull) {
    for (const int count : {0, -1, -128}) {
        TestModel noInput = plainModel();
        noInput.header.inputChannels = static_cast<std::int8_t>(count);
        EXPECT_FALSE(isAccepted(noInput)) << count;
        TestModel noOutput = plainModel();
        noOutput.header.outputChannels = static_cast<std::int8_t>(count);
        EXPECT_FALSE(isAccepted(noOutput)) << count;
    }
}

TEST(Creator, EveryPositiveChannelCountWorks) {
    const TemporaryModel file(plainModel());
    for (const int channels : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 64}) {
        ApiProcessor processor(file.path(), channels, 48000.0);
        ASSERT_TRUE(processor.created()) << channels;
        const Planar input = whiteNoise(channels, 160, 3);
        const Planar output = runAtOnce(processor, input);
        EXPECT_TRUE(isNear(output, widened(head(input, 144)), 2e-6)) << channels;
    }
}

TEST(Creator, DeletingNullDoesNothing) {
    vorunDeleteProcessor(nullptr);
}

TEST(Creator, TheModelFileIsNotNeededAfterCreation) {
    std::vector<std::uint8_t> bytes = plainModel().bytes();
    auto file = std::make_unique<TemporaryFile>(bytes);
    ApiProcessor processor(file->path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    file.reset();
    processor.push(whiteNoise(1, 160, 3));
    EXPECT_EQ(processor.pending(), 144);
}

}  // namespace
}  // namespace vorun::apitest
