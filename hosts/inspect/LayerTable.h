#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspect/Inspection.h"

namespace vorun::inspect {

/** One line a layer, in columns, behind a line of titles. */
std::string layerTable(const Description& description);

/** The parameters of a layer in words. */
std::string parametersText(const LayerRecord& record, const LayerFlow& layer);

/** "342 x 11", with " at 1/2" where the layer's rate is not the model's; "?" if not known. */
std::string shapeText(const std::optional<Frames>& frames);

/** "5 at 16 bit", "22 + 11 at 32 bit"; how many values a record holds, and how. */
std::string valuesText(const LayerRecord& record);

}  // namespace vorun::inspect
