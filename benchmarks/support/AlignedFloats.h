#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace vorun::benchmarks {

/** Blocks from a boundary of 64 bytes on, as the engine's tensors have them. */
template <class T>
class AlignedAllocator {
  public:
    using value_type = T;

    AlignedAllocator() = default;
    template <class Other>
    AlignedAllocator(const AlignedAllocator<Other>& /*other*/) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(::operator new(count * sizeof(T), boundary));
    }
    void deallocate(T* block, std::size_t /*count*/) { ::operator delete(block, boundary); }

    bool operator==(const AlignedAllocator& /*other*/) const { return true; }

  private:
    static constexpr std::align_val_t boundary{64};
};

using AlignedFloats = std::vector<float, AlignedAllocator<float>>;

}  // namespace vorun::benchmarks
