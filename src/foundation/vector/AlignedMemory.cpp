// The aligned allocator of the vector family.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

namespace {

// heap block:  | up to 63 spare bytes | start of the block (8 bytes) | result, 64-byte aligned ...
constexpr std::int32_t headerBytes = sizeof(void*);
constexpr std::int32_t alignment = 64;
constexpr std::int32_t extraBytes = headerBytes + alignment;
static_assert(extraBytes == 72);

}  // namespace

unsigned char* ippsMalloc_8u(std::int32_t len) {
    if (len < 1 || len > std::numeric_limits<std::int32_t>::max() - extraBytes) {
        return nullptr;
    }
    auto* const block =
        static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(len) + extraBytes));
    if (block == nullptr) {
        return nullptr;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t rounded =
        (start + extraBytes - 1) & ~(static_cast<std::uintptr_t>(alignment) - 1);
    unsigned char* const result = block + (rounded - start);
    std::memcpy(result - headerBytes, &block, sizeof block);
    return result;
}

void ippsFree(void* pointer) {
    if (pointer == nullptr) {
        return;
    }
    void* block = nullptr;
    std::memcpy(&block, static_cast<unsigned char*>(pointer) - headerBytes, sizeof block);
    std::free(block);
}

}  // namespace vorun
