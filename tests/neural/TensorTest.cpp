#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/Tensor.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatTensor;
using test::valuesOf;
using testing::ElementsAre;

constexpr std::int32_t int32Max = std::numeric_limits<std::int32_t>::max();

TEST(Tensor, RankZeroHasNoVolumeAndReadsZeroInEveryDimension) {
    FloatTensor tensor;
    EXPECT_EQ(tensor.rank(), 0);
    EXPECT_EQ(tensor.volume(), 0);
    EXPECT_EQ(tensor.dim(0), 0);
    EXPECT_EQ(tensor.dim(3), 0);
    EXPECT_FALSE(tensor.hasStorage());
    EXPECT_EQ(tensor.readData(), nullptr);
}

TEST(Tensor, RankZeroIsLeftAsItIsByMakeUniqueAndZero) {
    FloatTensor tensor;
    tensor.MakeUnique();
    tensor.Zero();
    EXPECT_EQ(tensor.rank(), 0);
    EXPECT_FALSE(tensor.hasStorage());
}

TEST(Tensor, ConstructionFromAnEmptyShapeTakesStorageWithoutABlock) {
    const FloatTensor tensor((std::vector<std::int32_t>()));
    EXPECT_TRUE(tensor.hasStorage());
    EXPECT_EQ(tensor.capacity(), 0);
    EXPECT_EQ(tensor.readData(), nullptr);
}

TEST(Tensor, ConstructionTakesExactlyTheVolumeOnA64ByteBoundary) {
    const FloatTensor tensor({2, 3, 5});
    EXPECT_EQ(tensor.capacity(), 30);
    EXPECT_EQ(tensor.useCount(), 1);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tensor.readData()) % 64, 0U);
}

TEST(Tensor, CopySharesStorageAndOwnsItsShape) {
    FloatTensor first = countingTensor({2, 2, 1});
    const FloatTensor second = first;
    EXPECT_EQ(first.readData(), second.readData());
    EXPECT_EQ(first.useCount(), 2);
    first.Resize({1, 2, 1});
    EXPECT_EQ(second.shape(), (std::vector<std::int32_t>{2, 2, 1}));
}

TEST(Tensor, ResizeToASmallerShapeKeepsASharedBlockUntilMakeUnique) {
    FloatTensor tensor = countingTensor({4});
    const FloatTensor other = tensor;
    tensor.Resize({2});
    EXPECT_EQ(tensor.readData(), other.readData());
    EXPECT_EQ(tensor.useCount(), 2);
    tensor.MakeUnique();
    EXPECT_NE(tensor.readData(), other.readData());
    EXPECT_EQ(other.useCount(), 1);
}

