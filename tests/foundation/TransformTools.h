#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace vorun {

inline std::size_t lengthOf(std::int32_t order) {
    return std::size_t{1} << order;
}
inline std::size_t spectrumFloats(std::int32_t order) {
    return 2 * (lengthOf(order) / 2 + 1);
}

// The bound that VectorPrimitives.h states, on the norm of the error relative to the result's.
inline double relativeBound(std::int32_t order) {
    return (1.0 + order / 8.0) * static_cast<double>(std::numeric_limits<float>::epsilon());
}

inline std::vector<float> noise(std::size_t count, std::uint32_t seed = 1) {
    std::minstd_rand engine(seed);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    std::vector<float> values(count);
    std::generate(values.begin(), values.end(), [&] { return uniform(engine); });
    return values;
}

inline double norm(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) {
        sum += value * value;
    }
    return std::sqrt(sum);
}

template <class Got>
inline double distance(const Got& got, const std::vector<double>& exact) {
    std::vector<double> difference(exact.size());
    for (std::size_t i = 0; i < exact.size(); ++i) {
        difference[i] = static_cast<double>(got[i]) - exact[i];
    }
    return norm(difference);
}

inline std::vector<double> scaled(std::vector<double> values, double factor) {
    for (double& value : values) {
        value *= factor;
    }
    return values;
}

}  // namespace vorun
