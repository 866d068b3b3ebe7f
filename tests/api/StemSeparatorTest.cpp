#include <cmath>
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

bool areAcceptedTogether(const TestModel& first, const TestModel& second) {
    const TemporaryModel a(first);
    const TemporaryModel b(second);
    return ApiProcessor(std::vector{a.path(), b.path()}, 1, 48000.0).created();
}

TestModel stem(const writer::ModelHeader& header) {
    return constantMasks(header, {0.3F});
}

TEST(StemSeparator, OneModelIsTheSameAsAProcessor) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 8, 1, 1, 3), 2, 1));
    ApiProcessor separator(std::vector{file.path()}, 2, 44100.0);
    ApiProcessor processor(file.path(), 2, 44100.0);
    ASSERT_TRUE(separator.created());
    ASSERT_TRUE(processor.created());
    for (ApiProcessor* each : {&separator, &processor}) {
        each->set(gainOf(0), 0.5F);
        each->set(gainOf(3), 0.0F);
    }
    const Planar input = whiteNoise(2, 400, 3);
    EXPECT_EQ(separator.busCount(), 4);
    EXPECT_EQ(separator.info().latency, processor.info().latency);
    EXPECT_TRUE(sameBits(runAtOnce(separator, input), runAtOnce(processor, input)));
}

TEST(StemSeparator, NoModelsGiveNull) {
    EXPECT_EQ(vorunCreateStemSeparator(0, nullptr, 1, 48000.0), nullptr);
}

TEST(StemSeparator, ANegativeCountRaisesVectorTooLong) {
    for (const std::int32_t count : {-1, std::numeric_limits<std::int32_t>::min()}) {
        try {
            vorunCreateStemSeparator(count, nullptr, 1, 48000.0);
            FAIL() << "no exception";
        } catch (const std::length_error& error) {
            EXPECT_STREQ(error.what(), "vector too long");
        }
    }
}

TEST(StemSeparator, AnyMissingModelGivesNull) {
    const TemporaryModel file(stem(frameHeader(32, 32, 16)));
    const std::string missing = "/nonexistent/model.file";
    EXPECT_FALSE(ApiProcessor(std::vector{missing, file.path()}, 1, 48000.0).created());
    EXPECT_FALSE(ApiProcessor(std::vector{file.path(), missing}, 1, 48000.0).created());
    EXPECT_TRUE(ApiProcessor(std::vector{file.path(), file.path()}, 1, 48000.0).created());
}

TEST(StemSeparator, NamesOfAllModelsStandInOrder) {
    TestModel first = stem(frameHeader(32, 32, 16));
    first.header.busNames = {"Voice", "Rest"};
    TestModel second = stem(frameHeader(32, 32, 16, 1, 1, 2));
    second.header.busNames = {"Drums", "Bass", "Others"};
    const TemporaryModel a(first);
    const TemporaryModel b(second);
    const ApiProcessor separator(std::vector{a.path(), b.path()}, 1, 48000.0);
    ASSERT_TRUE(separator.created());
    EXPECT_EQ(separator.busCount(), 5);
    const char* names[] = {"Voice", "Rest", "Drums", "Bass", "Others", "", "Voice"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(separator.busName(i), names[i]) << i;
    }
    EXPECT_EQ(separator.busName(-2), "Others");
}

TEST(StemSeparator, TwoModelsOfOneMaskHaveFourBusesAndGiveNoAudio) {
    const TemporaryModel a(livelyMasks(frameHeader(32, 32, 16), 1));
    const TemporaryModel b(livelyMasks(frameHeader(32, 32, 16), 2, 2));
    ApiProcessor separator(std::vector{a.path(), b.path()}, 2, 48000.0);
    ASSERT_TRUE(separator.created());
    EXPECT_EQ(separator.busCount(), 4);
    const Planar input = whiteNoise(2, 64, 3);
    for (int i = 0; i < 50; ++i) {
        separator.push(input);
        EXPECT_EQ(separator.pending(), 0);
    }
    Planar target = silence(2, 1);
    EXPECT_FALSE(separator.tryPull(target, 1));
    separator.reset();
    separator.push(input);
    EXPECT_EQ(separator.pending(), 0);
}

TEST(StemSeparator, TheInfoIsTheFirstModelsWithTheLargestLookahead) {
    writer::ModelHeader other = frameHeader(64, 32, 16);
    const TemporaryModel a(livelyMasks(frameHeader(32, 32, 16), 1, 1));
    const TemporaryModel b(livelyMasks(other, 2, 4));
    const ApiProcessor separator(std::vector{a.path(), b.path()}, 1, 48000.0);
    ASSERT_TRUE(separator.created());
    EXPECT_EQ(separator.info().latency, (2 + 4) * 16);
    EXPECT_EQ(separator.info().windowSize, 32);
    const ApiProcessor turned(std::vector{b.path(), a.path()}, 1, 48000.0);
    ASSERT_TRUE(turned.created());
    EXPECT_EQ(turned.info().latency, (2 + 4) * 16);
}

TEST(StemSeparator, ModelsMayDifferInTransformLength) {
    EXPECT_TRUE(areAcceptedTogether(stem(frameHeader(32, 32, 16)), stem(frameHeader(64, 32, 16))));
}

TEST(StemSeparator, ModelsMayDifferInModeAndMasks) {
    writer::ModelHeader other = frameHeader(32, 32, 16, 1, 1, 2);
    other.pipelineMode = 1;
    EXPECT_TRUE(areAcceptedTogether(stem(frameHeader(32, 32, 16)), stem(other)));
}

TEST(StemSeparator, ModelsOfDifferentWindowOrHopGiveNull) {
    EXPECT_FALSE(areAcceptedTogether(stem(frameHeader(32, 32, 16)), stem(frameHeader(32, 32, 8))));
    EXPECT_FALSE(areAcceptedTogether(stem(frameHeader(64, 32, 8)), stem(frameHeader(64, 48, 8))));
}

TEST(StemSeparator, ModelsWhoseRatesDifferInTheLastBitGiveNull) {
    writer::ModelHeader other = frameHeader(32, 32, 16);
    other.sampleRate = std::nextafter(48000.0, 50000.0);
    EXPECT_FALSE(areAcceptedTogether(stem(frameHeader(32, 32, 16)), stem(other)));
    other.sampleRate = std::nextafter(48000.0, 0.0);
    EXPECT_FALSE(areAcceptedTogether(stem(frameHeader(32, 32, 16)), stem(other)));
}

TEST(StemSeparator, ModelsOfDifferentChannelsGiveNull) {
    const TestModel mono = stem(frameHeader(32, 32, 16, 1, 1));
    EXPECT_FALSE(areAcceptedTogether(mono, stem(frameHeader(32, 32, 16, 2, 1))));
    EXPECT_FALSE(areAcceptedTogether(mono, stem(frameHeader(32, 32, 16, 1, 2))));
    EXPECT_TRUE(areAcceptedTogether(stem(frameHeader(32, 32, 16, 2, 3)),
                                    stem(frameHeader(32, 32, 16, 2, 3))));
}

}  // namespace
}  // namespace vorun::apitest
