#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <vector>

#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr float oddValues[] = {
    std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
    -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::max()};

/** Mask and spectrum models in both window schemes, with history and look-ahead. */
std::vector<TestModel> models() {
    std::vector<TestModel> all;
    for (const int hop : {16, 8}) {
        TestModel model = livelyMasks(complexHeader(frameHeader(32, 32, hop, 2, 2, 2), 4), 3, 2);
        all.push_back(model);
        model.header.pipelineMode = 1;
        all.push_back(model);
    }
    return all;
}

TEST(NonFiniteInput, DoesNotOutliveAReset) {
    for (const TestModel& model : models()) {
        const TemporaryModel file(model);
        ApiProcessor fresh(file.path(), 2, 48000.0);
        ApiProcessor processor(file.path(), 2, 48000.0);
        const Planar input = whiteNoise(2, 400, 3);
        const Planar expected = runAtOnce(fresh, input);
        for (const float odd : oddValues) {
            processor.push(Planar(2, std::vector<float>(300, odd)));
            processor.reset();
            EXPECT_TRUE(sameBits(runAtOnce(processor, input), expected)) << odd;
            processor.reset();
        }
    }
}

TEST(NonFiniteInput, LeavesAStreamOfFiniteMemoryByItself) {
    for (const TestModel& model : models()) {
        const TemporaryModel file(model);
        ApiProcessor clean(file.path(), 2, 48000.0);
        ApiProcessor processor(file.path(), 2, 48000.0);
        Planar input = whiteNoise(2, 1200, 3);
        const Planar expected = runAtOnce(clean, input);
        input[0][100] = std::numeric_limits<float>::quiet_NaN();
        input[1][101] = std::numeric_limits<float>::infinity();
        const Planar output = runAtOnce(processor, input);
        ASSERT_EQ(lengthOf(output), lengthOf(expected));
        // A window and the ten frames that the networks remember.
        const int healed = 100 + 32 + 10 * model.header.hopSize;
        for (int c = 0; c < 2; ++c) {
            bool spoiled = false;
            for (int i = 0; i < healed; ++i) {
                spoiled = spoiled || !std::isfinite(output[c][i]);
            }
            EXPECT_TRUE(spoiled);
            for (int i = healed; i < lengthOf(output); ++i) {
                ASSERT_EQ(output[c][i], expected[c][i]) << i;
            }
        }
    }
}

TEST(NonFiniteInput, DoesNotTouchWhatCameBeforeItsFrames) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3));
    ApiProcessor clean(file.path(), 1, 48000.0);
    ApiProcessor processor(file.path(), 1, 48000.0);
    Planar input = whiteNoise(1, 640, 3);
    const Planar expected = runAtOnce(clean, input);
    input[0][320] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(sameBits(head(runAtOnce(processor, input), 304), head(expected, 304)));
}

TEST(NonFiniteInput, InATensorModelDoesNotOutliveAReset) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3));
    ApiModel fresh(file.path());
    ApiModel model(file.path());
    const TensorValues input{{4, 5, 1}, whiteNoise(1, 20, 3).front()};
    for (const float odd : oddValues) {
        model.add({{2, 5, 1}, std::vector<float>(10, odd)});
        model.reset();
        fresh.reset();
        EXPECT_EQ(model.run(input).values, fresh.run(input).values);
    }
}

TEST(Silence, GivesExactSilence) {
    for (const TestModel& model : models()) {
        if (model.header.pipelineMode != 0) {
            continue;
        }
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), 2, 48000.0);
        for (const Planar& output = runAtOnce(processor, silence(2, 800));
             const auto& channel : output) {
            for (const float sample : channel) {
                ASSERT_EQ(sample, 0.0F);
            }
        }
    }
}

TEST(Silence, AfterSoundIsExactOnceTheWindowsArePast) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3, 2));
    ApiProcessor processor(file.path(), 1, 48000.0);
    processor.push(whiteNoise(1, 320, 4));
    processor.push(silence(1, 640));
    const Planar output = processor.pullAll();
    for (int i = 320 + 32; i < lengthOf(output); ++i) {
        ASSERT_EQ(output[0][i], 0.0F) << i;
    }
}

TEST(Silence, PushedBehindARecordingBringsAllOfItOut) {
    for (const TestModel& model : models()) {
        const TemporaryModel file(model);
        ApiProcessor processor(file.path(), 2, 48000.0);
        const Planar input = whiteNoise(2, 333, 4);
        processor.push(input);
        processor.push(silence(2, processor.info().latency));
        ASSERT_GE(processor.pending(), 333);
        EXPECT_TRUE(isNear(processor.pull(333), widened(input), 2e-6));
    }
}

/** Whether this thread's arithmetic keeps numbers below the smallest normal one. */
bool denormalsAreKept() {
    volatile float tiny = 1e-40F;
    return tiny * 0.5F > 0.0F;
}

TEST(DenormalInput, ErrsByNoMoreThanTheSmallestNormalNumbers) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {1.0F}));
    for (const float level : {1e-30F, 1e-36F, 1e-37F, 1e-38F, 1e-39F, 1e-44F}) {
        ApiProcessor processor(file.path(), 1, 48000.0);
        processor.set(gainOf(1), 0.0F);
        const Planar input = whiteNoise(1, 320, 5, level);
        const double allowed = 2 * 1.1754944e-38 + 32 * 1.2e-7 * static_cast<double>(level);
        EXPECT_TRUE(isNear(runAtOnce(processor, input), widened(head(input, 304)), allowed));
    }
}

TEST(DenormalInput, KeepsItsValuesInATensorModel) {
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {copyStage(1, 1)}});
    ApiModel model(file.path());
    const std::vector<float> values{1e-39F, -1e-45F, 1.1754944e-38F, 3e-41F};
    EXPECT_EQ(model.run({{1, 4, 1}, values}).values, values);
}

TEST(FloatMode, OfTheHostsThreadIsTheSameAfterEveryCall) {
    ASSERT_TRUE(denormalsAreKept());
    TestModel failing = constantMasks(frameHeader(32, 32, 16), {0.5F});
    std::get<writer::ConvRecord>(failing.network[0]).heightStride = 2;
    const TemporaryModel bad(failing);
    const TemporaryModel good(livelyMasks(frameHeader(32, 32, 16), 3, 2));
    const Planar input = whiteNoise(1, 320, 5);
    ApiProcessor processor(good.path(), 1, 48000.0);
    EXPECT_TRUE(denormalsAreKept());
    runAtOnce(processor, input);
    EXPECT_TRUE(denormalsAreKept());
    processor.reset();
    EXPECT_TRUE(denormalsAreKept());
    ApiProcessor raising(bad.path(), 1, 48000.0);
    EXPECT_THROW(raising.push(input), std::runtime_error);
    EXPECT_TRUE(denormalsAreKept());
    ApiProcessor separator(std::vector{good.path(), bad.path()}, 1, 48000.0);
    EXPECT_THROW(separator.push(input), std::runtime_error);
    EXPECT_TRUE(denormalsAreKept());
}

TEST(LoudInput, ComesThroughScaled) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {1.0F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 320, 5, 1e15F);
    EXPECT_TRUE(isNear(runAtOnce(processor, input), widened(head(input, 304)), 4e9));
}

}  // namespace
}  // namespace vorun::apitest
