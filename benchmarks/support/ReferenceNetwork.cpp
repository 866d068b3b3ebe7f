#include "support/ReferenceNetwork.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace vorun::benchmarks {
namespace {

std::vector<float> levels(std::size_t count, float largest, std::uint32_t seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> level(-largest, largest);
    std::vector<float> values(count);
    std::generate(values.begin(), values.end(), [&] { return level(engine); });
    return values;
}

/** Weights that keep the level about the same from layer to layer. */
ReferenceNetwork filled(ReferenceNetwork network) {
    std::uint32_t seed = 1;
    for (ReferenceLayer& layer : network.layers) {
        const std::int32_t terms = ReferenceLayer::rows * layer.kernelBins * layer.inChannels;
        const auto count = static_cast<std::size_t>(terms * layer.outChannels);
        layer.weights = levels(count, 1.5F / std::sqrt(static_cast<float>(terms)), seed++);
        layer.bias = levels(static_cast<std::size_t>(layer.outChannels), 0.1F, seed++);
    }
    return network;
}

ReferenceLayer dilated(std::int32_t in, std::int32_t out, std::int32_t dilation,
                       Activation activation) {
    return {.kernelBins = 3,
            .inChannels = in,
            .outChannels = out,
            .inBins = 256,
            .outBins = 256,
            .timeDilation = dilation,
            .activation = activation};
}

ReferenceLayer halving(std::int32_t in, std::int32_t out, std::int32_t inBins) {
    return {.kernelBins = 5,
            .inChannels = in,
            .outChannels = out,
            .inBins = inBins,
            .outBins = inBins / 2,
            .heightStride = 2,
            .activation = Activation::elu};
}

ReferenceLayer doubling(std::int32_t in, std::int32_t out, std::int32_t inBins) {
    ReferenceLayer layer = halving(in, out, inBins);
    layer.outBins = 2 * inBins;
    layer.transposed = true;
    return layer;
}

ReferenceLayer middle() {
    return {.kernelBins = 3,
            .inChannels = 64,
            .outChannels = 64,
            .inBins = 64,
            .outBins = 64,
            .activation = Activation::elu};
}

}  // namespace

std::size_t ReferenceLayer::inSize() const {
    return static_cast<std::size_t>(inBins * inChannels);
}

std::size_t ReferenceLayer::outSize() const {
    return static_cast<std::size_t>(outBins * outChannels);
}

std::size_t ReferenceLayer::weightIndex(std::int32_t row, std::int32_t bin, std::int32_t in,
                                        std::int32_t out) const {
    return static_cast<std::size_t>(((row * kernelBins + bin) * inChannels + in) * outChannels +
                                    out);
}

std::int32_t ReferenceLayer::paddingAbove() const {
    const std::int32_t narrow = std::min(inBins, outBins);
    return (narrow - 1) * heightStride + kernelBins - padding() - std::max(inBins, outBins);
}

double ReferenceLayer::flops() const {
    return 2.0 * rows * kernelBins * inChannels * outChannels * (transposed ? inBins : outBins);
}

double ReferenceNetwork::flops() const {
    double sum = 0.0;
    for (const ReferenceLayer& layer : layers) {
        sum += layer.flops();
    }
    return sum;
}

std::int32_t ReferenceNetwork::frames() const {
    std::int32_t frames = 1;
    for (const ReferenceLayer& layer : layers) {
        frames += (ReferenceLayer::rows - 1) * layer.timeDilation;
    }
    return frames;
}

ReferenceNetwork networkA() {
    return filled({"A",
                   {dilated(1, 32, 1, Activation::relu), dilated(32, 32, 2, Activation::relu),
                    dilated(32, 32, 4, Activation::relu), dilated(32, 1, 8, Activation::sigmoid)}});
}

ReferenceNetwork networkB() {
    ReferenceNetwork network{"B",
                             {halving(2, 32, 256), halving(32, 64, 128), middle(), middle(),
                              doubling(64, 32, 64), doubling(64, 2, 128)}};
    network.layers.back().joined = 0;
    network.layers.back().activation = Activation::none;
    return filled(network);
}

std::vector<float> inputFrame(const ReferenceNetwork& network, std::uint32_t number) {
    return levels(network.layers.front().inSize(), 1.0F, 1000 + number);
}

}  // namespace vorun::benchmarks
