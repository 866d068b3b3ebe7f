#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace vorun::test {

/** The random choices of one seed. */
class Dice {
  public:
    explicit Dice(std::uint32_t seed) : engine_(seed) {}

    /** A whole number from `low` to `high`, both included. */
    std::int32_t roll(std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(engine_);
    }
    /** Numbers from `low` to 1. */
    std::vector<float> values(std::int32_t count, float low = -1.0F) {
        std::uniform_real_distribution<float> distribution(low, 1.0F);
        std::vector<float> result(static_cast<std::size_t>(count));
        std::generate(result.begin(), result.end(), [&] { return distribution(engine_); });
        return result;
    }

  private:
    std::mt19937 engine_;
};

}  // namespace vorun::test
