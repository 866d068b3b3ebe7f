#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

TEST(AlignedMemory, LengthsBelowOneGiveNull) {
    EXPECT_EQ(ippsMalloc_8u(0), nullptr);
    EXPECT_EQ(ippsMalloc_8u(-1), nullptr);
    EXPECT_EQ(ippsMalloc_8u(std::numeric_limits<std::int32_t>::min()), nullptr);
}

TEST(AlignedMemory, LengthsThatOverflowWithTheHeaderGiveNull) {
    EXPECT_EQ(ippsMalloc_8u(largest), nullptr);
    EXPECT_EQ(ippsMalloc_8u(largest - 71), nullptr);
}

TEST(AlignedMemory, FreeingNullIsANoOp) {
    ippsFree(nullptr);
}

TEST(AlignedMemory, BlocksStartOn64BytesAndHoldTheirLength) {
    std::vector<unsigned char*> blocks;
    for (const std::int32_t length : {1, 7, 8, 63, 64, 65, 4096, 1000003}) {
        unsigned char* const block = ippsMalloc_8u(length);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0U);
        // Every byte can be written without disturbing what freeing needs.
        std::memset(block, 0xFF, static_cast<std::size_t>(length));
        blocks.push_back(block);
    }
    for (unsigned char* const block : blocks) {
        ippsFree(block);
    }
}

TEST(AlignedMemory, TheStartOfTheHeapBlockLiesBeforeTheResult) {
    unsigned char* const block = ippsMalloc_8u(100);
    ASSERT_NE(block, nullptr);
    std::uintptr_t start = 0;
    std::memcpy(&start, block - 8, sizeof start);
    const auto result = reinterpret_cast<std::uintptr_t>(block);
    EXPECT_EQ(result, (start + 71) & ~std::uintptr_t{63});
    ippsFree(block);
}

}  // namespace
}  // namespace vorun
