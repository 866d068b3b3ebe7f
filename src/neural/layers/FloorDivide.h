#pragma once

#include <cstdint>

namespace vorun {

/** Rounds towards minus infinity; `divisor` is positive. */
constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value >= 0 ? value / divisor : -((divisor - 1 - value) / divisor);
}

}  // namespace vorun
