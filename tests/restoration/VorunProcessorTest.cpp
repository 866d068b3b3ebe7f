#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "restoration/VorunProcessor.h"
#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::layoutOf;
using test::makeReady;
using test::randomSpectrum;
using test::smallBins;
using test::smallHeader;

/** Frames of 1024 samples at 48 kHz. */
writer::ModelHeader fullHeader(std::int16_t window, std::int16_t hop) {
    writer::ModelHeader header = smallHeader();
    header.complexInputBins = 10;
    header.magnitudeInputBins = 503;
    header.fftSize = 1024;
    header.windowSize = window;
    header.hopSize = hop;
    return header;
}

class Processor : public ::testing::Test {
  protected:
    std::string save(const writer::ModelHeader& header) {
        return folder.save(writer::ModelWriter(header));
    }

    test::ScratchFolder folder;
    VorunProcessor processor;
};

TEST_F(Processor, CannotBePreparedWithoutModels) {
    EXPECT_FALSE(processor.prepare(layoutOf(1), layoutOf(1)));
}

TEST_F(Processor, PassesAudioByUntilPrepared) {
    const Signal32 block = test::randomSamples(2, 100, 1);
    EXPECT_TRUE(processor.process(block).sharesBufferWith(block));
    EXPECT_EQ(processor.getLatency(1), 0);
    processor.reset();
    EXPECT_TRUE(processor.process(block).sharesBufferWith(block));
}

TEST_F(Processor, RefusesLayoutsThatAreNoStream) {
    ASSERT_TRUE(processor.loadModels({save(smallHeader())}));
    EXPECT_FALSE(processor.prepare(layoutOf(0), layoutOf(0)));
    EXPECT_FALSE(processor.prepare(layoutOf(1), layoutOf(0)));
    EXPECT_FALSE(processor.prepare(layoutOf(0), layoutOf(1)));
    for (const double rate : {0.0, -48000.0, std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity(), 1e-300, 1e300}) {
        EXPECT_FALSE(processor.prepare(layoutOf(1, rate), layoutOf(1, rate))) << rate;
    }
    EXPECT_TRUE(processor.prepare(layoutOf(1), layoutOf(1)));
}

TEST_F(Processor, RefusesFrameSizesThatCannotBeFramed) {
    struct Row {
        std::int16_t fft, window, hop;
        bool expected;
    };
    for (const Row row : {Row{16, 16, 8, true}, Row{16, 16, 4, true}, Row{16, 12, 4, true},
                          Row{16, 16, 0, false}, Row{16, 16, -1, false}, Row{16, 15, 8, false},
                          Row{16, 18, 8, false}, Row{8, 16, 8, false}, Row{0, 16, 8, false},
                          Row{-16, 16, 8, false}, Row{16, 0, 0, false}, Row{16, -16, -8, false}}) {
        writer::ModelHeader header = smallHeader();
        header.complexInputBins = 0;
        header.fftSize = row.fft;
        header.windowSize = row.window;
        header.hopSize = row.hop;
        VorunProcessor fresh;
        EXPECT_EQ(makeReady(fresh, {save(header)}), row.expected)
            << row.fft << " " << row.window << " " << row.hop;
    }
}

TEST_F(Processor, RefusesHopsThatScaleToNothing) {
    writer::ModelHeader header = smallHeader();
    header.complexInputBins = 0;
    header.hopSize = 1;
    const std::string path = save(header);
    EXPECT_TRUE(makeReady(processor, {path}, 1, 48000.0));
    VorunProcessor slow;
    EXPECT_FALSE(makeReady(slow, {path}, 1, 24000.0));
}

TEST_F(Processor, RefusesMoreComplexBinsThanTheHostHas) {
    // 129 bins at 8 kHz.
    writer::ModelHeader header = fullHeader(1024, 512);
    header.complexInputBins = 129;
    const std::string fits = save(header);
    EXPECT_TRUE(makeReady(processor, {fits}, 1, 8000.0));
    header.complexInputBins = 130;
    const std::string exceeds = save(header);
    VorunProcessor slow;
    EXPECT_FALSE(makeReady(slow, {exceeds}, 1, 8000.0));
    VorunProcessor inSecondPlace;
    EXPECT_FALSE(makeReady(inSecondPlace, {fits, exceeds}, 1, 8000.0));
    VorunProcessor fast;
    EXPECT_TRUE(makeReady(fast, {exceeds}, 1, 16000.0));
}

TEST_F(Processor, LatencyOfTheSymmetricScheme) {
    ASSERT_TRUE(makeReady(processor, {save(fullHeader(1024, 512))}));
    EXPECT_EQ(processor.getLatency(1), 1024);
    EXPECT_EQ(processor.getLatency(511), 1024);
    EXPECT_EQ(processor.getLatency(512), 512);
    EXPECT_EQ(processor.getLatency(1024), 512);
    EXPECT_EQ(processor.getLatency(0), 512);
}

