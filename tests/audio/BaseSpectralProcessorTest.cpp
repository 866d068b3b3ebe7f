#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>

#include "FramingTestSupport.h"
#include "audio/BaseSpectralProcessor.h"

namespace vorun {
namespace {

using test::channelOf;
using test::FrameSizes;
using test::HookedProcessor;
using test::streamOf;

constexpr int kHuge = std::numeric_limits<int>::max();
constexpr int kLowest = std::numeric_limits<int>::min();

TEST(BaseSpectralProcessor, PassesBlocksThroughUntilSized) {
    HookedProcessor processor;
    EXPECT_TRUE(processor.spectralFlag);
    EXPECT_EQ(processor.overlapFrames, 2);
    EXPECT_EQ(processor.synthesisShift, 0);
    EXPECT_FALSE(processor.analysisWindow.hasBuffer());
    const Signal32 block(2, 5, 0.5F);
    EXPECT_TRUE(processor.process(block).sharesBufferWith(block));
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 0);
    EXPECT_EQ(processor.getLatency(1), 0);
}

TEST(BaseSpectralProcessor, AWindowOfNoSamplesPassesThrough) {
    for (const int window : {0, -1, kLowest}) {
        HookedProcessor processor(1, {16, window, 8});
        const Signal32 block(1, 5, 0.5F);
        EXPECT_TRUE(processor.process(block).sharesBufferWith(block));
    }
}

struct LatencyRow {
    FrameSizes sizes;
    int blockSize;
    int latency;
};

TEST(BaseSpectralProcessor, LatencyCountsHopsFromShiftOverlapAndBlockSize) {
    const LatencyRow rows[] = {
        {{1024, 1024, 512}, 1, 1024},   {{1024, 1024, 512}, 512, 512},
        {{1024, 1024, 512}, 0, 512},    {{1024, 1024, 512}, 1536, 512},
        {{1024, 1024, 512}, 513, 1024}, {{1024, 1024, 256}, 1, 768},
        {{1024, 1024, 256}, 256, 512},  {{1024, 1024, 256}, 512, 512},
        {{1024, 1024, 256}, 255, 768},  {{16, 15, 5}, 10, 10},
        {{16, 15, 5}, 9, 15},           {{16, 14, 5}, 9, 10},
    };
    for (const LatencyRow& row : rows) {
        const HookedProcessor processor(1, row.sizes);
        EXPECT_EQ(processor.getLatency(row.blockSize), row.latency) << row.blockSize;
    }
}

TEST(BaseSpectralProcessor, ABlockOfOneIsAMultipleOfAHopOfOne) {
    EXPECT_EQ(HookedProcessor(1, {2, 2, 1}).getLatency(1), 1);
    EXPECT_EQ(HookedProcessor(1, {4, 4, 1}).getLatency(1), 2);
}

TEST(BaseSpectralProcessor, LatencyWithoutAHopIsNone) {
    EXPECT_EQ(HookedProcessor(1, {16, 16, 0}).getLatency(1), 0);
    EXPECT_EQ(HookedProcessor(1, {16, 16, 0}).getLatency(0), 0);
    // No division fault at the one quotient that does not fit.
    EXPECT_EQ(HookedProcessor(1, {16, 16, -1}).getLatency(kLowest), -2);
}

TEST(BaseSpectralProcessor, ResetPrimesTheQueueWithSilence) {
    struct Row {
        FrameSizes sizes;
        int primer;
    };
    for (const Row& row : {Row{{16, 16, 8}, 8}, Row{{16, 16, 4}, 8}, Row{{16, 15, 5}, 5},
                           Row{{16, 14, 5}, 9}, Row{{64, 64, 8}, 48}}) {
        HookedProcessor processor(2, row.sizes);
        EXPECT_EQ(processor.inputQueue.pendingSamples(), row.primer);
        EXPECT_EQ(processor.inputQueue.channels(), 2);
        EXPECT_EQ(channelOf(processor.inputQueue.read(row.primer), 1),
                  test::Channel(static_cast<std::size_t>(row.primer), 0.0F));
    }
}

TEST(BaseSpectralProcessor, ResetTwiceIsTheSameAsOnce) {
    HookedProcessor processor(2, {16, 16, 8});
    processor.process(Signal32(2, 21, 1.0F));
    processor.reset();
    processor.reset();
    EXPECT_EQ(processor.inputQueue.blockCount(), 1U);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 8);
    EXPECT_TRUE(processor.frames.empty());
}

