#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/ReferenceStream.h"
#include "api/SequenceNetwork.h"
#include "api/SkipNetworks.h"
#include "api/StreamRunner.h"

/* Networks with skip connections, from a host's samples to its mixed output. */
namespace vorun::apitest {
namespace {

/** Error of a whole path against double precision, of samples that peak at 1 to 2. */
constexpr double pathTolerance = 2e-6;
constexpr double rate = 48000.0;

ReferenceStream referenceOf(const UShape& shape, int channels) {
    return {shape.header, std::make_unique<SequenceNetwork>(modelOf(shape)), latencyOf(shape),
            channels, rate};
}

/** Sets one value of a bus on both sides. */
void setGain(ApiProcessor& processor, ReferenceStream& reference, int bus, float gain) {
    processor.set(gainOf(bus), gain);
    reference.setGain(bus, static_cast<double>(gain));
}

void setSensitivity(ApiProcessor& processor, ReferenceStream& reference, int bus, float value) {
    processor.set(sensitivityOf(bus), value);
    reference.setSensitivity(bus, static_cast<double>(value));
}

/** Pushes blocks of odd lengths into both and compares how much comes out, and what. */
void expectSameStream(ApiProcessor& processor, ReferenceStream& reference, const Planar& input) {
    const int total = lengthOf(input);
    PlanarDouble expected(input.size());
    for (int begin = 0; begin < total;) {
        const int count = std::min(37, total - begin);
        processor.push(input, begin, count);
        Planar block;
        for (const auto& channel : input) {
            block.emplace_back(channel.begin() + begin, channel.begin() + begin + count);
        }
        append(expected, reference.push(block));
        ASSERT_EQ(processor.pending(), static_cast<int>(expected.front().size()));
        begin += count;
    }
    ASSERT_GT(processor.pending(), 0);
    EXPECT_TRUE(isNear(processor.pullAll(), expected, pathTolerance));
}

/** Look-aheads that add up to `latency` frames, spread differently for each. */
UShape withLatency(UShape shape, int latency) {
    shape.encoderLookahead = latency == 1 || latency == 2 ? 1 : 0;
    shape.decoderLookahead = latency == 3 ? 1 : 0;
    shape.lastLookahead =
        latency - shape.encoderLookahead - shape.timeStride * shape.decoderLookahead;
    return shape;
}

constexpr int maskMode = 0;
constexpr int spectrumMode = 1;

class SkipNetwork : public testing::TestWithParam<std::tuple<int, int, int, int>> {
  protected:
    /** The latency goes with the number of hosts' channels, so that all of 0 to 3 occur. */
    UShape shapeFor(int latency) const {
        const auto [mode, timeStride, maskCount, channels] = GetParam();
        UShape shape{evenHeader(channels, channels, maskCount, 4 * (maskCount % 2))};
        shape.header.pipelineMode = static_cast<std::int8_t>(mode);
        shape.timeStride = timeStride;
        shape.operation = maskCount % 2 == 0 ? 3 : 2;
        shape.seed = static_cast<std::uint32_t>(maskCount);
        return withLatency(shape, latency);
    }
    static int maskCount() { return std::get<2>(GetParam()); }
};

TEST_P(SkipNetwork, MixesItsBusesByTheirOwnGainsAndSensitivities) {
    static const float gains[] = {0.7f, 1.5f, 0.2f, 1.1f, 0.4f};
    static const float sensitivities[] = {35.0f, -25.0f, 60.0f, -40.0f, 15.0f};
    for (const int hostChannels : {1, 2, 3}) {
        const UShape shape = shapeFor((hostChannels + maskCount()) % 4);
        SCOPED_TRACE(testing::Message()
                     << hostChannels << " channels, latency " << latencyOf(shape));
        const TemporaryGraph file(modelOf(shape));
        ApiProcessor processor(file.path(), hostChannels, rate);
        ASSERT_TRUE(processor.created());
        EXPECT_EQ(processor.busCount(), maskCount() + 1);
        ReferenceStream reference = referenceOf(shape, hostChannels);
        EXPECT_EQ(processor.info().latency, reference.frame().reportedLatency());
        for (int bus = 0; bus <= maskCount(); ++bus) {
            setGain(processor, reference, bus, gains[bus]);
            setSensitivity(processor, reference, bus, sensitivities[bus]);
        }
        expectSameStream(processor, reference, whiteNoise(hostChannels, 210, 5));
    }
}

TEST_P(SkipNetwork, GivesTheInputBackWhenAllBusesAreUp) {
    for (const int hostChannels : {1, 2, 3}) {
        const TemporaryGraph file(modelOf(shapeFor(hostChannels)));
        ApiProcessor processor(file.path(), hostChannels, rate);
        ASSERT_TRUE(processor.created());
        const Planar input = whiteNoise(hostChannels, 400, 6);
        const Planar output = runAtOnce(processor, input);
        ASSERT_GT(lengthOf(output), 200);
        EXPECT_TRUE(isNear(output, widened(head(input, lengthOf(output))), 3e-6));
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, SkipNetwork,
                         testing::Combine(testing::Values(maskMode, spectrumMode),
                                          testing::Values(1, 2), testing::Values(1, 2, 3, 4),
                                          testing::Values(1, 2)),
                         [](const auto& each) {
                             std::string name =
                                 std::get<0>(each.param) == maskMode ? "Masks" : "Spectra";
                             name += std::to_string(std::get<2>(each.param));
                             name += "Stride" + std::to_string(std::get<1>(each.param));
                             return name += "Channels" + std::to_string(std::get<3>(each.param));
                         });

UShape stereoStems(int mode, int timeStride = 2) {
    UShape shape{evenHeader(2, 2, 4, 4)};
    shape.header.pipelineMode = static_cast<std::int8_t>(mode);
    shape.timeStride = timeStride;
    shape.operation = 3;
    return withLatency(shape, 1);
}

TEST(OneBusOfASkipNetwork, IsHeardAloneWithItsOwnSensitivity) {
    for (const int mode : {maskMode, spectrumMode}) {
        const UShape shape = stereoStems(mode);
        const TemporaryGraph file(modelOf(shape));
        for (int heard = 0; heard <= 4; ++heard) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << ", bus " << heard);
            ApiProcessor processor(file.path(), 2, rate);
            ASSERT_TRUE(processor.created());
            ReferenceStream reference = referenceOf(shape, 2);
            for (int bus = 0; bus <= 4; ++bus) {
                setGain(processor, reference, bus, bus == heard ? 1.0f : 0.0f);
            }
            setSensitivity(processor, reference, heard, 50.0f);
            expectSameStream(processor, reference, whiteNoise(2, 180, 7));
        }
    }
}

TEST(TheResidualOfASkipNetwork, FollowsTheSensitivityOfEveryBusButNoGain) {
    const UShape shape = stereoStems(maskMode);
    const TemporaryGraph file(modelOf(shape));
    for (int shaped = 0; shaped < 4; ++shaped) {
        SCOPED_TRACE(shaped);
        ApiProcessor processor(file.path(), 2, rate);
        ASSERT_TRUE(processor.created());
        ReferenceStream reference = referenceOf(shape, 2);
        for (int bus = 0; bus < 4; ++bus) {
            setGain(processor, reference, bus, 0.0f);
        }
        setSensitivity(processor, reference, shaped, -70.0f);
        expectSameStream(processor, reference, whiteNoise(2, 180, 8));
    }
}

TEST(ASkipNetworksValues, ChangeWhileAudioFlows) {
    const UShape shape = stereoStems(maskMode);
    const TemporaryGraph file(modelOf(shape));
    ApiProcessor processor(file.path(), 2, rate);
    ASSERT_TRUE(processor.created());
    ReferenceStream reference = referenceOf(shape, 2);
    for (int turn = 0; turn < 4; ++turn) {
        setGain(processor, reference, turn, 0.25f * static_cast<float>(turn));
        setSensitivity(processor, reference, 3 - turn, 20.0f * static_cast<float>(turn));
        setGain(processor, reference, 4, 1.0f - 0.2f * static_cast<float>(turn));
        expectSameStream(processor, reference,
                         whiteNoise(2, 90, 9U + static_cast<std::uint32_t>(turn)));
    }
}

TEST(ASkipNetwork, GivesTheSameBitsHoweverItsInputIsCut) {
    for (const int mode : {maskMode, spectrumMode}) {
        for (const int timeStride : {1, 2}) {
            const UShape shape = stereoStems(mode, timeStride);
            const TemporaryGraph file(modelOf(shape));
            const Planar input = whiteNoise(2, 700, 10);
            ApiProcessor whole(file.path(), 2, rate);
            ASSERT_TRUE(whole.created());
            const Planar expected = runAtOnce(whole, input);
            ASSERT_GT(lengthOf(expected), 500);
            for (const std::vector<int>& pushes :
                 {std::vector<int>{1}, {7, 13, 0, 31, 3}, {113, 1, 57}, {16}, {15, 17}}) {
                ApiProcessor processor(file.path(), 2, rate);
                const Planar output = runStream(processor, input, {pushes, {5, 19}},
                                                hostFrame(shape.header, rate, latencyOf(shape)));
                EXPECT_TRUE(sameBits(output, expected));
            }
        }
    }
}

TEST(ASkipNetwork, StartsAnewAfterAReset) {
    for (const int timeStride : {1, 2}) {
        UShape shape = stereoStems(maskMode, timeStride);
        // Frames wait in the decoder when the stream is cut off.
        shape.decoderLookahead = 1;
        const TemporaryGraph file(modelOf(shape));
        const Planar input = whiteNoise(2, 300, 11);
        ApiProcessor processor(file.path(), 2, rate);
        ASSERT_TRUE(processor.created());
        processor.set(gainOf(1), 0.3f);
        const Planar expected = runAtOnce(processor, input);
        ASSERT_GT(lengthOf(expected), 100);
        for (const int before : {1, 15, 16, 100, 133, 300}) {
            processor.reset();
            processor.push(whiteNoise(2, before, 12));
            processor.reset();
            EXPECT_EQ(processor.pending(), 0);
            EXPECT_TRUE(sameBits(runAtOnce(processor, input), expected)) << before;
        }
    }
}

}  // namespace
}  // namespace vorun::apitest
