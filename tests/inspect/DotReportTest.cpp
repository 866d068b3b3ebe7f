#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "inspect/DotReport.h"
#include "inspect/InspectTools.h"

namespace vorun::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using writer::LayerType;
using writer::ModelWriter;

/** What the statements of a graph say; read by the rules of quoted strings, not by lines. */
struct ParsedGraph {
    /** Labels as DOT holds them, by node; and by ends. */
    std::map<std::string, std::string> nodes;
    std::vector<std::pair<std::pair<std::string, std::string>, std::string>> edges;
};

/** The inside of the quoted string behind `label=`, and whether it ends before the text does. */
std::optional<std::string> labelIn(std::string_view statement) {
    const std::size_t start = statement.find("label=\"");
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    std::string label;
    for (std::size_t i = start + 7; i < statement.size(); ++i) {
        if (statement[i] == '"') {
            return label;
        }
        label += statement[i];
        if (statement[i] == '\\' && i + 1 < statement.size()) {
            label += statement[++i];
        }
    }
    return std::nullopt;
}

/** Statements end with a semicolon outside quotes. */
std::vector<std::string> statementsOf(const std::string& text) {
    std::vector<std::string> statements(1);
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isQuoted && text[i] == '\\') {
            statements.back() += text[i++];
        } else if (text[i] == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && (text[i] == ';' || text[i] == '{' || text[i] == '}')) {
            statements.emplace_back();
            continue;
        }
        statements.back() += text[i];
    }
    EXPECT_FALSE(isQuoted);
    return statements;
}

std::string firstWord(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \n"), text.size()));
    return std::string(text.substr(0, text.find_first_of(" \n[")));
}

ParsedGraph parsed(const std::string& text) {
    ParsedGraph graph;
    for (const std::string& statement : statementsOf(text)) {
        const std::optional<std::string> label = labelIn(statement);
        if (!label) {
            continue;
        }
        const std::size_t arrow = statement.find(" -> ");
        const std::string from = firstWord(statement);
        if (arrow < statement.find('[')) {
            const std::string to = firstWord(std::string_view(statement).substr(arrow + 4));
            graph.edges.push_back({{from, to}, *label});
        } else {
            graph.nodes[from] = *label;
        }
    }
    return graph;
}

std::string dotOf(const ModelWriter& model) {
    const inspect::Inspection inspection = inspected(model.bytes());
    EXPECT_EQ(inspection.refusal, "");
    return inspection.description ? dotReport(*inspection.description) : "";
}

auto edge(const std::string& from, const std::string& to, const std::string& label) {
    return Pair(Pair(from, to), label);
}

TEST(DotReport, ThePassThroughModelIsOneArrow) {
    const ParsedGraph graph = parsed(dotOf(ModelWriter(headerOf(4, 2))));
    EXPECT_THAT(graph.nodes, ElementsAre(Pair("input", "input"), Pair("output", "output")));
    EXPECT_THAT(graph.edges, ElementsAre(edge("input", "output", "4 x 2")));
}

TEST(DotReport, LayersAreNodesAndConnectionsAreEdges) {
    ModelWriter model(headerOf(4, 1));
    model.addConv("mean", "input", convOf({1, 1, 1, 3}))
        .addActivation("lines", "mean", LayerType::relu)
        .addConcat("both", {"lines", "mean"})
        .setOutputSource("both");
    const ParsedGraph graph = parsed(dotOf(model));
    EXPECT_THAT(graph.nodes,
                ElementsAre(Pair("input", "input"),
                            Pair("layer1",
                                 "mean\\nConvLayer\\nkernel 1 frame x 1 bin, 1 to 3 channels, "
                                 "no bias\\n12 multiply-adds"),
                            Pair("layer2", "lines\\nReLULayer"),
                            Pair("layer3", "both\\nConcatLayer"), Pair("output", "output")));
    EXPECT_THAT(
        graph.edges,
        ElementsAre(edge("input", "layer1", "4 x 1"), edge("layer1", "layer2", "4 x 3"),
                    edge("layer2", "layer3", "1: 4 x 3"), edge("layer1", "layer3", "2: 4 x 3"),
                    edge("layer3", "output", "4 x 6")));
}

TEST(DotReport, NamesThatLookLikeDotStayNames) {
    const std::string odd = "\"];\n evil -> output [label=\"x\\N&amp;";
    ModelWriter model(headerOf(4, 1));
    model.addActivation(odd, "input", LayerType::relu).setOutputSource(odd);
    const ParsedGraph graph = parsed(dotOf(model));
    EXPECT_THAT(graph.nodes, ElementsAre(Pair("input", "input"),
                                         Pair("layer1",
                                              "\\\"];\\\\n evil -> output [label=\\\"x\\\\\\\\N"
                                              "&amp;amp;\\nReLULayer"),
                                         Pair("output", "output")));
    EXPECT_THAT(graph.edges,
                ElementsAre(edge("input", "layer1", "4 x 1"), edge("layer1", "output", "4 x 1")));
}

TEST(DotReport, ALayerCalledInputIsNotTheInput) {
    ModelWriter model(headerOf(4, 1));
    model.addActivation("input", "input", LayerType::relu)
        .addActivation("a", "input", LayerType::elu)
        .setOutputSource("a");
    const ParsedGraph graph = parsed(dotOf(model));
    EXPECT_THAT(graph.edges,
                ElementsAre(edge("input", "layer1", "4 x 1"), edge("layer1", "layer2", "4 x 1"),
                            edge("layer2", "output", "4 x 1")));
}

TEST(DotReport, WhatLeadsNowhereIsDashed) {
    ModelWriter model(headerOf(4, 1));
    model.addActivation("a", "input", LayerType::relu);
    EXPECT_THAT(dotOf(model), HasSubstr("layer1 [label=\"a\\nReLULayer\", style=dashed];"));
}

TEST(DotReport, UnknownShapesAreMarked) {
    const ParsedGraph graph = parsed(dotOf(ModelWriter(headerOf(0, 1))));
    EXPECT_THAT(graph.edges, ElementsAre(edge("input", "output", "?")));
}

}  // namespace
}  // namespace vorun::test
