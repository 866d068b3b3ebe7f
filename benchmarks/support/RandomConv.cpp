#include "support/RandomConv.h"

#include <algorithm>
#include <cstddef>
#include <random>

namespace vorun::benchmarks {

std::vector<float> randomValues(std::size_t count, float largest) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> distribution(-largest, largest);
    std::vector<float> values(count);
    std::generate(values.begin(), values.end(), [&] { return distribution(engine); });
    return values;
}

writer::ConvRecord randomConv(const std::vector<std::int32_t>& shape, float largestWeight) {
    std::size_t volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= static_cast<std::size_t>(dimension);
    }
    writer::ConvRecord record;
    record.weights = {shape, randomValues(volume, largestWeight)};
    record.bias = {{shape.back()}, randomValues(static_cast<std::size_t>(shape.back()), 0.1F)};
    return record;
}

}  // namespace vorun::benchmarks
