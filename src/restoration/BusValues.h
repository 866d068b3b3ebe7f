#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace vorun {

/**
 * One live value for each bus, readable and writable from any thread without a lock. Indices
 * outside the array read as 0 and are ignored on writing, so that a host's id needs no check.
 */
class BusValues {
  public:
    static constexpr std::int32_t count = 16;

    explicit BusValues(float initial) {
        for (auto& value : values_) {
            value.store(initial);
        }
    }

    float get(std::int32_t index) const { return contains(index) ? cell(index).load() : 0.0f; }

    void set(std::int32_t index, float value) {
        if (contains(index)) {
            values_[static_cast<std::size_t>(index)].store(value);
        }
    }

  private:
    static bool contains(std::int32_t index) { return index >= 0 && index < count; }

    const std::atomic<float>& cell(std::int32_t index) const {
        return values_[static_cast<std::size_t>(index)];
    }

    std::array<std::atomic<float>, count> values_;
    static_assert(std::atomic<float>::is_always_lock_free);
};

}  // namespace vorun
