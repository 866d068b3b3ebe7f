#pragma once

#include <string>

#include "inspect/Inspection.h"

namespace vorun::inspect {

/**
 * The graph of a model in the DOT language: a box a layer, an arrow a connection, with what travels
 * along it. The inputs of a layer with several are numbered in their order.
 */
std::string dotReport(const Description& description);

}  // namespace vorun::inspect