TEST(BaseSpectralProcessor, ResetWithoutAnInputLayoutLeavesTheQueueEmpty) {
    HookedProcessor processor(2, {16, 16, 8});
    processor.inputLayout.sampleRate = 0.0;
    processor.reset();
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 0);
    EXPECT_EQ(processor.inputQueue.channels(), -1);
}

TEST(BaseSpectralProcessor, AnOutputRateOfZeroKeepsTheWindowsAndStillPrimes) {
    HookedProcessor processor(1, {64, 64, 16});
    const Signal32 analysis = processor.analysisWindow;
    const Signal32 synthesis = processor.synthesisWindow;
    processor.outputLayout.sampleRate = 0.0;
    processor.setFrameSizes(16, 16, 8);
    EXPECT_TRUE(processor.analysisWindow.sharesBufferWith(analysis));
    EXPECT_TRUE(processor.synthesisWindow.sharesBufferWith(synthesis));
    EXPECT_EQ(processor.synthesisShift, 1);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 16 - 2 * 8 + 0);
    processor.setFrameSizes(16, 16, 4);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 8);
}

TEST(BaseSpectralProcessor, WindowsHaveOneChannelForEachOfTheirStream) {
    for (const int hop : {8, 4}) {
        HookedProcessor processor;
        processor.prepare(streamOf(3), streamOf(2));
        processor.setFrameSizes(16, 16, hop);
        EXPECT_EQ(processor.analysisWindow.channels(), 3);
        EXPECT_EQ(processor.synthesisWindow.channels(), 2);
        EXPECT_EQ(processor.analysisWindow.length(), 16);
        EXPECT_EQ(processor.synthesisWindow.length(), 16);
        EXPECT_EQ(channelOf(processor.analysisWindow, 2), channelOf(processor.analysisWindow, 0));
        EXPECT_EQ(channelOf(processor.synthesisWindow, 1), channelOf(processor.synthesisWindow, 0));
    }
}

TEST(BaseSpectralProcessor, SchemeTurnsAtAWindowOfThreeHops) {
    EXPECT_EQ(HookedProcessor(1, {64, 47, 16}).synthesisShift, 0);
    EXPECT_EQ(HookedProcessor(1, {64, 48, 16}).synthesisShift, 1);
}

TEST(BaseSpectralProcessor, SymmetricSynthesisWindowCarriesTheTransformScale) {
    const HookedProcessor processor(1, {64, 32, 16});
    for (int n = 0; n < 32; ++n) {
        EXPECT_EQ(processor.synthesisWindow.readData(0)[n],
                  processor.analysisWindow.readData(0)[n] / 64.0F);
    }
}

TEST(BaseSpectralProcessor, LowLatencySynthesisWindowStandsInTheMiddleAndCarriesTheWindowScale) {
    const HookedProcessor processor(1, {64, 60, 12});
    for (int n = 0; n < 60; ++n) {
        const bool inside = n >= 18 && n < 42;
        const double expected =
            inside ? test::hannAt(n - 18, 24) / (test::hannAt(n, 60) * 60.0) : 0.0;
        const double actual = static_cast<double>(processor.synthesisWindow.readData(0)[n]);
        if (inside) {
            EXPECT_NEAR(actual / expected, 1.0, 1e-6) << n;
        } else {
            EXPECT_EQ(actual, 0.0) << n;
        }
    }
}

TEST(BaseSpectralProcessor, UpdateFrameSizesReadsTheStoredSizes) {
    HookedProcessor processor(1, {16, 16, 8});
    processor.updateFrameSizes(99, 99, 99);
    EXPECT_EQ(processor.analysisWindow.length(), 16);
    EXPECT_EQ(processor.synthesisShift, 0);
}

TEST(BaseSpectralProcessor, SetFrameSizesGoesThroughItsSubclass) {
    class Recorder : public HookedProcessor {
      public:
        void updateFrameSizes(std::int32_t n, std::int32_t w, std::int32_t h) override {
            calls += "update " + std::to_string(n) + " " + std::to_string(w) + " " +
                     std::to_string(h) + ", ";
        }
        void reset() override { calls += "reset"; }
        std::string calls;
    };
    Recorder processor;
    processor.setFrameSizes(16, 12, 6);
    EXPECT_EQ(processor.calls, "update 16 12 6, reset");
}

