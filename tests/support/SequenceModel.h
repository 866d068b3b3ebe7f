#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "support/ModelWriter.h"
#include "support/SequenceFrames.h"

/**
 * Models as lists of named records that can be written to a file and, without the engine, be
 * computed on a whole stream at once: plain sums over time in double precision. Nothing here
 * streams, keeps a history or shares code with the engine.
 */
namespace vorun::sequence {

/** The record of NormLayer, DenseLayer and SeparableChannelConvLayer, in file order. */
struct TwoTensors {
    writer::TensorBlock first;
    writer::TensorBlock second;
};

/** What follows the header of a record; the alternative in use follows from the layer's type. */
using LayerRecord =
    std::variant<std::monostate, float, writer::ConvRecord, writer::TransposedConvRecord,
                 TwoTensors, writer::TensorBlock, writer::SelfAttentionRecord, std::int8_t>;

struct Node {
    std::string name;
    writer::LayerType type = writer::LayerType::relu;
    /** Names of earlier nodes, or "input"; one of them unless the layer is a join. */
    std::vector<std::string> inputs;
    LayerRecord record;
};

struct Model {
    writer::ModelHeader header;
    std::vector<Node> nodes;
    std::string outputSource = "input";
};

bool isJoin(writer::LayerType type);

/** The look-ahead and the window that a file of that version gives the layer. */
writer::SelfAttentionRecord attentionOf(const Node& node, std::int32_t version);
/** The channels that a file of that version gives the layer. */
std::int32_t outChannelsOf(const writer::TransposedConvRecord& record, std::int32_t version);

writer::ModelWriter fileOf(const Model& model);

/** All frames that the layer gives once it has seen all of its inputs. */
Frames evaluateNode(const Node& node, const std::vector<const Frames*>& inputs,
                    std::int32_t version);

/** All frames that reach the model's output once the whole input is in. */
Frames evaluateModel(const Model& model, const Frames& input);

/** Number of frames that evaluateNode() gives for inputs of those lengths. */
std::int32_t framesAfter(const Node& node, const std::vector<std::int32_t>& inputFrames,
                         std::int32_t version);
/** Number of frames that evaluateModel() gives for an input of that length. */
std::int32_t framesAfter(const Model& model, std::int32_t inputFrames);

}  // namespace vorun::sequence
