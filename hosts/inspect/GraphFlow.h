#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/FileContents.h"
#include "inspect/Frames.h"

namespace vorun::inspect {

/** One layer in its place in the graph. */
struct LayerFlow {
    /** Nothing where the shape of an input is not known. */
    std::optional<Flow> flow;
    /** For one frame at the model's input. */
    double multiplyAdds = 0.0;
    bool leadsToOutput = false;
};

/** What the header's frames become on their way through the layers. */
struct GraphFlow {
    /** In the order of the file. */
    std::vector<LayerFlow> layers;
    /** What goes into the model, where the header tells, and what its output gets. */
    std::optional<Frames> input;
    std::optional<Frames> output;
    /** Whether all shapes are known; if not, the sums below leave layers out. */
    bool isComplete = true;
    /** For one frame at the model's input. */
    double multiplyAdds = 0.0;
    double weightBytes = 0.0;
    double historyBytes = 0.0;
    double outputBytes = 0.0;
    /** What would go wrong when the model runs, in sentences. */
    std::vector<std::string> warnings;
};

/** Follows single frames of the header's shape through a graph whose feeders come first. */
GraphFlow followGraph(const FileContents& contents);

}  // namespace vorun::inspect
