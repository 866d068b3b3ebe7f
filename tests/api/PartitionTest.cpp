#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

struct Setting {
    const char* name;
    writer::ModelHeader header;
    int lookahead;
    int channels;
    double rate;
};

std::vector<Setting> settings() {
    writer::ModelHeader spectra = frameHeader(32, 32, 16, 2, 2, 2);
    spectra.pipelineMode = 1;
    return {
        {"SymmetricMono", frameHeader(32, 32, 16), 0, 1, 48000.0},
        {"SymmetricStereoLookahead", frameHeader(32, 32, 16, 2, 2, 2), 3, 2, 44100.0},
        {"LowLatencyThreeChannels", frameHeader(32, 32, 8), 2, 3, 48000.0},
        {"LowLatencyShortWindow", frameHeader(64, 48, 12, 1, 1, 3), 1, 2, 96000.0},
        {"WindowOfThreeHops", frameHeader(32, 30, 10), 4, 1, 24000.0},
        {"ComplexBins", complexHeader(frameHeader(32, 32, 16, 2, 2), 5), 1, 2, 48000.0},
        {"Spectra", spectra, 2, 2, 48000.0},
    };
}

class Partitions : public testing::TestWithParam<Setting> {
  protected:
    Partitions() {
        const HostFrame sizes = hostFrame(GetParam().header, GetParam().rate);
        input_ = whiteNoise(GetParam().channels, 40 * sizes.hopSize + 7, 31);
        ApiProcessor processor(file_.path(), GetParam().channels, GetParam().rate);
        processor.set(gainOf(0), 0.7F);
        processor.set(gainOf(1), 0.2F);
        expected_ = runAtOnce(processor, input_);
    }

    void expectSameOutput(const Partition& partition) {
        ApiProcessor processor(file_.path(), GetParam().channels, GetParam().rate);
        ASSERT_TRUE(processor.created());
        processor.set(gainOf(0), 0.7F);
        processor.set(gainOf(1), 0.2F);
        const Planar output = runStream(processor, input_, partition, frame_);
        EXPECT_TRUE(sameBits(output, expected_));
    }

    void expectSameOutputInBothLayouts(const std::vector<int>& pushes,
                                       const std::vector<int>& pulls = {}) {
        expectSameOutput({pushes, pulls, Layout::planar});
        expectSameOutput({pushes, pulls, Layout::interleaved});
    }

    TestModel model_ = livelyMasks(GetParam().header, 17, GetParam().lookahead);
    TemporaryModel file_{model_};
    HostFrame frame_ = hostFrame(GetParam().header, GetParam().rate, GetParam().lookahead);
    Planar input_;
    Planar expected_;
};

TEST_P(Partitions, AllAtOnceGivesAllWholeHops) {
    ASSERT_EQ(lengthOf(expected_), frame_.readyAfter(lengthOf(input_)));
    expectSameOutputInBothLayouts({lengthOf(input_)});
}

TEST_P(Partitions, OneSampleAtATime) {
    expectSameOutputInBothLayouts({1});
}

TEST_P(Partitions, OneSamplePulledForOnePushed) {
    expectSameOutputInBothLayouts({1}, {1});
}

TEST_P(Partitions, EveryPrimeLength) {
    for (const int prime : {2, 3, 5, 7, 11, 13, 17, 31, 101, 251}) {
        SCOPED_TRACE(prime);
        expectSameOutput({{prime}, {}, Layout::planar});
    }
    expectSameOutputInBothLayouts({2, 3, 5, 7, 11, 13, 17, 19, 23, 29}, {29, 1, 3, 17});
}

TEST_P(Partitions, AroundTheHop) {
    for (const int length : {frame_.hopSize - 1, frame_.hopSize, frame_.hopSize + 1}) {
        SCOPED_TRACE(length);
        expectSameOutputInBothLayouts({length});
    }
}

