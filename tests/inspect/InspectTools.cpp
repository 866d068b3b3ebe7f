#include "inspect/InspectTools.h"

#include <memory>
#include <stdexcept>

#include "inspect/FileDecoder.h"
#include "neural/MemoryStream.h"

namespace vorun::test {

using inspect::FileContents;
using inspect::FileDecoder;
using inspect::Flow;
using inspect::GraphFlow;
using inspect::Inspection;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;
using writer::SelfAttentionRecord;
using writer::TensorBlock;
using writer::TransposedConvRecord;

ModelHeader headerOf(std::int16_t rows, std::int8_t channels) {
    ModelHeader header;
    header.inputBins = rows;
    header.inputChannels = channels;
    header.outputChannels = channels;
    return header;
}

TensorBlock blockOf(const std::vector<std::int32_t>& shape, ElementType elementType) {
    std::size_t count = shape.empty() ? 0 : 1;
    for (const std::int32_t dimension : shape) {
        count *= static_cast<std::size_t>(dimension);
    }
    TensorBlock block;
    block.shape = shape;
    block.values.assign(count, 0.5F);
    block.elementType = elementType;
    return block;
}

ConvRecord convOf(const std::vector<std::int32_t>& weights) {
    ConvRecord record;
    record.weights = blockOf(weights);
    return record;
}

TransposedConvRecord transposedOf(const std::vector<std::int32_t>& weights,
                                  std::int16_t outChannels) {
    TransposedConvRecord record;
    record.weights = blockOf(weights);
    record.outChannels = outChannels;
    return record;
}

FileContents decoded(const Bytes& bytes) {
    MemoryStream stream(bytes);
    FileDecoder decoder(stream);
    decoder.decode();
    return decoder.contents();
}

GraphFlow followed(const ModelWriter& model) {
    return followGraph(decoded(model.bytes()));
}

Flow flowOf(const ModelWriter& model) {
    const GraphFlow graph = followed(model);
    if (graph.layers.size() != 1 || !graph.layers.front().flow) {
        throw std::logic_error("not one layer that can be followed");
    }
    return *graph.layers.front().flow;
}

Inspection inspected(const Bytes& bytes) {
    return inspect::inspect(std::make_shared<MemoryStream>(bytes));
}

ModelWriter everyLayer(const ModelHeader& header) {
    ConvRecord down = convOf({2, 3, 2, 3});
    down.bias = blockOf({3}, ElementType::half);
    down.timeStride = 2;
    down.lookahead = 1;
    TransposedConvRecord up = transposedOf({2, 3, 2, 3}, 2);
    up.timeStride = 2;
    SelfAttentionRecord attention;
    attention.projection = blockOf({2, 2});
    attention.projectionBias = blockOf({4, 2});
    attention.attentionWeights = blockOf({3, 2});
    ModelWriter model(header);
    model.addPreNorm("level", "input", blockOf({2}))
        .addConv("down", "level", down)
        .addActivation("relu", "down", LayerType::relu)
        .addTransposedConv("up", "relu", up)
        .addTwoTensors("norm", "up", LayerType::norm, blockOf({2}), blockOf({2}))
        .addTwoTensors("dense", "norm", LayerType::dense, blockOf({4, 4, 2}), blockOf({4, 2}))
        .addTwoTensors("smooth", "dense", LayerType::separableChannelConv, blockOf({3}),
                       blockOf({3}))
        .addSelfAttention("attention", "smooth", attention)
        .addActivation("elu", "attention", LayerType::elu)
        .addLeakyRelu("leaky", "attention", 0.25F)
        .addConcat("both", {"elu", "leaky"})
        .addConv("mix", "both", convOf({1, 1, 4, 2}))
        .addActivation("soft", "mix", LayerType::softplus)
        .addActivation("hard", "soft", LayerType::hardSigmoid)
        .addActivation("sigmoid", "soft", LayerType::sigmoid)
        .addArithmetic("mask", {"hard", "sigmoid"}, 0)
        .setOutputSource("mask");
    return model;
}

}  // namespace vorun::test
