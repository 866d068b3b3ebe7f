#include "neural/RandomGraphFeatures.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>

namespace vorun::test {
namespace {

using sequence::Node;
using writer::ElementType;
using writer::LayerType;
using writer::TensorBlock;

using Features = std::set<std::string>;

/** What lies between the input and a node: what shifts its frames, and which nodes. */
struct Path {
    Features shifts;
    std::set<std::string> nodes;
    std::int32_t frames = 0;
};

std::string numbered(const char* text, std::int32_t number) {
    return text + std::to_string(number);
}

class Inspection {
  public:
    explicit Inspection(const RandomGraph& graph) : graph_(graph) {
        paths_["input"] = {{}, {"input"}, graph.streams.back().frames()};
        for (const Node& node : graph.model.nodes) {
            features_.insert(numbered("type ", static_cast<std::int32_t>(node.type)));
            Path path = inputPath(node);
            inspect(node, path.shifts);
            paths_[node.name] = std::move(path);
        }
        inspectWhole();
    }
    const Features& features() const { return features_; }

  private:
    bool has(LayerType type) const {
        return std::any_of(graph_.model.nodes.begin(), graph_.model.nodes.end(),
                           [&](const Node& node) { return node.type == type; });
    }
    std::int32_t version() const { return graph_.model.header.version; }
    void note(bool present, const std::string& feature) {
        if (present) {
            features_.insert(feature);
        }
    }
    void shift(bool present, const std::string& feature, Features& shifts) {
        note(present, feature);
        if (present) {
            shifts.insert(feature);
        }
    }

    Path inputPath(const Node& node) const;
    void inspect(const Node& node, Features& shifts);
    void inspectConv(const Node& node, Features& shifts);
    void inspectTransposed(const Node& node, Features& shifts);
    void inspectAttention(const Node& node, Features& shifts);
    void inspectJoin(const Node& node);
    void inspectSides(const Node& join, const Path& one, const Path& other);
    void inspectHalf(const TensorBlock& block) {
        note(block.elementType == ElementType::half && version() >= 4105, "half weights");
    }
    void inspectWhole();

