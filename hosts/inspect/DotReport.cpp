#include "inspect/DotReport.h"

#include <cstddef>

#include "inspect/LayerKinds.h"
#include "inspect/LayerTable.h"
#include "inspect/Numbers.h"
#include "inspect/Printable.h"

namespace vorun::inspect {
namespace {

/** Names can be anything and need not differ from "input", so nodes go by number. */
std::string nodeOf(int layer) {
    return layer == modelInput ? "input" : "layer" + std::to_string(layer + 1);
}

std::optional<Frames> framesBehind(const Description& description, int layer) {
    if (layer == modelInput) {
        return description.graph.input;
    }
    const std::optional<Flow>& flow =
        description.graph.layers[static_cast<std::size_t>(layer)].flow;
    return flow ? std::optional<Frames>(flow->output) : std::nullopt;
}

std::string layerNode(int index, const LayerRecord& record, const LayerFlow& layer) {
    const LayerKind& kind = *kindOf(record.type);
    std::string label = dotText(printable(record.name)) + "\\n" + kind.className;
    const std::string parameters = parametersText(record, layer);
    if (!parameters.empty()) {
        label += "\\n" + dotText(parameters);
    }
    if (layer.multiplyAdds > 0.0) {
        label += "\\n" + shortNumber(layer.multiplyAdds, 1) + " multiply-adds";
    }
    const std::string style = layer.leadsToOutput ? "" : ", style=dashed";
    return "    " + nodeOf(index) + " [label=\"" + label + "\"" + style + "];\n";
}

std::string edge(const Description& description, int from, const std::string& to,
                 const std::string& number) {
    return "    " + nodeOf(from) + " -> " + to + " [label=\"" + number +
           shapeText(framesBehind(description, from)) + "\"];\n";
}

std::string edgesInto(const Description& description, int index, const LayerRecord& record) {
    std::string text;
    const bool isNumbered = record.feeders.size() > 1;
    for (std::size_t i = 0; i < record.feeders.size(); ++i) {
        const std::string number = isNumbered ? std::to_string(i + 1) + ": " : "";
        text += edge(description, record.feeders[i], nodeOf(index), number);
    }
    return text;
}

}  // namespace

std::string dotReport(const Description& description) {
    const FileContents& contents = description.contents;
    std::string text = "digraph model {\n    node [shape=box];\n";
    text += "    input [label=\"input\", shape=ellipse];\n";
    for (std::size_t i = 0; i < contents.layers.size(); ++i) {
        text += layerNode(static_cast<int>(i), contents.layers[i], description.graph.layers[i]);
    }
    text += "    output [label=\"output\", shape=ellipse];\n";
    for (std::size_t i = 0; i < contents.layers.size(); ++i) {
        text += edgesInto(description, static_cast<int>(i), contents.layers[i]);
    }
    text += edge(description, contents.outputFeeder, "output", "");
    return text + "}\n";
}

}  // namespace vorun::inspect