TEST_F(Processor, LatencyOfTheLowLatencyScheme) {
    ASSERT_TRUE(makeReady(processor, {save(fullHeader(1024, 256))}));
    EXPECT_EQ(processor.getLatency(1), 768);
    EXPECT_EQ(processor.getLatency(256), 512);
}

TEST_F(Processor, LatencyFollowsTheHostRateByPowersOfTwo) {
    struct Row {
        double rate;
        std::int32_t hop, scaleLog2;
    };
    const std::string path = save(fullHeader(1024, 512));
    for (const Row row : {Row{192000.0, 2048, 2}, Row{96000.0, 1024, 1}, Row{88200.0, 1024, 1},
                          Row{48000.0, 512, 0}, Row{44100.0, 512, 0}, Row{32000.0, 512, 0},
                          Row{24000.0, 256, -1}, Row{16000.0, 256, -1}, Row{8000.0, 128, -2}}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {path}, 1, row.rate)) << row.rate;
        EXPECT_EQ(fresh.frameScaleLog2(), row.scaleLog2) << row.rate;
        EXPECT_EQ(fresh.getLatency(1), 2 * row.hop) << row.rate;
    }
}

TEST_F(Processor, OddHopsRoundToEvenWhenHalved) {
    writer::ModelHeader header = smallHeader();
    header.complexInputBins = 0;
    header.hopSize = 5;
    ASSERT_TRUE(makeReady(processor, {save(header)}, 1, 24000.0));
    // Window 8 and hop 2 are the low-latency scheme: three hops.
    EXPECT_EQ(processor.getLatency(1), 6);
    header.hopSize = 7;
    VorunProcessor second;
    ASSERT_TRUE(makeReady(second, {save(header)}, 1, 24000.0));
    EXPECT_EQ(second.getLatency(1), 8);
}

TEST_F(Processor, LatencyAddsTheLongestLookAhead) {
    const auto withLookAhead = [&](std::int8_t frames) {
        return folder.save(test::convModel(smallHeader(), test::delayLine(1, frames)));
    };
    ASSERT_TRUE(makeReady(processor, {withLookAhead(3)}));
    EXPECT_EQ(processor.getLatency(1), 2 * 8 + 3 * 8);
    EXPECT_EQ(processor.getLatency(8), 8 + 3 * 8);

    VorunProcessor several;
    ASSERT_TRUE(makeReady(several, {withLookAhead(2), withLookAhead(5), withLookAhead(0)}));
    EXPECT_EQ(several.getLatency(1), 2 * 8 + 5 * 8);

    VorunProcessor atDoubleRate;
    ASSERT_TRUE(makeReady(atDoubleRate, {withLookAhead(3)}, 1, 96000.0));
    EXPECT_EQ(atDoubleRate.getLatency(1), 2 * 16 + 3 * 16);
}

TEST_F(Processor, HugeLookAheadNeverWrapsTheLatency) {
    // Four strides of 127 make the last look-ahead count 127^5 frames, above 31 bits; three make it
    // 127^4 frames, which times the hop is above 31 bits.
    for (const int strides : {3, 4}) {
        writer::ModelWriter model(smallHeader());
        std::string feeder = "input";
        for (int i = 0; i <= strides; ++i) {
            writer::ConvRecord record = test::lateStart(1, 127);
            record.timeStride = 127;
            model.addConv("conv" + std::to_string(i), feeder, record);
            feeder = "conv" + std::to_string(i);
        }
        model.setOutputSource(feeder);
        VorunProcessor fresh;
        if (makeReady(fresh, {folder.save(model)})) {
            EXPECT_GT(fresh.getLatency(1), 1000000) << strides;
        }
    }
}

TEST_F(Processor, PrepareLeavesEmptyQueues) {
    ASSERT_TRUE(
        makeReady(processor, {folder.save(test::convModel(smallHeader(), test::delayLine(1, 2)))}));
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 1);
    EXPECT_TRUE(processor.processSpectrum(frame).empty());
    EXPECT_EQ(frame.useCount(), 2);
    ASSERT_TRUE(processor.prepare(layoutOf(1), layoutOf(1)));
    EXPECT_EQ(frame.useCount(), 1);
    // The look-ahead starts anew.
    EXPECT_TRUE(processor.processSpectrum(frame).empty());
    EXPECT_TRUE(processor.processSpectrum(frame).empty());
    EXPECT_EQ(processor.processSpectrum(frame).size(), 1U);
}

TEST_F(Processor, ResetGoesBackToTheStateAfterPrepare) {
    const std::string path = folder.save(test::convModel(smallHeader(), test::delayLine(1, 3)));
    ASSERT_TRUE(makeReady(processor, {path}));
    const Signal32 noise = test::randomSamples(1, 200, 1);
    const Signal32 first = processor.process(noise);
    processor.process(test::randomSamples(1, 53, 2));
    processor.reset();
    test::expectSame(processor.process(noise), first);
    processor.reset();
    processor.reset();
    test::expectSame(processor.process(noise), first);
}

