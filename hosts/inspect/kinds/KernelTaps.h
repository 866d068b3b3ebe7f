#pragma once

#include <cstdint>

namespace vorun::inspect::kinds {

/** A kernel that is laid over a row of bins at every `stride` of them. */
struct KernelWalk {
    /** Places at which it is laid, and bins of the row. */
    std::int64_t places = 0;
    std::int64_t bins = 0;
    std::int64_t kernelHeight = 0;
    std::int64_t stride = 1;
};

/** How many taps fall inside the row, over all places: the others meet nothing and cost nothing.
 * None for a stride below 1, which leaves no bins. */
double tapsInside(const KernelWalk& walk);

}  // namespace vorun::inspect::kinds
