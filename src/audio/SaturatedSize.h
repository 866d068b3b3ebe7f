#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vorun {

/**
 * A size computed in 64 bits, held to the 32-bit range in which sizes travel. A saturated size is
 * beyond what the allocator grants, so that the signal built from it has no block and its first
 * use raises instead of wrapping round.
 */
constexpr std::int32_t saturatedSize(std::int64_t size) noexcept {
    constexpr std::int64_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t high = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(size, low, high));
}

}  // namespace vorun
