#include "api/AllocationMeter.h"

#include <atomic>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VORUN_METER_BY_SANITIZER 1

// Exported by the sanitizers' run-time libraries; not every compiler package has their header.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*onAllocation)(const volatile void* block,
                                                                   std::size_t bytes),
                                              void (*onRelease)(const volatile void* block));
std::size_t __sanitizer_get_allocated_size(const volatile void* block);
}
#elif defined(__GLIBC__)
#define VORUN_METER_BY_REPLACEMENT 1
#include <cerrno>
#include <cstdlib>
#include <malloc.h>
#endif

namespace vorun::apitest::meter {
namespace {

std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

[[maybe_unused]] void noteAllocation(std::size_t bytes) {
    const std::size_t now = live.fetch_add(bytes) + bytes;
    std::size_t highest = peak.load();
    while (now > highest && !peak.compare_exchange_weak(highest, now)) {
    }
}

[[maybe_unused]] void noteRelease(std::size_t bytes) {
    live.fetch_sub(bytes);
}

#if defined(VORUN_METER_BY_SANITIZER)
void onAllocation(const volatile void* block, std::size_t bytes) {
    if (block != nullptr) {
        noteAllocation(bytes);
    }
}

void onRelease(const volatile void* block) {
    if (block != nullptr) {
        noteRelease(__sanitizer_get_allocated_size(block));
    }
}

const bool hooksAreInstalled =
    __sanitizer_install_malloc_and_free_hooks(onAllocation, onRelease) != 0;
#endif

}  // namespace

bool isAvailable() {
#if defined(VORUN_METER_BY_SANITIZER)
    return hooksAreInstalled;
#elif defined(VORUN_METER_BY_REPLACEMENT)
    return true;
#else
    return false;
#endif
}

std::size_t liveBytes() {
    return live.load();
}

void restartPeak() {
    peak.store(live.load());
}

std::size_t peakBytes() {
    return peak.load();
}

}  // namespace vorun::apitest::meter

#if defined(VORUN_METER_BY_REPLACEMENT)

#define VORUN_METER_VISIBLE __attribute__((visibility("default")))

// The C library's own entry points, which it exports for such replacements.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's.
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void* noted(void* block) {
    if (block != nullptr) {
        vorun::apitest::meter::noteAllocation(malloc_usable_size(block));
    }
    return block;
}

}  // namespace

extern "C" {

VORUN_METER_VISIBLE void* malloc(std::size_t bytes) {
    return noted(__libc_malloc(bytes));
}

VORUN_METER_VISIBLE void* calloc(std::size_t count, std::size_t bytes) {
    return noted(__libc_calloc(count, bytes));
}

VORUN_METER_VISIBLE void free(void* block) {
    if (block != nullptr) {
        vorun::apitest::meter::noteRelease(malloc_usable_size(block));
    }
    __libc_free(block);
}

VORUN_METER_VISIBLE void* realloc(void* block, std::size_t bytes) {
    const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
    void* moved = __libc_realloc(block, bytes);
    if (moved != nullptr || bytes == 0) {
        vorun::apitest::meter::noteRelease(before);
    }
    return noted(moved);
}

VORUN_METER_VISIBLE void* memalign(std::size_t alignment, std::size_t bytes) {
    return noted(__libc_memalign(alignment, bytes));
}

VORUN_METER_VISIBLE void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
    return noted(__libc_memalign(alignment, bytes));
}

VORUN_METER_VISIBLE int posix_memalign(void** result, std::size_t alignment, std::size_t bytes) {
    void* block = __libc_memalign(alignment, bytes);
    if (block == nullptr) {
        return ENOMEM;
    }
    *result = noted(block);
    return 0;
}
}

#endif
