#pragma once

#include <algorithm>
#include <cstdint>

#include "inspect/Frames.h"

namespace vorun::inspect::kinds {

inline constexpr std::int64_t widestRegister = 16;

/**
 * The output channels of a convolution, its last ones, that it sums with bins side by side: fewer
 * the fewer products a sum takes from one frame, which are `run`.
 */
inline std::int64_t columnChannels(std::int64_t outChannels, std::int64_t run) {
    constexpr std::int64_t always = 8;
    constexpr std::int64_t mostOfLongRuns = 13;
    constexpr std::int64_t loadAndStore = 4;
    const std::int64_t rest = outChannels % widestRegister;
    return rest <= always || rest * (run + loadAndStore) <= mostOfLongRuns * run ? rest : 0;
}

/** The engine does without columns where a block of memory cannot hold them. */
inline constexpr std::int64_t mostColumnValues = (mostValues - 72) / 4;

/** Whether there are enough bins for that. */
inline bool hasColumnsFor(std::int64_t bins) {
    return bins >= widestRegister;
}

/** Values of a frame turned round for it, so many bins counted as one. */
inline std::int64_t columnValues(std::int64_t height, std::int64_t channels,
                                 std::int64_t binsAsOne) {
    const std::int64_t together = std::max<std::int64_t>(binsAsOne, 1);
    const std::int64_t bins = (height + together - 1) / together;
    const std::int64_t registers = (bins + widestRegister - 1) / widestRegister;
    return product({channels, together, registers, widestRegister});
}

}  // namespace vorun::inspect::kinds