TEST_P(Partitions, AroundTheWindow) {
    for (const int length : {frame_.windowSize - 1, frame_.windowSize, frame_.windowSize + 1}) {
        SCOPED_TRACE(length);
        expectSameOutputInBothLayouts({length});
    }
}

TEST_P(Partitions, RandomLengthsWithEmptyBlocks) {
    for (const unsigned seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(seed);
        expectSameOutputInBothLayouts(randomLengths(40, 3 * frame_.hopSize, seed),
                                      randomLengths(40, 4 * frame_.hopSize, seed + 50));
    }
}

TEST_P(Partitions, OneSampleThenAllTheRest) {
    expectSameOutputInBothLayouts({1, lengthOf(input_)});
    expectSameOutputInBothLayouts({lengthOf(input_) - 1, 1});
}

INSTANTIATE_TEST_SUITE_P(Models, Partitions, testing::ValuesIn(settings()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(MixedLayouts, PlanarAndInterleavedCallsContinueOneStream) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 8, 2, 2), 3, 1));
    ApiProcessor twin(file.path(), 2, 48000.0);
    ApiProcessor processor(file.path(), 2, 48000.0);
    const Planar input = whiteNoise(2, 300, 8);
    const Planar expected = runAtOnce(twin, input);
    Planar output;
    for (int i = 0; i < 300; i += 15) {
        const bool odd = (i / 15) % 2 == 1;
        processor.push(input, i, 15, odd ? Layout::planar : Layout::interleaved);
        append(output, processor.pullAll(odd ? Layout::interleaved : Layout::planar));
    }
    EXPECT_TRUE(sameBits(output, expected));
}

TEST(MixedLayouts, EveryChannelCountGivesThePlanarSamplesInterleaved) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    for (const int channels : {1, 2, 3, 5, 7, 8, 11, 33}) {
        SCOPED_TRACE(channels);
        ApiProcessor twin(file.path(), channels, 48000.0);
        ApiProcessor processor(file.path(), channels, 48000.0);
        const Planar input = whiteNoise(channels, 5100, 8);
        Planar expected;
        Planar output;
        int begin = 0;
        for (const int count : {1, 63, 64, 65, 127, 3, 129, 2, 146, 4500}) {
            twin.push(input, begin, count, Layout::planar);
            append(expected, twin.pullAll(Layout::planar));
            processor.push(input, begin, count, Layout::interleaved);
            append(output, processor.pullAll(Layout::interleaved));
            begin += count;
        }
        ASSERT_EQ(begin, 5100);
        EXPECT_TRUE(sameBits(output, expected));
        EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), 2e-6));
    }
}

TEST(MixedLayouts, AnInterleavedPullWritesNothingBehindItsSamples) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    for (const int channels : {1, 3, 33}) {
        for (const int count : {1, 64, 65, 150}) {
            ApiProcessor processor(file.path(), channels, 48000.0);
            processor.push(whiteNoise(channels, 200, 8));
            std::vector<float> samples(static_cast<std::size_t>(channels * count + 40), 77.0F);
            ASSERT_TRUE(vorunGetAudioInterleaved(processor.handle(), samples.data(), count));
            const auto behind = samples.begin() + channels * count;
            EXPECT_EQ(std::count(samples.begin(), behind, 77.0F), 0);
            EXPECT_EQ(std::count(behind, samples.end(), 77.0F), 40);
        }
    }
}

TEST(TwoProcessors, OfOneFileDoNotShareState) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3, 2));
    ApiProcessor alone(file.path(), 1, 48000.0);
    ApiProcessor first(file.path(), 1, 48000.0);
    ApiProcessor second(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 320, 8);
    const Planar other = whiteNoise(1, 320, 9);
    for (int i = 0; i < 320; i += 20) {
        first.push(input, i, 20);
        second.push(other, i, 20);
        second.set(gainOf(0), 0.0F);
    }
    EXPECT_TRUE(sameBits(first.pullAll(), runAtOnce(alone, input)));
}

}  // namespace
}  // namespace vorun::apitest
