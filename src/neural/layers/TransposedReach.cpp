#include "neural/layers/TransposedReach.h"

#include <cstddef>

#include "neural/layers/FloorDivide.h"

namespace vorun {

IndexRange TransposedReach::outputsOfPhase(std::int32_t phase, std::int32_t height,
                                           std::int32_t outHeight) const {
    const std::int64_t start = firstPosition() + phase;
    return {std::max<std::int64_t>(0, floorDivide(-start + stride - 1, stride)),
            std::min(std::int64_t{height} + binsOfPhase(phase) - 1,
                     floorDivide(outHeight - 1 - start, stride) + 1)};
}

std::vector<BinRange> TransposedReach::enteredBins(std::int32_t phase, std::int32_t height,
                                                   std::int32_t outHeight) const {
    const IndexRange outputs = outputsOfPhase(phase, height, outHeight);
    const std::int64_t reach = binsOfPhase(phase) - 1;
    std::vector<BinRange> entered(static_cast<std::size_t>(reach + 1));
    for (std::int64_t i = 0; i <= reach; ++i) {
        const std::int64_t first = outputs.begin - reach + i;
        const std::int64_t begin = std::clamp<std::int64_t>(-first, 0, outputs.size());
        const std::int64_t end = std::clamp<std::int64_t>(height - first, begin, outputs.size());
        entered[static_cast<std::size_t>(i)] = {static_cast<std::int32_t>(begin),
                                                static_cast<std::int32_t>(end)};
    }
    return entered;
}

}  // namespace vorun
