#include "inspect/kinds/KernelTaps.h"

#include <algorithm>

namespace vorun::inspect::kinds {
namespace {

/** Rounded down, for a positive divisor. */
std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value >= 0 ? value / divisor : -((divisor - 1 - value) / divisor);
}

}  // namespace

double tapsInside(const KernelWalk& walk) {
    if (walk.stride < 1 || walk.bins < 1) {
        return 0.0;
    }
    // The kernel begins as far before the row as the engine lays it.
    const std::int64_t start = -((walk.kernelHeight - walk.stride) / 2);
    double taps = 0.0;
    for (std::int64_t tap = 0; tap < walk.kernelHeight; ++tap) {
        // The tap meets bin start + tap + place * stride.
        const std::int64_t first = -floorDivide(start + tap, walk.stride);
        const std::int64_t last = floorDivide(walk.bins - 1 - start - tap, walk.stride);
        const std::int64_t count =
            std::min(last, walk.places - 1) - std::max<std::int64_t>(first, 0) + 1;
        taps += static_cast<double>(std::max<std::int64_t>(count, 0));
    }
    return taps;
}

}  // namespace vorun::inspect::kinds
