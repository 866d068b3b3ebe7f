#include "neural/RandomGraphLayers.h"

#include <cmath>
#include <cstddef>
#include <functional>
#include <numeric>

namespace vorun::test {
namespace {

using writer::ElementType;
using writer::LayerType;
using writer::TensorBlock;

/** The number that a half-precision word stands for; there are no infinities in this format. */
float halfValue(std::uint16_t word) {
    const int exponent = (word >> 10) & 31;
    const int mantissa = word & 1023;
    const double magnitude =
        exponent == 0 ? std::ldexp(mantissa, -24) : std::ldexp(1024 + mantissa, exponent - 25);
    return static_cast<float>((word & 0x8000) != 0 ? -magnitude : magnitude);
}

/** A word of at most about that magnitude, now and then a tiny one or a zero of either sign. */
std::uint16_t randomHalf(GraphDice& dice, float largest) {
    const std::int32_t sign = dice.roll(0, 1) << 15;
    if (dice.oneIn(16)) {
        return static_cast<std::uint16_t>(sign | (dice.oneIn(2) ? 0 : dice.roll(1, 1023)));
    }
    const std::int32_t exponent = std::clamp(std::ilogb(largest) + 14 - dice.roll(0, 2), 1, 30);
    return static_cast<std::uint16_t>(sign | (exponent << 10) | dice.roll(0, 1023));
}

/** Values between plus and minus `largest`, in half precision in every third tensor. */
TensorBlock randomTensor(GraphDice& dice, const LayerPlace& place, std::vector<std::int32_t> shape,
                         float largest) {
    TensorBlock block;
    const std::int32_t volume =
        std::accumulate(shape.begin(), shape.end(), std::int32_t{1}, std::multiplies<>());
    block.shape = std::move(shape);
    const bool half = place.version >= 4105 && dice.oneIn(3);
    block.elementType = half ? ElementType::half : ElementType::single;
    for (std::int32_t i = 0; i < volume; ++i) {
        if (half) {
            block.halfWords.push_back(randomHalf(dice, largest));
            block.values.push_back(halfValue(block.halfWords.back()));
        } else {
            block.values.push_back(largest * dice.signedUnit());
        }
    }
    return block;
}

/** A bias, or one of the two ways of having none. */
TensorBlock randomBias(GraphDice& dice, const LayerPlace& place, std::int32_t channels) {
    switch (dice.roll(0, 3)) {
        case 0:
            return {};
        case 1:
            return {{0}, {}};
        default:
            return randomTensor(dice, place, {channels}, 0.5F);
    }
}

/** Weights of that magnitude keep the level of what they sum up. */
float weightFor(std::int32_t summands) {
    return 1.7F / std::sqrt(static_cast<float>(summands));
}

RandomLayer randomNorm(GraphDice& dice, const LayerPlace& place) {
    sequence::TwoTensors tensors;
    tensors.first = randomTensor(dice, place, {place.channels}, 0.5F);
    tensors.second = randomTensor(dice, place, {place.channels}, 1.8F);
    return {LayerType::norm, tensors};
}

RandomLayer randomDense(GraphDice& dice, const LayerPlace& place) {
    sequence::TwoTensors tensors;
    tensors.first = randomTensor(dice, place, {place.height, place.height, place.channels},
                                 weightFor(place.height));
    if (dice.oneIn(2)) {
        tensors.second = randomTensor(dice, place, {place.height, place.channels}, 0.5F);
    }
    return {LayerType::dense, tensors};
}

RandomLayer randomSeparable(GraphDice& dice, const LayerPlace& place, std::int32_t timeTaps) {
    const std::int32_t heightTaps = dice.roll(1, 5);
    sequence::TwoTensors kernels;
    kernels.first = randomTensor(dice, place, {timeTaps}, weightFor(timeTaps));
    kernels.second = randomTensor(dice, place, {heightTaps}, weightFor(heightTaps));
    return {LayerType::separableChannelConv, kernels};
}

/** Weights above zero, so that frames of some level are never divided by next to nothing. */
RandomLayer randomPreNorm(GraphDice& dice, const LayerPlace& place) {
    const std::int32_t length = dice.roll(1, 5);
    TensorBlock weights = randomTensor(dice, place, {length}, 1.0F);
    weights.elementType = ElementType::single;
    weights.halfWords.clear();
    for (float& weight : weights.values) {
        weight = (0.3F + std::fabs(weight)) / static_cast<float>(length);
    }
    return {LayerType::preNorm, weights};
}

RandomLayer randomAttention(GraphDice& dice, const LayerPlace& place, std::int32_t lookahead) {
    writer::SelfAttentionRecord record;
    record.projection =
        randomTensor(dice, place, {place.channels, place.channels}, weightFor(place.channels));
    record.projectionBias = randomTensor(dice, place, {place.height, place.channels}, 0.3F);
    record.lookahead = static_cast<std::int8_t>(lookahead);
    if (!dice.oneIn(3)) {
        const std::int32_t window = dice.roll(1, 5);
        record.attentionWeights =
            randomTensor(dice, place, {window, place.channels}, weightFor(window));
    }
    return {LayerType::selfAttention, record};
}

std::int32_t randomLookahead(GraphDice& dice, std::int32_t largest) {
    switch (dice.roll(0, 11)) {
        case 0:
            return -dice.roll(1, 3);
        case 1:
        case 2:
        case 3:
        case 4:
            return dice.roll(1, largest);
        default:
            return 0;
    }
}

/** The shape of transposed weights, and the channels that come out. */
struct TransposedShape {
    std::int32_t kernelOut;
    std::int32_t kernelIn;
    std::int32_t outChannels;
};

/** From 4104 on the kernel may have fewer channels than come out: one for each input, or some. */
TransposedShape transposedShape(GraphDice& dice, const LayerPlace& place) {
    const std::int32_t channels = dice.roll(1, 4);
    if (place.version >= 4104 && place.channels > 1 && dice.oneIn(3)) {
        return {1, place.channels, place.channels + (dice.oneIn(4) ? 1 : 0)};
    }
    if (place.version >= 4104 && channels > 1 && dice.oneIn(5)) {
        return {channels, place.channels, channels + 1};
    }
    return {channels, place.channels, channels};
}

}  // namespace

RandomLayer randomActivation(GraphDice& dice) {
    constexpr LayerType types[] = {LayerType::relu,     LayerType::elu,
                                   LayerType::sigmoid,  LayerType::leakyRelu,
                                   LayerType::softplus, LayerType::hardSigmoid};
    const LayerType type = types[dice.roll(0, 5)];
    if (type == LayerType::leakyRelu) {
        return {type, 1.2F * dice.signedUnit()};
    }
    return {type, {}};
}

RandomLayer randomConv(GraphDice& dice, const LayerPlace& place, Strides strides) {
    const bool depthwise = place.channels > 1 && dice.oneIn(3);
    const std::int32_t in = depthwise ? 1 : place.channels;
    const std::int32_t out = depthwise ? place.channels * (dice.oneIn(3) ? 2 : 1) : dice.roll(1, 5);
    const std::int32_t kernelFrames = dice.roll(1, 4);
    const std::int32_t kernelHeight = dice.roll(1, 4);
    writer::ConvRecord record;
    record.weights = randomTensor(dice, place, {kernelFrames, kernelHeight, in, out},
                                  weightFor(kernelFrames * kernelHeight * in));
    record.bias = randomBias(dice, place, out);
    record.timeStride = static_cast<std::int8_t>(strides.time);
    record.heightStride = static_cast<std::int8_t>(strides.height);
    record.timeDilation = static_cast<std::int8_t>(dice.roll(0, 3));
    record.reservedParameter = static_cast<std::int8_t>(dice.roll(-3, 3));
    record.lookahead = static_cast<std::int8_t>(randomLookahead(dice, 4));
    return {LayerType::conv, record};
}

RandomLayer randomTransposedConv(GraphDice& dice, const LayerPlace& place, Strides strides) {
    const TransposedShape shape = transposedShape(dice, place);
    const std::int32_t kernelFrames = dice.roll(1, 5);
    const std::int32_t kernelHeight = dice.roll(1, 4);
    const std::int32_t summands = (kernelFrames + strides.time - 1) / strides.time * kernelHeight *
                                  (shape.kernelOut == 1 ? 1 : shape.kernelIn);
    writer::TransposedConvRecord record;
    record.weights =
        randomTensor(dice, place, {kernelFrames, kernelHeight, shape.kernelOut, shape.kernelIn},
                     weightFor(summands));
    record.bias = randomBias(dice, place, shape.outChannels);
    record.outChannels = static_cast<std::int16_t>(shape.outChannels);
    record.timeStride = static_cast<std::int8_t>(strides.time);
    record.heightStride = static_cast<std::int8_t>(strides.height);
    record.timeDilation = static_cast<std::int8_t>(dice.roll(0, 4));
    record.reservedParameter = static_cast<std::int8_t>(dice.roll(-3, 3));
    record.lookahead = static_cast<std::int8_t>(randomLookahead(dice, strides.time + 2));
    return {LayerType::transposedConv, record};
}

RandomLayer randomDelay(GraphDice& dice, const LayerPlace& place) {
    const std::int32_t kind = dice.roll(0, place.version >= 4103 ? 2 : 1);
    if (kind == 0) {
        RandomLayer conv = randomConv(dice, place, {});
        std::get<writer::ConvRecord>(conv.record).lookahead =
            static_cast<std::int8_t>(dice.roll(1, 4));
        return conv;
    }
    return kind == 1 ? randomSeparable(dice, place, dice.roll(3, 7))
                     : randomAttention(dice, place, dice.roll(1, 4));
}

RandomLayer channelFit(GraphDice& dice, const LayerPlace& place, std::int32_t channels) {
    writer::ConvRecord record;
    record.weights =
        randomTensor(dice, place, {1, 1, place.channels, channels}, weightFor(place.channels));
    if (place.channels != 1) {
        record.bias = randomBias(dice, place, channels);
    }
    return {LayerType::conv, record};
}

RandomLayer randomLayer(GraphDice& dice, const LayerPlace& place) {
    switch (dice.roll(0, 11)) {
        case 0:
        case 1:
            return randomConv(dice, place, {});
        case 2:
            return randomConv(dice, place, {1, std::min(dice.roll(1, 3), place.height)});
        case 3:
            return randomTransposedConv(dice, place, {1, dice.roll(1, 2)});
        case 4:
            return randomDense(dice, place);
        case 5:
            return randomNorm(dice, place);
        case 6:
            return randomPreNorm(dice, place);
        case 7:
            return randomSeparable(dice, place, dice.roll(1, 6));
        case 8:
            return randomAttention(dice, place, std::max(dice.roll(-2, 2), 0));
        default:
            return randomActivation(dice);
    }
}

}  // namespace vorun::test
