#include <cstring>
#include <gtest/gtest.h>

#include "api/ApiProcessor.h"
#include "api/HostFrame.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

VorunProcessorInfo infoAt(const writer::ModelHeader& header, double rate, int lookahead = 0) {
    const TemporaryModel file(livelyMasks(header, 1, lookahead));
    const ApiProcessor processor(file.path(), 2, rate);
    EXPECT_TRUE(processor.created());
    return processor.created() ? processor.info() : VorunProcessorInfo{};
}

TEST(ProcessorInfo, StatesTheModelsValuesWhateverTheHostsAre) {
    const VorunProcessorInfo info = infoAt(frameHeader(64, 48, 16, 3, 3), 96000.0);
    EXPECT_EQ(info.sampleRate, 48000.0);
    EXPECT_EQ(info.inputChannels, 3);
    EXPECT_EQ(info.windowSize, 48);
    EXPECT_EQ(info.hopSize, 16);
}

TEST(ProcessorInfo, LatencyIsTwoHopsInTheSymmetricSchemeAndThreeInTheOther) {
    EXPECT_EQ(infoAt(frameHeader(64, 64, 32), 48000.0).latency, 2 * 32);
    EXPECT_EQ(infoAt(frameHeader(64, 50, 20), 48000.0).latency, 2 * 20);
    EXPECT_EQ(infoAt(frameHeader(64, 60, 20), 48000.0).latency, 3 * 20);
    EXPECT_EQ(infoAt(frameHeader(64, 64, 16), 48000.0).latency, 3 * 16);
}

TEST(ProcessorInfo, LatencyGrowsByOneHopForEachFrameOfLookahead) {
    for (const int lookahead : {0, 1, 2, 5}) {
        EXPECT_EQ(infoAt(frameHeader(64, 64, 32), 48000.0, lookahead).latency,
                  (2 + lookahead) * 32);
        EXPECT_EQ(infoAt(frameHeader(64, 64, 16), 96000.0, lookahead).latency,
                  (3 + lookahead) * 32);
    }
}

TEST(ProcessorInfo, AHopOfOneSampleCountsEveryBlockAsWholeHops) {
    EXPECT_EQ(infoAt(frameHeader(8, 2, 1), 48000.0).latency, 1);
    EXPECT_EQ(infoAt(frameHeader(8, 8, 1), 48000.0).latency, 2);
    EXPECT_EQ(infoAt(frameHeader(8, 8, 1), 48000.0, 3).latency, 5);
}

TEST(ProcessorInfo, FrameSizesFollowTheRateByPowersOfTwo) {
    struct Case {
        double rate;
        int hop;
    };
    // A model hop of 64 at 48000 Hz.
    const Case cases[] = {{192000.0, 256}, {96000.1, 256}, {96000.0, 128}, {88200.0, 128},
                          {48000.1, 128},  {48000.0, 64},  {44100.0, 64},  {32000.0, 64},
                          {24000.1, 64},   {24000.0, 32},  {16000.0, 32},  {12000.1, 32},
                          {12000.0, 16},   {8000.0, 16},   {6000.0, 8}};
    for (const Case& each : cases) {
        EXPECT_EQ(infoAt(frameHeader(128, 128, 64), each.rate).latency, 2 * each.hop) << each.rate;
    }
}

TEST(ProcessorInfo, HalvedSizesAreRoundedToEvenOnTies) {
    EXPECT_EQ(infoAt(frameHeader(16, 10, 5), 24000.0).latency, 2 * 2);
    EXPECT_EQ(infoAt(frameHeader(16, 16, 7), 24000.0).latency, 2 * 4);
    // Window 13 becomes 6 and hop 3 becomes 2, so three hops fit.
    EXPECT_EQ(infoAt(frameHeader(16, 13, 3), 24000.0).latency, 3 * 2);
}

TEST(ProcessorInfo, LatencyFollowsTheLookaheadOfStridedLayersAtTheirRate) {
    // One frame ahead of a stride of 2 and three behind it count 1 + 2 x 3.
    TestModel model = livelyMasks(frameHeader(32, 32, 16), 5);
    auto& first = std::get<writer::ConvRecord>(model.network[0]);
    first.timeStride = 2;
    first.lookahead = 1;
    std::get<writer::ConvRecord>(model.network[2]).lookahead = 3;
    const TemporaryModel file(model);
    const ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    EXPECT_EQ(processor.info().latency, (2 + 7) * 16);
}

TEST(ProcessorInfo, OldFilesTakeTheTransformAsWindow) {
    TestModel model = constantMasks(frameHeader(64, 32, 16), {0.5F});
    model.header.version = 4100;
    const TemporaryModel file(model);
    const ApiProcessor processor(file.path(), 1, 48000.0);
    ASSERT_TRUE(processor.created());
    EXPECT_EQ(processor.info().windowSize, 64);
    EXPECT_EQ(processor.info().latency, 3 * 16);
}

TEST(ProcessorInfo, ResetAndAudioDoNotChangeIt) {
    const TemporaryModel file(livelyMasks(frameHeader(64, 64, 16), 1, 2));
    ApiProcessor processor(file.path(), 1, 44100.0);
    ASSERT_TRUE(processor.created());
    const VorunProcessorInfo before = processor.info();
    processor.push(whiteNoise(1, 500, 1));
    processor.reset();
    const VorunProcessorInfo after = processor.info();
    EXPECT_EQ(after.latency, before.latency);
    EXPECT_EQ(after.sampleRate, before.sampleRate);
    EXPECT_EQ(after.windowSize, before.windowSize);
    EXPECT_EQ(after.hopSize, before.hopSize);
}

TEST(ModelInfo, StatesTheModelsValuesAndItsLookaheadInFrames) {
    writer::ModelHeader header = frameHeader(256, 200, 64, 5, 2, 3);
    header.sampleRate = 44100.0;
    const TemporaryModel file(livelyMasks(header, 1, 4));
    ModelHandle* model = vorunCreateModel(file.path().c_str());
    ASSERT_NE(model, nullptr);
    VorunModelInfo info;
    std::memset(&info, 0xA5, sizeof(info));
    vorunGetProcessorInfo(static_cast<void*>(model), &info);
    EXPECT_EQ(info.sampleRate, 44100.0);
    EXPECT_EQ(info.inputChannels, 5);
    EXPECT_EQ(info.fftSize, 256);
    EXPECT_EQ(info.windowSize, 200);
    EXPECT_EQ(info.hopSize, 64);
    EXPECT_EQ(info.latency, 4);
    vorunDeleteModel(model);
}

TEST(ModelInfo, StatesValuesThatNoProcessorWouldTake) {
    writer::ModelHeader header = frameHeader(-5, 7, 0, -3, -2, 0);
    header.sampleRate = -1.0;
    const TemporaryModel file(TestModel{header, {}});
    ModelHandle* model = vorunCreateModel(file.path().c_str());
    ASSERT_NE(model, nullptr);
    VorunModelInfo info{};
    vorunGetProcessorInfo(static_cast<void*>(model), &info);
    EXPECT_EQ(info.sampleRate, -1.0);
    EXPECT_EQ(info.inputChannels, -3);
    EXPECT_EQ(info.fftSize, -5);
    EXPECT_EQ(info.windowSize, 7);
    EXPECT_EQ(info.hopSize, 0);
    EXPECT_EQ(info.latency, 0);
    vorunDeleteModel(model);
}

}  // namespace
}  // namespace vorun::apitest