TEST_F(Processor, ResetDropsFramesThatWait) {
    ASSERT_TRUE(
        makeReady(processor, {folder.save(test::convModel(smallHeader(), test::delayLine(1, 3)))}));
    const ComplexSignal32 frame = randomSpectrum(1, smallBins, 1);
    processor.processSpectrum(frame);
    processor.processSpectrum(frame);
    EXPECT_EQ(frame.useCount(), 3);
    processor.reset();
    EXPECT_EQ(frame.useCount(), 1);
}

TEST_F(Processor, NanDoesNotOutliveAReset) {
    ASSERT_TRUE(
        makeReady(processor, {folder.save(test::convModel(smallHeader(), test::delayLine(1, 3)))}));
    const Signal32 noise = test::randomSamples(1, 200, 1);
    const Signal32 clean = processor.process(noise);
    for (const float poison :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        processor.process(Signal32(1, 100, poison));
        processor.reset();
        test::expectSame(processor.process(noise), clean);
    }
}

TEST_F(Processor, ParametersSurviveResetPrepareAndLoading) {
    const std::string path = save(smallHeader());
    processor.setBusGain(1, 0.25f);
    processor.setBusSensitivity(0, -40.0f);
    const auto expectKept = [&] {
        EXPECT_EQ(processor.getBusGain(1), 0.25f);
        EXPECT_EQ(processor.getBusSensitivity(0), -40.0f);
        EXPECT_TRUE(processor.isTailFillOn());
    };
    ASSERT_TRUE(processor.loadModels({path}));
    expectKept();
    ASSERT_TRUE(processor.prepare(layoutOf(1), layoutOf(1)));
    expectKept();
    processor.reset();
    expectKept();
    ASSERT_TRUE(processor.loadModels({path, path}));
    expectKept();
}

TEST_F(Processor, IdentityGivesTheInputBackSampleForSample) {
    for (const std::int16_t hop : {std::int16_t{512}, std::int16_t{256}}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {save(fullHeader(1024, hop))}, 2));
        constexpr std::int32_t length = 8192;
        const Signal32 noise = test::randomSamples(2, length, 1);
        const Signal32 out = fresh.process(noise);
        const std::int32_t held = fresh.getLatency(hop);
        ASSERT_EQ(out.length(), length - held);
        for (std::int32_t c = 0; c < 2; ++c) {
            for (std::int32_t i = 0; i < out.length(); ++i) {
                ASSERT_NEAR(out.readData(c)[i], noise.readData(c)[i], 2e-5f) << hop << " " << i;
            }
        }
    }
}

TEST_F(Processor, LookAheadKeepsTheAlignment) {
    ASSERT_TRUE(
        makeReady(processor, {folder.save(test::convModel(smallHeader(), test::delayLine(1, 5)))}));
    const Signal32 noise = test::randomSamples(1, 400, 1);
    const Signal32 out = processor.process(noise);
    ASSERT_EQ(out.length(), 400 - processor.getLatency(8));
    for (std::int32_t i = 0; i < out.length(); ++i) {
        ASSERT_NEAR(out.readData(0)[i], noise.readData(0)[i], 1e-5f) << i;
    }
}

TEST_F(Processor, OutputIsTheSameForEveryPartitionOfTheInput) {
    const std::string path = folder.save(test::convModel(smallHeader(), test::delayLine(1, 2)));
    constexpr std::int32_t length = 331;
    const Signal32 noise = test::randomSamples(2, length, 1);
    std::vector<std::vector<float>> outputs;
    for (const std::int32_t block : {length, 1, 2, 7, 8, 9, 13}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {path}, 2));
        fresh.setBusGain(1, 0.0f);
        std::vector<float> output;
        for (std::int32_t start = 0; start < length; start += block) {
            Signal32 piece(2, std::min(block, length - start));
            noise.readAt(start, piece);
            const Signal32 ready = fresh.process(piece);
            EXPECT_EQ(ready.channels(), 2);
            if (ready.length() > 0) {
                output.insert(output.end(), ready.readData(1), ready.readData(1) + ready.length());
            }
        }
        outputs.push_back(output);
        EXPECT_EQ(output, outputs.front()) << block;
    }
}

TEST_F(Processor, TransformBetweenTwoPowersComputesWithoutHarm) {
    writer::ModelHeader header = smallHeader();
    header.complexInputBins = 0;
    header.magnitudeInputBins = 11;
    header.fftSize = 20;
    ASSERT_TRUE(makeReady(processor, {save(header)}));
    EXPECT_GT(processor.process(test::randomSamples(1, 500, 1)).length(), 0);
}

}  // namespace
}  // namespace vorun
