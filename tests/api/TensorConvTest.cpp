#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/ReferenceNetwork.h"
#include "api/Samples.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

/** Input of `frames` frames as one matrix each. */
Frames framesOf(const TensorValues& tensor) {
    Frames frames;
    std::size_t read = 0;
    for (int t = 0; t < tensor.shape[0]; ++t) {
        Matrix frame(tensor.shape[1], tensor.shape[2]);
        for (double& value : frame.values) {
            value = static_cast<double>(tensor.values[read++]);
        }
        frames.push_back(frame);
    }
    return frames;
}

TensorValues noiseTensor(int frames, int height, int channels, unsigned seed) {
    return {{frames, height, channels},
            whiteNoise(1, frames * height * channels, seed, 1.0F).front()};
}

/** Compares a result with frames of the reference; no frames mean no result. */
testing::AssertionResult isNearFrames(const TensorValues& result, const Frames& expected,
                                      double tolerance) {
    if (expected.empty()) {
        return result.shape.empty() ? testing::AssertionSuccess()
                                    : testing::AssertionFailure() << "a result out of season";
    }
    const Shape shape{static_cast<std::int32_t>(expected.size()), expected[0].rows,
                      expected[0].channels};
    if (result.shape != shape) {
        return testing::AssertionFailure() << "another shape, rank " << result.shape.size();
    }
    PlanarDouble wanted(1);
    for (const Matrix& frame : expected) {
        wanted[0].insert(wanted[0].end(), frame.values.begin(), frame.values.end());
    }
    return isNear({result.values}, wanted, tolerance);
}

Frames referenceRun(ReferenceNetwork& network, const TensorValues& input) {
    Frames output;
    for (const Matrix& frame : framesOf(input)) {
        for (const Matrix& result : network.push(frame)) {
            output.push_back(result);
        }
    }
    return output;
}

/** Runs one chain over a stream, `framesPerCall` frames at a time. */
void expectAsReference(const Network& network, int height, int channels, int framesPerCall,
                       int calls) {
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), network});
    ApiModel model(file.path());
    ASSERT_TRUE(model.created());
    ReferenceNetwork reference(network);
    for (int call = 0; call < calls; ++call) {
        const TensorValues input =
            noiseTensor(framesPerCall, height, channels, static_cast<unsigned>(call) + 1);
        EXPECT_TRUE(isNearFrames(model.run(input), referenceRun(reference, input), 1e-5))
            << "call " << call;
    }
}

writer::ConvRecord strided(writer::ConvRecord record, int timeStride, int heightStride) {
    record.timeStride = static_cast<std::int8_t>(timeStride);
    record.heightStride = static_cast<std::int8_t>(heightStride);
    return record;
}

TEST(StreamingConvolution, MatchesTheDefinitionOverManyRandomShapes) {
    std::mt19937 engine(5);
    const auto pick = [&engine](int low, int high) {
        return low + static_cast<int>(engine() % static_cast<unsigned>(high - low + 1));
    };
    for (int round = 0; round < 150; ++round) {
        const int in = pick(1, 4);
        const int out = pick(1, 5);
        const writer::ConvRecord record =
            strided(randomStage({pick(1, 4), pick(1, 6), in, out},
                                static_cast<std::uint32_t>(round), pick(1, 3), pick(0, 3)),
                    pick(1, 3), pick(1, 3));
        SCOPED_TRACE(round);
        expectAsReference({record}, pick(1, 9), in, pick(1, 3), 8);
    }
}

TEST(StreamingConvolution, MatchesTheDefinitionForDepthwiseKernels) {
    for (const int channels : {2, 3, 5}) {
        for (const int repeat : {1, 2, 3}) {
            const writer::ConvRecord record =
                strided(randomStage({3, 3, 1, channels * repeat}, 7, 2), 1, 2);
            // Repeated channels are fed one frame at a time; others in any number.
            expectAsReference({record}, 7, channels, repeat == 1 ? 3 : 1, 6);
        }
    }
}

TEST(StreamingConvolution, OfRepeatedChannelsTakesTheFirstFrameOfACallForAllOfThem) {
    writer::ConvRecord record = constantStage(1, {0.0F, 0.0F, 0.0F, 0.0F});
    record.weights.values = {1.0F, 10.0F, 100.0F, 1000.0F};
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    const TensorValues result = model.run({{2, 1, 2}, {3.0F, 4.0F, 5.0F, 6.0F}});
    EXPECT_EQ(result.shape, (Shape{2, 1, 4}));
    EXPECT_EQ(result.values, (std::vector<float>{3, 30, 400, 4000, 3, 30, 400, 4000}));
}

TEST(StreamingConvolution, OfOneChannelIsTheOrdinaryPath) {
    expectAsReference({randomStage({2, 3, 1, 4}, 8)}, 5, 1, 3, 4);
}

TEST(StreamingConvolution, HeightRulesMatchHandWorkedFrames) {
    // Kernel of 4 rows with stride 2 starts one row above; an odd last row is dropped.
    writer::ConvRecord record = constantStage(1, {0.5F});
    record.weights = {{1, 4, 1, 1}, {1.0F, 10.0F, 100.0F, 1000.0F}};
    record.heightStride = 2;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    const TensorValues result = model.run({{1, 5, 1}, {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}});
    EXPECT_EQ(result.shape, (Shape{1, 2, 1}));
    // Row 0: rows -1 to 2 hold 0, 1, 2, 3. Row 1: rows 1 to 4 hold 2, 3, 4, 5.
    EXPECT_EQ(result.values, (std::vector<float>{3210.5F, 5432.5F}));
}

