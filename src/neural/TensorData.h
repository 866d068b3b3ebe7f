#pragma once

#include <cstdint>

namespace vorun {

/**
 * The storage of tensors: one 64-byte aligned block that several Tensor values may share through a
 * shared pointer. Elements of a new block are not cleared.
 */
template <class T>
class TensorData {
  public:
    /**
     * A capacity below 1 takes no block. Throws std::runtime_error with the null pointer status
     * when the block cannot be had: nobody then meets a shape that claims elements without memory.
     */
    explicit TensorData(std::int32_t capacity);
    ~TensorData();
    TensorData(const TensorData&) = delete;
    TensorData& operator=(const TensorData&) = delete;

    /** The most elements that any block can hold: its bytes, and those of its alignment, in 31
     * bits.
     */
    static constexpr std::int32_t largestCapacity =
        (0x7FFFFFFF - 72) / static_cast<std::int32_t>(sizeof(T));

    /** Number of elements that the block holds. */
    std::int32_t capacity() const { return capacity_; }
    /** Null where the capacity is below 1. */
    T* data() const { return data_; }

    /** Blocks ever taken from the allocator, in all threads; for the tests of the frame path. */
    static std::uint64_t blocksAllocated();
    /** The bytes of all these blocks, alive or not. */
    static std::uint64_t bytesAllocated();

  private:
    std::int32_t capacity_;
    T* data_;
};

extern template class TensorData<float>;

}  // namespace vorun
