#pragma once

#include <algorithm>
#include <cstdint>

namespace vorun {

/**
 * Bins that steps of a frame hand to each other without leaving the first-level cache. Rows have a
 * power of two and one bin, so a power of two here would leave a block of one.
 */
inline constexpr std::int32_t blockBins = 208;

/** Calls body(first, count) for stretches of up to blockBins bins. */
template <class Body>
void inBlocks(std::int32_t bins, Body&& body) {
    for (std::int32_t first = 0; first < bins;) {
        const std::int32_t count = std::min(blockBins, bins - first);
        body(first, count);
        first += count;
    }
}

}  // namespace vorun