    const RandomGraph& graph_;
    std::map<std::string, Path> paths_;
    Features features_;
};

Path Inspection::inputPath(const Node& node) const {
    Path path;
    std::vector<std::int32_t> frames;
    for (const std::string& input : node.inputs) {
        const Path& before = paths_.at(input);
        path.shifts.insert(before.shifts.begin(), before.shifts.end());
        path.nodes.insert(before.nodes.begin(), before.nodes.end());
        frames.push_back(before.frames);
    }
    path.nodes.insert(node.name);
    path.frames = sequence::framesAfter(node, frames, version());
    return path;
}

void Inspection::inspect(const Node& node, Features& shifts) {
    if (node.type == LayerType::conv) {
        inspectConv(node, shifts);
    } else if (node.type == LayerType::transposedConv) {
        inspectTransposed(node, shifts);
    } else if (node.type == LayerType::selfAttention) {
        inspectAttention(node, shifts);
    } else if (node.type == LayerType::separableChannelConv) {
        const auto& kernels = std::get<sequence::TwoTensors>(node.record);
        shift(kernels.first.shape[0] > 2, "separable warm-up", shifts);
        note(kernels.second.shape[0] % 2 == 0, "separable with an even height kernel");
    } else if (sequence::isJoin(node.type)) {
        inspectJoin(node);
    }
    if (const auto* tensors = std::get_if<sequence::TwoTensors>(&node.record)) {
        inspectHalf(tensors->first);
        inspectHalf(tensors->second);
    }
}

void Inspection::inspectConv(const Node& node, Features& shifts) {
    const auto& record = std::get<writer::ConvRecord>(node.record);
    const auto& kernel = record.weights.shape;
    inspectHalf(record.weights);
    shift(record.timeStride > 1, numbered("conv time stride ", record.timeStride), shifts);
    shift(record.heightStride > 1, numbered("conv height stride ", record.heightStride), shifts);
    shift(record.lookahead > 0, "conv look-ahead", shifts);
    note(record.lookahead > 0 && record.timeStride > 1, "strided conv look-ahead");
    note(record.lookahead < 0, "conv look-ahead below zero");
    note(record.timeDilation > 1 && kernel[0] > 1, "conv dilation");
    note(record.timeDilation == 0 && kernel[0] > 1, "conv without dilation");
    note(kernel[2] == 1 && kernel[3] > 1, "depthwise or single-channel conv");
}

void Inspection::inspectTransposed(const Node& node, Features& shifts) {
    const auto& record = std::get<writer::TransposedConvRecord>(node.record);
    const auto& kernel = record.weights.shape;
    const std::int32_t outChannels = sequence::outChannelsOf(record, version());
    inspectHalf(record.weights);
    note(version() < 4104, "transposed conv below 4104");
    note(version() >= 4104, "transposed conv from 4104 on");
    shift(record.timeStride > 1, numbered("transposed time stride ", record.timeStride), shifts);
    shift(record.heightStride > 1, numbered("transposed height stride ", record.heightStride),
          shifts);
    shift(record.lookahead > 0, "transposed look-ahead", shifts);
    note(record.lookahead > record.timeStride, "transposed look-ahead beyond the stride");
    note(kernel[0] < record.timeStride, "transposed kernel shorter than the stride");
    note(kernel[0] > record.timeStride, "transposed kernel longer than the stride");
    note(kernel[2] == 1 && outChannels != 1, "depthwise transposed conv");
    note(kernel[2] > 1 && kernel[2] < outChannels, "transposed conv with bare channels");
}

void Inspection::inspectAttention(const Node& node, Features& shifts) {
    const auto record = sequence::attentionOf(node, version());
    inspectHalf(record.projection);
    note(version() < 4103, "attention below 4103");
    note(version() >= 4103 && !record.attentionWeights.values.empty(), "attention window");
    note(version() >= 4103 && record.attentionWeights.values.empty(), "attention without window");
    shift(record.lookahead > 0, "attention look-ahead", shifts);
}

void Inspection::inspectJoin(const Node& node) {
    note(node.inputs.size() > 2, "join of three");
    if (node.type == LayerType::arithmetic) {
        const std::int32_t code = std::get<std::int8_t>(node.record);
        features_.insert(code >= 0 && code <= 3 ? numbered("arithmetic code ", code)
                                                : "arithmetic code of no step");
        note(code == 3 && node.inputs.size() > 2, "arithmetic code 3 of three");
    }
    for (const std::string& one : node.inputs) {
        for (const std::string& other : node.inputs) {
            inspectSides(node, paths_.at(one), paths_.at(other));
        }
    }
}

/** What only the first side of a join has behind it, if its frames arrive otherwise for it. */
void Inspection::inspectSides(const Node& join, const Path& one, const Path& other) {
    Features only;
    std::set_difference(one.shifts.begin(), one.shifts.end(), other.shifts.begin(),
                        other.shifts.end(), std::inserter(only, only.end()));
    const std::string kind = join.type == LayerType::concat ? "concatenated" : "computed";
    for (const std::string& shift : only) {
        note(one.frames < other.frames, "one side delayed by " + shift + ", " + kind);
    }
    const bool skips =
        std::includes(one.nodes.begin(), one.nodes.end(), other.nodes.begin(), other.nodes.end());
    for (const std::int32_t stride : {2, 3}) {
        if (skips && only.contains(numbered("conv time stride ", stride)) &&
            only.contains(numbered("transposed time stride ", stride))) {
            const std::string text = numbered("skip connection over time stride ", stride);
            features_.insert(text + ", " + kind);
            note(only.contains("conv height stride 2") &&
                     only.contains("transposed height stride 2"),
                 text + " and height stride 2");
            note(only.contains("transposed look-ahead"), text + " with look-ahead behind");
            note(only.contains("conv look-ahead"), text + " with look-ahead in front");
        }
    }
}

void Inspection::inspectWhole() {
    const auto& nodes = graph_.model.nodes;
    std::map<std::string, std::int32_t> consumers;
    ++consumers[graph_.model.outputSource];
    for (const Node& node : nodes) {
        for (const std::string& input : node.inputs) {
            ++consumers[input];
        }
    }
    for (const Node& node : nodes) {
        note(consumers[node.name] == 0, "dead end");
        note(consumers[node.name] > 1, "fork behind a layer");
    }
    note(consumers["input"] > 1, "fork at the input");
    note(graph_.streams.size() > 1, "reset");
    note(graph_.takesGroups, "groups of frames");
    note(nodes.size() > 8, "more than eight layers");
    features_.insert(numbered("version ", version()));
}

}  // namespace

Features featuresOf(const RandomGraph& graph) {
    return Inspection(graph).features();
}

std::vector<std::string> wantedFeatures() {
    std::vector<std::string> wanted = {
        "type 2",
        "type 3",
        "type 4",
        "type 5",
        "type 6",
        "type 7",
        "type 9",
        "type 12",
        "type 14",
        "type 15",
        "type 16",
        "type 17",
        "type 18",
        "type 19",
        "type 20",
        "version 4100",
        "version 4101",
        "version 4102",
        "version 4103",
        "version 4104",
        "version 4105",
        "version 4106",
        "half weights",
        "reset",
        "groups of frames",
        "dead end",
        "fork at the input",
        "fork behind a layer",
        "more than eight layers",
        "join of three",
        "conv time stride 2",
        "conv time stride 3",
        "conv height stride 2",
        "conv height stride 3",
        "conv look-ahead",
        "strided conv look-ahead",
        "conv look-ahead below zero",
        "conv dilation",
        "conv without dilation",
        "depthwise or single-channel conv",
        "transposed conv below 4104",
        "transposed conv from 4104 on",
        "transposed time stride 2",
        "transposed time stride 3",
        "transposed height stride 2",
        "transposed look-ahead",
        "transposed look-ahead beyond the stride",
        "transposed kernel shorter than the stride",
        "transposed kernel longer than the stride",
        "depthwise transposed conv",
        "transposed conv with bare channels",
        "separable warm-up",
        "separable with an even height kernel",
        "attention below 4103",
        "attention window",
        "attention without window",
        "attention look-ahead",
        "arithmetic code 0",
        "arithmetic code 1",
        "arithmetic code 2",
        "arithmetic code 3",
        "arithmetic code of no step",
        "arithmetic code 3 of three",
    };
    for (const char* kind : {", concatenated", ", computed"}) {
        for (const char* shift : {"conv look-ahead", "separable warm-up", "attention look-ahead",
                                  "transposed look-ahead"}) {
            wanted.push_back(std::string("one side delayed by ") + shift + kind);
        }
    }
    for (const char* stride : {"2", "3"}) {
        for (const char* how : {", concatenated", ", computed", " and height stride 2",
                                " with look-ahead behind", " with look-ahead in front"}) {
            wanted.push_back(std::string("skip connection over time stride ") + stride + how);
        }
    }
    return wanted;
}

}  // namespace vorun::test
