#pragma once

#include <string>

#include "inspect/Inspection.h"

namespace vorun::inspect {

/** Everything about a model in lines for a person; warnings stand at the end. */
std::string textReport(const std::string& path, const Description& description);

}  // namespace vorun::inspect