TEST(BaseSpectralProcessor, NewSizesDropWhatWasPending) {
    HookedProcessor processor(1, {16, 16, 8});
    processor.process(Signal32(1, 13, 1.0F));
    processor.setFrameSizes(32, 32, 16);
    EXPECT_TRUE(processor.frames.empty());
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 16);
}

TEST(BaseSpectralProcessor, SizesThatCannotBeFramedAreRefusedInProcess) {
    for (const FrameSizes sizes :
         {FrameSizes{16, 16, 0}, FrameSizes{16, 16, -4}, FrameSizes{16, 16, kLowest},
          FrameSizes{16, 16, 9}, FrameSizes{16, 16, 16}, FrameSizes{16, 16, 40},
          FrameSizes{16, 16, kHuge}, FrameSizes{8, 16, 8}, FrameSizes{0, 16, 8},
          FrameSizes{-16, 16, 8}, FrameSizes{kLowest, 16, 8}}) {
        EXPECT_THROW(
            {
                HookedProcessor processor(1, sizes);
                // Blocks reach any window that can be queued at all.
                for (int i = 0; i < 40; ++i) {
                    processor.process(Signal32(1, 64, 0.5F));
                }
            },
            std::runtime_error)
            << testing::PrintToString(sizes);
    }
}

TEST(BaseSpectralProcessor, ARefusedHopQueuesNothing) {
    HookedProcessor processor(1, {16, 16, 0});
    const auto before = processor.inputQueue.pendingSamples();
    EXPECT_THROW(processor.process(Signal32(1, 64, 0.5F)), std::runtime_error);
    EXPECT_EQ(processor.inputQueue.pendingSamples(), before);
}

TEST(BaseSpectralProcessor, ANegativePrimerIsHarmless) {
    HookedProcessor processor(1, {16, 4, 8});
    EXPECT_EQ(processor.inputQueue.pendingSamples(), 0);
    EXPECT_EQ(processor.inputQueue.blockCount(), 0U);
    processor.reset();
    EXPECT_EQ(processor.inputQueue.blockCount(), 0U);
}

TEST(BaseSpectralProcessor, SizesBeyondTheAllocatorAreRefused) {
    for (const FrameSizes sizes :
         {FrameSizes{kHuge, kHuge, 1 << 30}, FrameSizes{1 << 30, 1 << 30, 1 << 29},
          FrameSizes{1 << 30, 1 << 30, 1 << 27}, FrameSizes{kHuge, kHuge, kLowest}}) {
        EXPECT_THROW(HookedProcessor(1, sizes), std::runtime_error);
    }
}

TEST(BaseSpectralProcessor, ATransformBetweenTwoPowersStaysInsideItsBlocks) {
    for (const FrameSizes sizes : {FrameSizes{24, 24, 12}, FrameSizes{25, 24, 12},
                                   FrameSizes{25, 20, 5}, FrameSizes{1000, 960, 480}}) {
        HookedProcessor first(2, sizes);
        HookedProcessor second(2, sizes);
        const test::Channels input = test::noise(2, 2000, 41);
        const auto run = [&](HookedProcessor& processor) {
            return test::stream(processor, input, {2000});
        };
        if (sizes.fft % 2 == 0) {
            EXPECT_EQ(run(first), run(second));
        } else {
            // An odd transform gives one sample less back than the frame's end is read from.
            EXPECT_THROW(run(first), std::runtime_error);
        }
    }
}

TEST(BaseSpectralProcessor, AnotherChannelCountInFlightIsRefusedOnceAFrameIsDue) {
    for (const int pushed : {1, 3}) {
        HookedProcessor processor(2, {16, 16, 8});
        processor.process(Signal32(2, 20, 0.5F));
        EXPECT_THROW(
            for (int i = 0; i < 10; ++i) { processor.process(Signal32(pushed, 16, 0.5F)); },
            std::runtime_error);
        processor.reset();
        EXPECT_EQ(processor.process(Signal32(2, 16, 0.5F)).length(), 8);
    }
}

}  // namespace
}  // namespace vorun
