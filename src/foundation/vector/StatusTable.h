#pragma once

#include <cstddef>
#include <span>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

struct StatusRow {
    IppStatus code;
    const char* message;
};

inline constexpr std::size_t statusRowCount = 139;

/// All statuses that ippGetStatusString knows, by ascending code.
std::span<const StatusRow> statusRows();

}  // namespace vorun
