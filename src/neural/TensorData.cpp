#include "neural/TensorData.h"

#include <atomic>
#include <limits>

#include "foundation/vector/CheckedCall.h"

namespace vorun {
namespace {

std::atomic<std::uint64_t> blockCount{0};
std::atomic<std::uint64_t> byteCount{0};

template <class T>
T* takeBlock(std::int32_t capacity) {
    if (capacity < 1) {
        return nullptr;
    }
    constexpr auto elementBytes = static_cast<std::int32_t>(sizeof(T));
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max() / elementBytes;
    void* block = nullptr;
    if (capacity <= largest) {
        block = ippsMalloc_8u(capacity * elementBytes);
    }
    if (block == nullptr) {
        checkStatus(ippStsNullPtrErr);
    }
    blockCount.fetch_add(1, std::memory_order_relaxed);
    byteCount.fetch_add(static_cast<std::uint64_t>(capacity) * sizeof(T),
                        std::memory_order_relaxed);
    return static_cast<T*>(block);
}

}  // namespace

template <class T>
TensorData<T>::TensorData(std::int32_t capacity)
    : capacity_(capacity), data_(takeBlock<T>(capacity)) {}

template <class T>
TensorData<T>::~TensorData() {
    ippsFree(data_);
}

template <class T>
std::uint64_t TensorData<T>::blocksAllocated() {
    return blockCount.load(std::memory_order_relaxed);
}

template <class T>
std::uint64_t TensorData<T>::bytesAllocated() {
    return byteCount.load(std::memory_order_relaxed);
}

template class TensorData<float>;

}  // namespace vorun
