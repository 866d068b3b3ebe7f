#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "audio/ComplexSignal32.h"
#include "audio/Signal32.h"
#include "audio/Signal64.h"
#include "audio/SignalData.h"
#include "audio/SignalHandle.h"

namespace vorun {
namespace {

constexpr std::int32_t kHuge = std::numeric_limits<std::int32_t>::max();

double firstPart(float value) {
    return static_cast<double>(value);
}
double firstPart(double value) {
    return value;
}
double firstPart(Ipp32fc value) {
    return static_cast<double>(value.re);
}

void store(float& target, int value) {
    target = static_cast<float>(value);
}
void store(double& target, int value) {
    target = static_cast<double>(value);
}
void store(Ipp32fc& target, int value) {
    target = {static_cast<float>(value), -static_cast<float>(value)};
}

template <class Handle>
std::string messageOf(Handle& handle) {
    try {
        handle.channelData(0);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

template <class Handle>
class SignalHandleTest : public testing::Test {};

using Handles = testing::Types<Signal32, Signal64, ComplexSignal32>;
TYPED_TEST_SUITE(SignalHandleTest, Handles);

TYPED_TEST(SignalHandleTest, EmptyHandleIsSafeInEveryCommonOperation) {
    TypeParam empty;
    EXPECT_EQ(empty.channels(), 0);
    EXPECT_EQ(empty.length(), 0);
    EXPECT_FALSE(empty.hasBuffer());
    EXPECT_EQ(empty.useCount(), 0);
    EXPECT_EQ(empty.stride(), 0);
    empty.detach();
    EXPECT_EQ(empty.readData(0), nullptr);
    EXPECT_EQ(empty.channelData(3), nullptr);
    EXPECT_EQ(empty.channelPointers(), nullptr);
    const TypeParam copy(empty);
    EXPECT_FALSE(copy.hasBuffer());
}

TYPED_TEST(SignalHandleTest, EveryChannelStartsOnA64ByteBoundary) {
    for (const std::int32_t length : {1, 7, 8, 9, 15, 16, 17, 100}) {
        TypeParam signal(3, length);
        for (std::int32_t c = 0; c < 3; ++c) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(signal.channelData(c)) % 64, 0U) << length;
            EXPECT_EQ(signal.readData(c), signal.readData(0) + c * signal.stride());
        }
    }
}

TYPED_TEST(SignalHandleTest, CopyShares) {
    const TypeParam first(2, 10);
    TypeParam second(first);
    EXPECT_EQ(second.channels(), 2);
    EXPECT_EQ(second.length(), 10);
    EXPECT_EQ(first.useCount(), 2);
    EXPECT_EQ(first.readData(1), second.readData(1));
    second.detach();
    EXPECT_EQ(first.useCount(), 1);
}

TYPED_TEST(SignalHandleTest, WritingThroughACopyLeavesTheFirstUnchanged) {
    TypeParam first(2, 10);
    store(first.channelData(0)[4], 1);
    store(first.channelData(1)[9], 2);
    TypeParam second(first);
    store(second.channelData(0)[4], 3);
    EXPECT_EQ(firstPart(first.readData(0)[4]), 1.0);
    EXPECT_EQ(firstPart(second.readData(0)[4]), 3.0);
    EXPECT_EQ(firstPart(second.readData(1)[9]), 2.0);
    EXPECT_FALSE(first.sharesBufferWith(second));
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(second.useCount(), 1);
}

TYPED_TEST(SignalHandleTest, AskingForAWritablePointerClonesEvenForReading) {
    TypeParam first(1, 4);
    store(first.channelData(0)[0], 5);
    TypeParam second(first);
    EXPECT_NE(second.channelData(0), first.readData(0));
    EXPECT_EQ(firstPart(second.readData(0)[0]), 5.0);
}

TYPED_TEST(SignalHandleTest, ReadingDoesNotClone) {
    TypeParam first(1, 4);
    store(first.channelData(0)[0], 5);
    TypeParam second;
    second = first;
    EXPECT_EQ(second.readData(0), first.readData(0));
    EXPECT_EQ(first.useCount(), 2);
}

TYPED_TEST(SignalHandleTest, DetachOfASoleOwnerKeepsTheBuffer) {
    TypeParam signal(1, 4);
    const auto* before = signal.readData(0);
    signal.detach();
    EXPECT_EQ(signal.readData(0), before);
}

TYPED_TEST(SignalHandleTest, ChannelPointersTwiceGiveTheSameArray) {
    TypeParam signal(3, 5);
    auto* const* pointers = signal.channelPointers();
    EXPECT_EQ(signal.channelPointers(), pointers);
    for (std::int32_t c = 0; c < 3; ++c) {
        EXPECT_EQ(pointers[c], signal.readData(c));
    }
}

TYPED_TEST(SignalHandleTest, ChannelPointersOfAWriterPointIntoItsClone) {
    TypeParam first(2, 5);
    auto* const* firstPointers = first.channelPointers();
    TypeParam second(first);
    store(second.channelData(1)[0], 1);
    auto* const* secondPointers = second.channelPointers();
    EXPECT_NE(secondPointers, firstPointers);
    EXPECT_EQ(secondPointers[1], second.readData(1));
    EXPECT_EQ(first.channelPointers(), firstPointers);
    EXPECT_EQ(firstPointers[1], first.readData(1));
}

TYPED_TEST(SignalHandleTest, MovedFromHandleIsEmpty) {
    TypeParam first(2, 5);
    const TypeParam second(std::move(first));
    EXPECT_EQ(second.channels(), 2);
    EXPECT_EQ(second.useCount(), 1);
    EXPECT_FALSE(first.hasBuffer());  // NOLINT(bugprone-use-after-move): the state after it is told
    EXPECT_EQ(first.channels(), 0);
    EXPECT_EQ(first.length(), 0);
}

TYPED_TEST(SignalHandleTest, SelfAssignmentKeepsTheSignal) {
    TypeParam signal(2, 5);
    TypeParam& alias = signal;
    signal = alias;
    EXPECT_EQ(signal.channels(), 2);
    EXPECT_EQ(signal.useCount(), 1);
    signal = std::move(alias);
    EXPECT_EQ(signal.channels(), 2);
    EXPECT_TRUE(signal.hasBuffer());
}

TYPED_TEST(SignalHandleTest, AChannelOutsideTheSignalIsRefused) {
    TypeParam signal(2, 5);
    EXPECT_THROW(signal.readData(2), std::runtime_error);
    EXPECT_THROW(signal.readData(-1), std::runtime_error);
    EXPECT_THROW(signal.channelData(2), std::runtime_error);
}

TYPED_TEST(SignalHandleTest, ABlockBeyondTheAllocatorSurfacesAtItsFirstUse) {
    for (const auto& [channels, length] : {std::pair{1, kHuge}, std::pair{kHuge, kHuge},
                                           std::pair{kHuge, 1}, std::pair{1, 1 << 29}}) {
        TypeParam signal(channels, length);
        EXPECT_EQ(signal.channels(), channels);
        EXPECT_EQ(signal.length(), length);
        EXPECT_EQ(messageOf(signal), "IPP exception: ippStsNullPtrErr: Null pointer error");
        EXPECT_THROW(signal.channelPointers(), std::runtime_error);
    }
}

TYPED_TEST(SignalHandleTest, AFailedCloneLeavesTheHandleOnItsOldBuffer) {
    TypeParam first(1, kHuge);
    TypeParam second(first);
    EXPECT_EQ(messageOf(second), "IPP exception: ippStsNullPtrErr: Null pointer error");
    EXPECT_TRUE(second.sharesBufferWith(first));
    EXPECT_EQ(first.useCount(), 2);
}

TYPED_TEST(SignalHandleTest, NegativeShapesHoldNothingAndDoNothing) {
    for (const auto& [channels, length] :
         {std::pair{-1, 5}, std::pair{2, -5}, std::pair{-2, -40}, std::pair{-kHuge, -kHuge}}) {
        TypeParam signal(channels, length);
        EXPECT_EQ(signal.channels(), channels);
        EXPECT_EQ(signal.length(), length);
        EXPECT_EQ(signal.readData(0), nullptr);
        TypeParam copy(signal);
        EXPECT_EQ(copy.channelData(0), nullptr);
        EXPECT_EQ(copy.channelPointers(), nullptr);
    }
}

TEST(SignalStride, RoundsUpToTheBoundary) {
    EXPECT_EQ(Signal32(2, 0).stride(), 0);
    EXPECT_EQ(Signal32(1, 1).stride(), 16);
    EXPECT_EQ(Signal32(2, 16).stride(), 16);
    EXPECT_EQ(Signal32(1, 17).stride(), 32);
    EXPECT_EQ(ComplexSignal32(1, 8).stride(), 8);
    EXPECT_EQ(ComplexSignal32(1, 9).stride(), 16);
    EXPECT_EQ(Signal64(1, 8).stride(), 8);
    EXPECT_EQ(Signal64(1, 9).stride(), 16);
}

TEST(SignalStride, TruncatesTowardZeroForNegativeLengths) {
    EXPECT_EQ(Signal32(1, -15).stride(), 0);
    EXPECT_EQ(Signal32(1, -16).stride(), 0);
    EXPECT_EQ(Signal32(1, -31).stride(), -16);
    EXPECT_EQ(Signal64(1, -15).stride(), -8);
}

TEST(SignalData, RecordsItsShapeAndAlignment) {
    const SignalData<float> data(3, 17);
    EXPECT_EQ(data.channels, 3);
    EXPECT_EQ(data.length, 17);
    EXPECT_EQ(data.stride, 32);
    EXPECT_EQ(data.alignment, 64);
    EXPECT_NE(data.data, nullptr);
    EXPECT_TRUE(data.channelPointers.empty());
}

TEST(SignalData, CloneCarriesThePaddingAndNoChannelPointers) {
    SignalData<float> data(2, 3);
    for (int i = 0; i < 32; ++i) {
        data.data[i] = static_cast<float>(i);
    }
    data.channelPointers = {data.data, data.data + 16};
    const auto copy = data.clone();
    EXPECT_EQ(copy->stride, 16);
    EXPECT_EQ(copy->alignment, 64);
    EXPECT_TRUE(copy->channelPointers.empty());
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(copy->data[i], static_cast<float>(i));
    }
}

TEST(SignalData, ZeroLengthHasNoBlock) {
    const SignalData<float> data(2, 0);
    EXPECT_EQ(data.stride, 0);
    EXPECT_EQ(data.data, nullptr);
    EXPECT_TRUE(Signal32(2, 0).hasBuffer());
}

}  // namespace
}  // namespace vorun
