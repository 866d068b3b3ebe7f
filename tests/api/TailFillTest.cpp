#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <string>

#include "api/ApiProcessor.h"
#include "api/ReferenceStream.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

/** A tone's windowed spectrum reaches, faintly, bins on the other side of the model's top. */
constexpr double leakage = 1e-3;

/** A sine on the middle of a bin of a transform. */
Planar tone(int bin, int fftSize, int samples) {
    Planar audio = silence(1, samples);
    for (int i = 0; i < samples; ++i) {
        audio[0][i] =
            static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * bin * i / fftSize + 0.3));
    }
    return audio;
}

/** Loudness of `audio` behind its first `skip` samples. */
double rms(const std::vector<float>& audio, int skip, int end) {
    double sum = 0.0;
    for (int i = skip; i < end; ++i) {
        sum += static_cast<double>(audio[i]) * static_cast<double>(audio[i]);
    }
    return std::sqrt(sum / (end - skip));
}

/** The level after so many bins of one value. */
double levelAfter(int bins, double value) {
    double level = 0.0;
    for (int b = 0; b < bins; ++b) {
        level = value * 0.02 + level * 0.98;
    }
    return level;
}

/** What a tone at a bin of the host's frame is multiplied by, the residual off. */
double toneGain(const TestModel& model, double rate, int bin) {
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, rate);
    EXPECT_TRUE(processor.created());
    processor.set(gainOf(model.header.maskCount), 0.0F);
    const HostFrame frame = hostFrame(model.header, rate);
    const Planar input = tone(bin, frame.fftSize, 20 * frame.fftSize);
    const Planar output = runAtOnce(processor, input);
    const int skip = 2 * frame.fftSize;
    return rms(output[0], skip, lengthOf(output)) / rms(input[0], skip, lengthOf(output));
}

TEST(TailFill, BinsAboveTheModelsTopHoldTheLevelReachedThere) {
    const TestModel model = constantMasks(frameHeader(64, 64, 32), {0.8F});
    const double level = levelAfter(33, 0.8);
    for (const int bin : {40, 50, 60}) {
        // A bin fed with the level keeps it.
        EXPECT_NEAR(toneGain(model, 96000.0, bin), level, leakage) << bin;
    }
    for (const int bin : {4, 16, 29}) {
        EXPECT_NEAR(toneGain(model, 96000.0, bin), 0.8, leakage) << bin;
    }
}

TEST(TailFill, ReachesOverThreeQuartersOfTheBinsAtFourTimesTheRate) {
    const TestModel model = constantMasks(frameHeader(64, 64, 16), {0.6F});
    const double level = levelAfter(33, 0.6);
    for (const int bin : {40, 80, 120}) {
        EXPECT_NEAR(toneGain(model, 192000.0, bin), level, leakage) << bin;
    }
}

TEST(TailFill, IsTheMagnitudeOfANegativeMask) {
    const TestModel model = constantMasks(frameHeader(64, 64, 32), {-0.8F});
    EXPECT_NEAR(toneGain(model, 96000.0, 50), levelAfter(33, 0.8), leakage);
    // The sign comes back: below the top the tone is turned over, above it is not.
    const TemporaryModel file(model);
    ApiProcessor processor(file.path(), 1, 96000.0);
    processor.set(gainOf(1), 0.0F);
    const Planar high = tone(50, 128, 1280);
    const Planar output = runAtOnce(processor, high);
    for (int i = 300; i < 400; ++i) {
        EXPECT_NEAR(static_cast<double>(output[0][i]),
                    levelAfter(33, 0.8) * static_cast<double>(high[0][i]), leakage);
    }
}

TEST(TailFill, HasNoFillWhereTheModelCoversAllBins) {
    TestModel model = constantMasks(frameHeader(64, 64, 32), {0.8F});
    for (const int bin : {4, 30}) {
        EXPECT_NEAR(toneGain(model, 48000.0, bin), 0.8, 1e-5) << bin;
    }
    model.header.inputBins = 65;
    EXPECT_NEAR(toneGain(model, 96000.0, 60), 0.8, 1e-5);
}

TEST(TailFill, ConvergesToTheMaskOfATallModel) {
    // After 257 bins of 0.9 the level has come to 0.895.
    const TestModel model = constantMasks(frameHeader(512, 512, 256), {0.9F});
    EXPECT_NEAR(toneGain(model, 96000.0, 400), levelAfter(257, 0.9), leakage);
}

TEST(TailFill, IsFedByTheMagnitudesOfComplexBins) {
    // Rows copied with constants have re = im = 0 in complex bins; only the magnitude bins feed.
    const TestModel model = constantMasks(complexHeader(frameHeader(64, 64, 32), 10), {0.8F});
    EXPECT_NEAR(toneGain(model, 96000.0, 50), levelAfter(23, 0.8), leakage);
}

TEST(TailFill, FollowsTheReferenceForEveryBusAndChannel) {
    for (const int mode : {0, 1}) {
        TestModel model = livelyMasks(complexHeader(frameHeader(32, 32, 16, 2, 2, 2), 4), 31, 1);
        model.header.pipelineMode = static_cast<std::int8_t>(mode);
        for (const double rate : {96000.0, 192000.0}) {
            const TemporaryModel file(model);
            ApiProcessor processor(file.path(), 2, rate);
            ReferenceStream reference(model, 2, rate);
            const double gains[] = {0.7, 0.3, 0.1};
            for (int bus = 0; bus < 3; ++bus) {
                processor.set(gainOf(bus), static_cast<float>(gains[bus]));
                reference.setGain(bus, gains[bus]);
            }
            const Planar input = whiteNoise(2, 1500, 32);
            EXPECT_TRUE(isNear(runAtOnce(processor, input), reference.push(input), 1e-5));
        }
    }
}

TEST(TailFill, StaysOnWhateverIsWrittenToItsParameter) {
    const TemporaryModel file(constantMasks(frameHeader(64, 64, 32), {0.8F}));
    ApiProcessor processor(file.path(), 1, 96000.0);
    ApiProcessor twin(file.path(), 1, 96000.0);
    processor.set(gainOf(1), 0.0F);
    twin.set(gainOf(1), 0.0F);
    processor.set(tailFillOffId, 1.0F);
    EXPECT_EQ(processor.get(tailFillOffId), 0.0F);
    const Planar input = whiteNoise(1, 640, 33);
    EXPECT_TRUE(sameBits(runAtOnce(processor, input), runAtOnce(twin, input)));
}

}  // namespace
}  // namespace vorun::apitest