TEST(StreamingConvolution, AStrideAboveTheKernelStartsAtItsRow) {
    writer::ConvRecord record = copyStage(1, 1);
    record.heightStride = 2;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    EXPECT_EQ(model.run({{1, 5, 1}, {1.0F, 2.0F, 3.0F, 4.0F, 5.0F}}).values,
              (std::vector<float>{1.0F, 3.0F}));
}

TEST(StreamingConvolution, DilatedTapsReachWholeFramesBack) {
    writer::ConvRecord record = constantStage(1, {0.0F});
    record.weights = {{3, 1, 1, 1}, {100.0F, 10.0F, 1.0F}};
    record.timeDilation = 2;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    const float expected[] = {1, 2, 13, 24, 135, 246, 357};
    for (int t = 0; t < 7; ++t) {
        const auto value = static_cast<float>(t + 1);
        EXPECT_EQ(model.run({{1, 1, 1}, {value}}).values, std::vector<float>{expected[t]}) << t;
    }
}

/** Which of the first frames of a stream give a result. */
std::string answers(const writer::ConvRecord& record, int frames) {
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    std::string pattern;
    for (int t = 0; t < frames; ++t) {
        model.add({{1, 1, 1}, {1.0F}});
        pattern += model.hasResult() ? '1' : '0';
    }
    return pattern;
}

TEST(StreamingConvolution, TimeStrideAndLookaheadChooseTheFramesThatAnswer) {
    writer::ConvRecord record = copyStage(1, 1);
    record.timeStride = 2;
    EXPECT_EQ(answers(record, 6), "101010");
    record.lookahead = 3;
    EXPECT_EQ(answers(record, 8), "00010101");
    record.timeStride = 1;
    EXPECT_EQ(answers(record, 6), "000111");
    record.timeStride = 3;
    record.lookahead = 1;
    EXPECT_EQ(answers(record, 9), "010010010");
}

TEST(StreamingConvolution, ANegativeLookaheadMovesThePhaseOfTheStrideAlone) {
    writer::ConvRecord record = copyStage(1, 1);
    record.lookahead = -1;
    EXPECT_EQ(answers(record, 4), "1111");
    record.timeStride = 2;
    EXPECT_EQ(answers(record, 6), "010101");
}

TEST(StreamingConvolution, LooksAheadOverFramesThatAreInItsRingAlready) {
    writer::ConvRecord record = constantStage(1, {0.0F});
    record.weights = {{2, 1, 1, 1}, {10.0F, 1.0F}};
    record.lookahead = 1;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    EXPECT_TRUE(model.run({{1, 1, 1}, {3.0F}}).values.empty());
    EXPECT_EQ(model.run({{1, 1, 1}, {4.0F}}).values, std::vector<float>{34.0F});
}

TEST(StreamingConvolution, FramesTogetherAndOneByOneGiveTheSameBits) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16, 2, 2, 2), 9, 3));
    ApiModel together(file.path());
    ApiModel single(file.path());
    const TensorValues input = noiseTensor(12, 6, 2, 3);
    std::vector<float> joined;
    for (int t = 0; t < 12; ++t) {
        TensorValues frame{{1, 6, 2}, {}};
        frame.values.assign(input.values.begin() + t * 12, input.values.begin() + (t + 1) * 12);
        const TensorValues result = single.run(frame);
        joined.insert(joined.end(), result.values.begin(), result.values.end());
    }
    const TensorValues result = together.run(input);
    EXPECT_EQ(result.shape, (Shape{9, 6, 4}));
    EXPECT_TRUE(sameBits({result.values}, {joined}));
}

TEST(StreamingConvolution, SumsTheBiasFirstAndLowerChannelsNext) {
    // 2^24 swallows single ones, so that the order of a sum shows.
    constexpr float big = 16777216.0F;
    writer::ConvRecord record = constantStage(2, {1.0F});
    record.weights = {{1, 1, 2, 1}, {1.0F, 1.0F}};
    record.bias = {{1}, {big}};
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel model(file.path());
    // ((2^24 + 1) + 1) stays; in any other order 2 would arrive.
    EXPECT_EQ(model.run({{1, 1, 2}, {1.0F, 1.0F}}).values, std::vector<float>{big});
    EXPECT_EQ(model.run({{1, 1, 2}, {-big, 1.0F}}).values, std::vector<float>{1.0F});
}

TEST(StreamingConvolution, OfFewerInputChannelsThanItsKernelRaisesOrStaysInBounds) {
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {randomStage({2, 3, 4, 2}, 3)}});
    for (const int channels : {1, 2, 3, 5, 9}) {
        ApiModel model(file.path());
        try {
            for (int t = 0; t < 4; ++t) {
                model.run(noiseTensor(1, 4, channels, 5));
            }
        } catch (const std::runtime_error&) {
        }
    }
}

TEST(StreamingConvolution, OfChangingHeightsRaisesOrStaysInBounds) {
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {randomStage({3, 3, 1, 2}, 3)}});
    for (const int first : {0, 1, 4, 9}) {
        ApiModel model(file.path());
        for (const int height : {first, 9, 2, 0, 1, 30, 4}) {
            try {
                model.run(noiseTensor(2, height, 1, 5));
            } catch (const std::runtime_error&) {
                model.reset();
            }
        }
    }
}

}  // namespace
}  // namespace vorun::apitest