TEST(Tensor, MakeUniqueCopiesTheWholeCapacity) {
    FloatTensor tensor = countingTensor({6});
    const FloatTensor other = tensor;
    tensor.Resize({2});
    tensor.MakeUnique();
    EXPECT_EQ(tensor.capacity(), 6);
    tensor.Resize({6});
    EXPECT_THAT(valuesOf(tensor), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(Tensor, MakeUniqueLeavesAnUnsharedBlockInPlace) {
    FloatTensor tensor = countingTensor({3});
    const float* block = tensor.readData();
    tensor.MakeUnique();
    EXPECT_EQ(tensor.readData(), block);
}

TEST(Tensor, ResizeToVolumeZeroKeepsTheStorage) {
    FloatTensor tensor = countingTensor({3});
    const float* block = tensor.readData();
    tensor.Resize({0, 7});
    EXPECT_EQ(tensor.volume(), 0);
    EXPECT_EQ(tensor.readData(), block);
    EXPECT_EQ(tensor.capacity(), 3);
}

TEST(Tensor, ResizeBeyondTheCapacityTakesStorageOfExactlyTheNewVolume) {
    FloatTensor tensor = countingTensor({3});
    const FloatTensor other = tensor;
    tensor.Resize({2, 2});
    EXPECT_EQ(tensor.capacity(), 4);
    EXPECT_EQ(tensor.useCount(), 1);
    EXPECT_THAT(valuesOf(other), ElementsAre(1, 2, 3));
}

TEST(Tensor, ResizeWithoutStorageToVolumeZeroTakesStorageWithoutABlock) {
    FloatTensor tensor;
    tensor.Resize({0});
    EXPECT_TRUE(tensor.hasStorage());
    EXPECT_EQ(tensor.readData(), nullptr);
}

TEST(Tensor, ZeroClearsTheVolumeAndLeavesSharersAlone) {
    FloatTensor tensor = countingTensor({4});
    const FloatTensor other = tensor;
    tensor.Resize({3});
    tensor.Zero();
    EXPECT_THAT(valuesOf(tensor), ElementsAre(0, 0, 0));
    EXPECT_THAT(valuesOf(other), ElementsAre(1, 2, 3, 4));
    tensor.Resize({4});
    EXPECT_EQ(tensor.readData()[3], 4.0F);
}

TEST(Tensor, DimensionBeyondANonEmptyRankRaises) {
    const FloatTensor tensor({2, 3});
    EXPECT_EQ(tensor.dim(1), 3);
    EXPECT_THROW(tensor.dim(2), std::runtime_error);
}

TEST(Tensor, NegativeDimensionsAreRefusedAndChangeNothing) {
    FloatTensor tensor = countingTensor({2});
    EXPECT_THROW(tensor.Resize({2, -1, -1}), std::runtime_error);
    EXPECT_THROW(tensor.Resize({0, -1}), std::runtime_error);
    EXPECT_THROW(FloatTensor({-1}), std::runtime_error);
    EXPECT_THAT(valuesOf(tensor), ElementsAre(1, 2));
}

TEST(Tensor, MoreElementsThan31BitsAreRefusedAlsoWhereTheProductWraps) {
    FloatTensor tensor = countingTensor({2});
    EXPECT_THROW(tensor.Resize({65536, 65536}), std::runtime_error);
    EXPECT_THROW(tensor.Resize({65537, 65537}), std::runtime_error);
    EXPECT_THROW(tensor.Resize({int32Max, int32Max, int32Max, int32Max}), std::runtime_error);
    EXPECT_THAT(valuesOf(tensor), ElementsAre(1, 2));
}

TEST(Tensor, AnyZeroDimensionMakesTheVolumeZeroWhateverTheOthersAre) {
    FloatTensor tensor;
    tensor.Resize({int32Max, int32Max, int32Max, 0});
    EXPECT_EQ(tensor.volume(), 0);
}

TEST(Tensor, BlockThatCannotBeHadRaisesTheNullPointerStatusAndChangesNothing) {
    FloatTensor tensor = countingTensor({2});
    try {
        tensor.Resize({int32Max});
        FAIL() << "no failure";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
    EXPECT_THAT(valuesOf(tensor), ElementsAre(1, 2));
}

TEST(Tensor, VolumeOfAFileShapeWrapsTo32Bits) {
    EXPECT_EQ(wrappedVolume(std::vector<std::int32_t>{65536, 65536}), 0);
    EXPECT_EQ(wrappedVolume(std::vector<std::int32_t>{65537, 65537}), 131073);
    EXPECT_EQ(wrappedVolume(std::vector<std::int32_t>{65536, 32768}),
              std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(wrappedVolume(std::vector<std::int32_t>{-2, 3}), -6);
    EXPECT_EQ(wrappedVolume({}), 0);
}

TEST(Tensor, FileShapeOfNegativeVolumeHasItsShapeButNoStorage) {
    const FloatTensor tensor = FloatTensor::fromFileShape({-2, 3});
    EXPECT_EQ(tensor.dim(0), -2);
    EXPECT_EQ(tensor.volume(), -6);
    EXPECT_FALSE(tensor.hasStorage());
}

TEST(Tensor, FileShapeWithTwoNegativeDimensionsIsAFlatArray) {
    const FloatTensor tensor = FloatTensor::fromFileShape({-2, -3});
    EXPECT_EQ(tensor.volume(), 6);
    EXPECT_EQ(tensor.capacity(), 6);
}

TEST(TensorData, CountsTheBlocksThatItTakesAndNoOthers) {
    const std::uint64_t blocks = TensorData<float>::blocksAllocated();
    const std::uint64_t bytes = TensorData<float>::bytesAllocated();
    FloatTensor tensor({5});
    EXPECT_EQ(TensorData<float>::blocksAllocated(), blocks + 1);
    EXPECT_EQ(TensorData<float>::bytesAllocated(), bytes + 20);
    const FloatTensor other = tensor;
    tensor.Resize({0});
    const FloatTensor empty({0});
    EXPECT_EQ(TensorData<float>::blocksAllocated(), blocks + 1);
    tensor.MakeUnique();
    EXPECT_EQ(TensorData<float>::blocksAllocated(), blocks + 2);
}

TEST(Tensor, HasNoElementsOnceItWasMovedFrom) {
    Tensor<float> tensor({2, 3});
    const Tensor<float> taken = std::move(tensor);
    EXPECT_EQ(taken.volume(), 6);
    EXPECT_EQ(tensor.volume(), 0);  // NOLINT(bugprone-use-after-move): this is what is tested.
    EXPECT_FALSE(tensor.hasStorage());
}

}  // namespace
}  // namespace vorun
