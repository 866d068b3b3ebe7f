#include "api/SkipNetworks.h"

#include <cmath>

#include "api/Samples.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

using writer::LayerType;

/** Strides of a layer in time and in height. */
struct Strides {
    int time = 1;
    int height = 1;
};

/** A level that keeps sums of that many random products near 1. */
float levelFor(int terms) {
    return 1.5f / std::sqrt(static_cast<float>(terms));
}

writer::ConvRecord down(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                        const Strides& strides, int lookahead = 0) {
    writer::ConvRecord record;
    record.weights = randomBlock(shape, seed, levelFor(shape[0] * shape[1] * shape[2]));
    record.bias = randomBlock({shape[3]}, seed + 1, 0.3f);
    record.timeStride = static_cast<std::int8_t>(strides.time);
    record.heightStride = static_cast<std::int8_t>(strides.height);
    record.lookahead = static_cast<std::int8_t>(lookahead);
    return record;
}

writer::TransposedConvRecord up(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                                const Strides& strides, int lookahead = 0) {
    writer::TransposedConvRecord record;
    record.weights = randomBlock(shape, seed, levelFor(shape[0] * shape[1] * shape[3] / 2));
    record.bias = randomBlock({shape[2]}, seed + 1, 0.3f);
    record.outChannels = static_cast<std::int16_t>(shape[2]);
    record.timeStride = static_cast<std::int8_t>(strides.time);
    record.heightStride = static_cast<std::int8_t>(strides.height);
    record.lookahead = static_cast<std::int8_t>(lookahead);
    return record;
}

}  // namespace

sequence::Model modelOf(const UShape& shape) {
    const Strides outer{shape.timeStride, 2};
    const Strides inner{1, 2};
    const std::uint32_t seed = 20 * shape.seed;
    writer::ConvRecord first = down({2, 3, shape.header.inputChannels, 4}, seed, {});
    first.timeDilation = 2;
    sequence::Model model{shape.header, {}, "last"};
    model.nodes = {
        {"e0", LayerType::conv, {"input"}, first},
        {"a0", LayerType::leakyRelu, {"e0"}, 0.25f},
        {"e1",
         LayerType::conv,
         {"a0"},
         down({3, 4, 4, 6}, seed + 2, outer, shape.encoderLookahead)},
        {"a1", LayerType::elu, {"e1"}, {}},
        {"e2", LayerType::conv, {"a1"}, down({2, 3, 6, 6}, seed + 4, inner)},
        {"a2", LayerType::hardSigmoid, {"e2"}, {}},
        {"d2", LayerType::transposedConv, {"a2"}, up({2, 5, 6, 6}, seed + 6, inner)},
        {"lower", LayerType::arithmetic, {"a1", "d2"}, shape.operation},
        {"d1",
         LayerType::transposedConv,
         {"lower"},
         up({3, 4, 4, 6}, seed + 8, outer, shape.decoderLookahead)},
        {"b1", LayerType::relu, {"d1"}, {}},
        {"upper", LayerType::concat, {"a0", "b1"}, {}},
        {"last",
         LayerType::conv,
         {"upper"},
         down({2, 1, 8, resultChannels(shape.header)}, seed + 10, {}, shape.lastLookahead)}};
    if (shape.header.pipelineMode == 0) {
        model.nodes.push_back({"masks", LayerType::sigmoid, {"last"}, {}});
        model.outputSource = "masks";
    }
    return model;
}

int latencyOf(const UShape& shape) {
    return shape.encoderLookahead + shape.timeStride * shape.decoderLookahead + shape.lastLookahead;
}

writer::ModelHeader evenHeader(int inputChannels, int outputChannels, int maskCount,
                               int complexBins) {
    writer::ModelHeader header = frameHeader(32, 32, 16, inputChannels, outputChannels, maskCount);
    header.inputBins = 16;
    return complexBins > 0 ? complexHeader(header, complexBins) : header;
}

writer::TensorBlock randomBlock(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                                float level) {
    int volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= dimension;
    }
    return {shape, whiteNoise(1, volume, seed, level).front()};
}

}  // namespace vorun::apitest
