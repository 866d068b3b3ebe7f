#pragma once

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(address))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(address))
#endif

namespace vorun {

struct ArrayPlace {
    std::size_t length;
    std::size_t offset;
};

/// An array at a chosen number of elements from a 64-byte boundary, between two zones of a known
/// pattern. A write into a zone fails expectIntact; under the address sanitizer a read or a write
/// there is reported at once.
template <class T>
class GuardedArray {
  public:
    explicit GuardedArray(std::size_t length, std::size_t offset = 0)
        : count(length),
          before(zoneBytes + offset * sizeof(T)),
          total(before + length * sizeof(T) + zoneBytes),
          block(static_cast<std::byte*>(::operator new (total, std::align_val_t{64}))) {
        std::fill(block, block + total, pattern);
        poison();
    }

    explicit GuardedArray(ArrayPlace place) : GuardedArray(place.length, place.offset) {}

    GuardedArray(const GuardedArray&) = delete;
    GuardedArray& operator=(const GuardedArray&) = delete;

    ~GuardedArray() {
        ASAN_UNPOISON_MEMORY_REGION(block, total);
        ::operator delete (block, std::align_val_t{64});
    }

    T* data() { return reinterpret_cast<T*>(block + before); }
    const T* data() const { return reinterpret_cast<const T*>(block + before); }
    std::size_t size() const { return count; }
    T& operator[](std::size_t i) { return data()[i]; }
    const T& operator[](std::size_t i) const { return data()[i]; }
    T* begin() { return data(); }
    T* end() { return data() + count; }
    const T* begin() const { return data(); }
    const T* end() const { return data() + count; }

    void assign(const std::vector<T>& values) { std::copy(values.begin(), values.end(), data()); }

    /// Whether both zones still hold their pattern.
    bool isIntact() const {
        ASAN_UNPOISON_MEMORY_REGION(block, total);
        const std::byte* const first = block;
        const std::byte* const behind = first + before + count * sizeof(T);
        const auto isPattern = [](std::byte b) { return b == pattern; };
        const bool intact = std::all_of(first, first + before, isPattern) &&
                            std::all_of(behind, first + total, isPattern);
        poison();
        return intact;
    }

    /// Whether the array itself still holds the pattern with which it starts.
    bool isUntouched() const {
        const auto* const first = reinterpret_cast<const std::byte*>(data());
        return std::all_of(first, first + count * sizeof(T),
                           [](std::byte b) { return b == pattern; });
    }

  private:
    void poison() const {
        ASAN_POISON_MEMORY_REGION(block, before);
        ASAN_POISON_MEMORY_REGION(block + before + count * sizeof(T), zoneBytes);
    }

    static constexpr std::size_t zoneBytes = 128;
    // As a float or a double a NaN, so that a sum that reads a zone shows it.
    static constexpr std::byte pattern{0xFF};
    std::size_t count;
    std::size_t before;
    std::size_t total;
    std::byte* block;
};

}  // namespace vorun
