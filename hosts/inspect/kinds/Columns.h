#pragma once

#include <algorithm>
#include <cstdint>

#include "inspect/Frames.h"

namespace vorun::inspect::kinds {

/**
 * The output channels of a convolution, its last ones, that it sums with bins side by side: fewer
 * the fewer products a sum takes from one frame, which are `run`.
 */
inline std::int64_t columnChannels(std::int64_t outChannels, std::int64_t run) {
    constexpr std::int64_t widestRegister = 16;
    constexpr std::int64_t mostOfLongRuns = 12;
    const std::int64_t rest = outChannels % widestRegister;
    return rest * (run + widestRegister) <= mostOfLongRuns * run ? rest : 0;
}

/** The engine does without columns where a block of memory cannot hold them. */
inline constexpr std::int64_t mostColumnValues = (mostValues - 72) / 4;

/** Whether there are enough bins for that. */
inline bool hasColumnsFor(std::int64_t bins) {
    constexpr std::int64_t fewest = 16;
    return bins >= fewest;
}

/** Values of a frame turned round for it, so many bins counted as one. */
inline std::int64_t columnValues(std::int64_t height, std::int64_t channels,
                                 std::int64_t binsAsOne) {
    constexpr std::int64_t readBeyond = 15;
    const std::int64_t bins = std::max<std::int64_t>(binsAsOne, 1);
    return product({channels, bins, (height + bins - 1) / bins + readBeyond});
}

}  // namespace vorun::inspect::kinds
