#pragma once

#include <set>
#include <string>
#include <vector>

#include "neural/RandomGraph.h"

namespace vorun::test {

/** What a graph has in it, found by looking at its records alone. */
std::set<std::string> featuresOf(const RandomGraph& graph);

/** Everything that a large enough set of graphs must have. */
std::vector<std::string> wantedFeatures();

}  // namespace vorun::test
