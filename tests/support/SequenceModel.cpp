#include "support/SequenceModel.h"

#include <algorithm>
#include <functional>
#include <map>
#include <utility>

namespace vorun::sequence {
namespace {

using writer::LayerType;

void appendTo(writer::ModelWriter& file, const Node& node) {
    const std::string& name = node.name;
    const auto& input = node.inputs.at(0);
    switch (node.type) {
        case LayerType::conv:
            file.addConv(name, input, std::get<writer::ConvRecord>(node.record));
            break;
        case LayerType::transposedConv:
            file.addTransposedConv(name, input,
                                   std::get<writer::TransposedConvRecord>(node.record));
            break;
        case LayerType::norm:
        case LayerType::dense:
        case LayerType::separableChannelConv: {
            const auto& tensors = std::get<TwoTensors>(node.record);
            file.addTwoTensors(name, input, node.type, tensors.first, tensors.second);
            break;
        }
        case LayerType::concat:
            file.addConcat(name, node.inputs);
            break;
        case LayerType::leakyRelu:
            file.addLeakyRelu(name, input, std::get<float>(node.record));
            break;
        case LayerType::preNorm:
            file.addPreNorm(name, input, std::get<writer::TensorBlock>(node.record));
            break;
        case LayerType::arithmetic:
            file.addArithmetic(name, node.inputs, std::get<std::int8_t>(node.record));
            break;
        case LayerType::selfAttention:
            file.addSelfAttention(name, input, std::get<writer::SelfAttentionRecord>(node.record));
            break;
        default:
            file.addActivation(name, input, node.type);
    }
}

/** Frames of every `stride`-th position from `lookahead` on, which itself sets the phase. */
std::int32_t framesOnStride(std::int32_t frames, std::int32_t lookahead, std::int32_t stride) {
    std::int32_t count = 0;
    for (std::int32_t t = std::max(lookahead, 0); t < frames; ++t) {
        count += (t - lookahead) % stride == 0 ? 1 : 0;
    }
    return count;
}

/** Walks the nodes in file order and hands each one what its inputs gave. */
template <class Value>
Value walk(const Model& model, Value input,
           const std::function<Value(const Node&, const std::vector<const Value*>&)>& compute) {
    std::map<std::string, Value> results;
    results["input"] = std::move(input);
    for (const Node& node : model.nodes) {
        std::vector<const Value*> inputs;
        for (const std::string& name : node.inputs) {
            inputs.push_back(&results.at(name));
        }
        Value result = compute(node, inputs);
        results[node.name] = std::move(result);
    }
    return results.at(model.outputSource);
}

}  // namespace

bool isJoin(LayerType type) {
    return type == LayerType::concat || type == LayerType::arithmetic;
}

writer::SelfAttentionRecord attentionOf(const Node& node, std::int32_t version) {
    auto record = std::get<writer::SelfAttentionRecord>(node.record);
    if (version < 4103) {
        record.lookahead = 0;
        record.attentionWeights = {};
    }
    return record;
}

std::int32_t outChannelsOf(const writer::TransposedConvRecord& record, std::int32_t version) {
    return version < 4104 ? record.weights.shape.at(2) : record.outChannels;
}

writer::ModelWriter fileOf(const Model& model) {
    writer::ModelWriter file(model.header);
    for (const Node& node : model.nodes) {
        appendTo(file, node);
    }
    file.setOutputSource(model.outputSource);
    return file;
}

Frames evaluateModel(const Model& model, const Frames& input) {
    return walk<Frames>(model, input,
                        [&](const Node& node, const std::vector<const Frames*>& inputs) {
                            return evaluateNode(node, inputs, model.header.version);
                        });
}

std::int32_t framesAfter(const Node& node, const std::vector<std::int32_t>& inputFrames,
                         std::int32_t version) {
    const std::int32_t frames = *std::min_element(inputFrames.begin(), inputFrames.end());
    switch (node.type) {
        case LayerType::conv: {
            const auto& record = std::get<writer::ConvRecord>(node.record);
            return framesOnStride(frames, record.lookahead, record.timeStride);
        }
        case LayerType::transposedConv: {
            const auto& record = std::get<writer::TransposedConvRecord>(node.record);
            return std::max(frames * record.timeStride - std::max<int>(record.lookahead, 0), 0);
        }
        case LayerType::separableChannelConv: {
            const auto& tensors = std::get<TwoTensors>(node.record);
            return std::max(frames - ((tensors.first.shape.at(0) + 1) / 2 - 1), 0);
        }
        case LayerType::selfAttention:
            return std::max(frames - attentionOf(node, version).lookahead, 0);
        default:
            return frames;
    }
}

std::int32_t framesAfter(const Model& model, std::int32_t inputFrames) {
    return walk<std::int32_t>(
        model, inputFrames, [&](const Node& node, const std::vector<const std::int32_t*>& inputs) {
            std::vector<std::int32_t> counts;
            for (const std::int32_t* count : inputs) {
                counts.push_back(*count);
            }
            return framesAfter(node, counts, model.header.version);
        });
}

}  // namespace vorun::sequence
