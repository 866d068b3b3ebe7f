#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

#include "AudioTestSupport.h"
#include "audio/Signal32.h"
#include "audio/Signal64.h"

namespace vorun {
namespace {

using test::channelOf;
using test::counted;
using test::toSignal;
using testing::Each;
using testing::ElementsAre;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(Signal32, FillValueReachesEverySample) {
    const Signal32 signal(3, 21, 0.5F);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(channelOf(signal, c).size(), 21U);
        EXPECT_THAT(channelOf(signal, c), Each(0.5F));
    }
}

TEST(Signal32, FillSetsARangeOfOneChannel) {
    Signal32 signal(2, 5, 0.0F);
    signal.fill(7.0F, 1, 3, 1);
    EXPECT_THAT(channelOf(signal, 0), Each(0.0F));
    EXPECT_THAT(channelOf(signal, 1), ElementsAre(0.0F, 7.0F, 7.0F, 0.0F, 0.0F));
}

TEST(Signal32, FillWithoutAnEndRunsToTheLength) {
    Signal32 signal(2, 4, 0.0F);
    signal.fill(7.0F, 2);
    EXPECT_THAT(channelOf(signal, 0), ElementsAre(0.0F, 0.0F, 7.0F, 7.0F));
    EXPECT_THAT(channelOf(signal, 1), ElementsAre(0.0F, 0.0F, 7.0F, 7.0F));
}

TEST(Signal32, FillDoesNotTouchThePadding) {
    Signal32 signal(1, 3);
    float* samples = signal.channelData(0);
    samples[3] = 42.0F;
    signal.fill(1.0F);
    EXPECT_EQ(samples[3], 42.0F);
}

TEST(Signal32, FillDetachesASharedBuffer) {
    const Signal32 first(1, 4, 1.0F);
    Signal32 second(first);
    second.fill(2.0F);
    EXPECT_THAT(channelOf(first, 0), Each(1.0F));
    EXPECT_THAT(channelOf(second, 0), Each(2.0F));
}

TEST(Signal32, FillOfAnEmptyRangeDoesNothing) {
    Signal32 signal(1, 4, 1.0F);
    signal.fill(2.0F, 3, 3);
    signal.fill(2.0F, 3, 1);
    signal.fill(2.0F, 9, 5);
    EXPECT_THAT(channelOf(signal, 0), Each(1.0F));
}

TEST(Signal32, FillOutsideTheSignalIsRefused) {
    Signal32 signal(1, 4, 1.0F);
    EXPECT_THROW(signal.fill(2.0F, -1), std::runtime_error);
    EXPECT_THROW(signal.fill(2.0F, 0, 5), std::runtime_error);
    EXPECT_THROW(signal.fill(2.0F, 0, -1, 1), std::runtime_error);
    EXPECT_THROW(signal.fill(2.0F, 0, -1, -2), std::runtime_error);
    EXPECT_THROW(
        signal.fill(2.0F, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()),
        std::runtime_error);
    EXPECT_THAT(channelOf(signal, 0), Each(1.0F));
}

TEST(Signal32, FillOfAMissingBlockRaisesTheNullPointerText) {
    try {
        const Signal32 signal(1, 1 << 29, 0.0F);
        FAIL() << "a block of 2 GiB was granted";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
}

TEST(Signal32, MultipliedTakesTheShapeOfTheFirst) {
    const Signal32 first = toSignal({{1, 2, 3}, {4, 5, 6}});
    const Signal32 second = toSignal({{2, 3, 4, 9}, {-1, 0, 0.5F, 9}, {9, 9, 9, 9}});
    const Signal32 product = first.multiplied(second);
    EXPECT_EQ(product.channels(), 2);
    EXPECT_THAT(channelOf(product, 0), ElementsAre(2.0F, 6.0F, 12.0F));
    EXPECT_THAT(channelOf(product, 1), ElementsAre(-4.0F, 0.0F, 3.0F));
    EXPECT_THAT(channelOf(first, 0), ElementsAre(1.0F, 2.0F, 3.0F));
}

TEST(Signal32, MultipliedByFewerChannelsOrSamplesIsRefused) {
    const Signal32 first(2, 4, 1.0F);
    EXPECT_THROW(first.multiplied(Signal32(1, 4, 1.0F)), std::runtime_error);
    EXPECT_THROW(first.multiplied(Signal32(2, 3, 1.0F)), std::runtime_error);
    EXPECT_THROW(first.multiplied(Signal32()), std::runtime_error);
}

TEST(Signal32, ScaledLeavesTheSourceAlone) {
    const Signal32 first = toSignal({{1, -2}, {3, 4}});
    const Signal32 product = first.scaled(0.5F);
    EXPECT_THAT(channelOf(product, 0), ElementsAre(0.5F, -1.0F));
    EXPECT_THAT(channelOf(product, 1), ElementsAre(1.5F, 2.0F));
    EXPECT_THAT(channelOf(first, 0), ElementsAre(1.0F, -2.0F));
}

TEST(Signal32, ScaledByZeroGivesZerosForInfinityAndNan) {
    EXPECT_THAT(channelOf(toSignal({{kInfinity, kNan, 1}}).scaled(0.0F), 0), Each(0.0F));
}

TEST(Signal32, DivideByTakesTheArgumentAsDivisor) {
    Signal32 signal = toSignal({{1, 9}, {8, -6}});
    signal.divideBy(toSignal({{2, 3}, {4, 2}}));
    EXPECT_THAT(channelOf(signal, 0), ElementsAre(0.5F, 3.0F));
    EXPECT_THAT(channelOf(signal, 1), ElementsAre(2.0F, -3.0F));
}

TEST(Signal32, DivideByZeroIsNoError) {
    Signal32 signal = toSignal({{1, -1, 0, 6}});
    signal.divideBy(toSignal({{-0.0F, 0.0F, 0.0F, 2}}));
    const auto quotient = channelOf(signal, 0);
    EXPECT_EQ(quotient[0], kInfinity);
    EXPECT_EQ(quotient[1], -kInfinity);
    EXPECT_TRUE(std::isnan(quotient[2]));
    EXPECT_EQ(quotient[3], 3.0F);
}

TEST(Signal32, DivideByDetachesASharedBuffer) {
    const Signal32 first(1, 3, 6.0F);
    Signal32 second(first);
    second.divideBy(Signal32(1, 3, 2.0F));
    EXPECT_THAT(channelOf(first, 0), Each(6.0F));
    EXPECT_THAT(channelOf(second, 0), Each(3.0F));
}

TEST(Signal32, DividingASignalByItselfGivesOnes) {
    Signal32 signal = toSignal({{3, -7}});
    signal.divideBy(signal);
    EXPECT_THAT(channelOf(signal, 0), Each(1.0F));
}

TEST(Signal32, DivideByASmallerSignalIsRefused) {
    Signal32 signal(2, 4, 1.0F);
    EXPECT_THROW(signal.divideBy(Signal32(1, 4, 1.0F)), std::runtime_error);
    EXPECT_THROW(signal.divideBy(Signal32(2, 3, 1.0F)), std::runtime_error);
}

TEST(Signal32, ReplicatedCopiesChannelZero) {
    const Signal32 copies = toSignal({{1, 2, 3}, {4, 5, 6}}).replicated(3);
    EXPECT_EQ(copies.channels(), 3);
    for (int c = 0; c < 3; ++c) {
        EXPECT_THAT(channelOf(copies, c), ElementsAre(1.0F, 2.0F, 3.0F));
    }
}

TEST(Signal32, ReplicatedBelowTwoSharesAndKeepsItsChannels) {
    const Signal32 signal(3, 4, 1.0F);
    for (const int count : {1, 0, -4}) {
        const Signal32 same = signal.replicated(count);
        EXPECT_EQ(same.channels(), 3);
        EXPECT_TRUE(same.sharesBufferWith(signal));
    }
}

TEST(Signal32, ReplicatedOfNoChannelsIsRefused) {
    EXPECT_THROW(Signal32(0, 4).replicated(2), std::runtime_error);
    EXPECT_FALSE(Signal32().replicated(2).hasBuffer());
}

TEST(Signal32, WriteAtCopiesIntoEveryOwnChannel) {
    Signal32 signal(2, 6, 0.0F);
    signal.writeAt(3, toSignal({{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_THAT(channelOf(signal, 0), ElementsAre(0, 0, 0, 1, 2, 0));
    EXPECT_THAT(channelOf(signal, 1), ElementsAre(0, 0, 0, 3, 4, 0));
}

TEST(Signal32, WriteAtReachesTheLastSample) {
    Signal32 signal(1, 4, 0.0F);
    signal.writeAt(2, toSignal({{1, 2}}));
    EXPECT_THAT(channelOf(signal, 0), ElementsAre(0, 0, 1, 2));
}

TEST(Signal32, WriteAtDetachesASharedBuffer) {
    const Signal32 first(1, 2, 0.0F);
    Signal32 second(first);
    second.writeAt(0, Signal32(1, 1, 9.0F));
    EXPECT_THAT(channelOf(first, 0), Each(0.0F));
    EXPECT_THAT(channelOf(second, 0), ElementsAre(9.0F, 0.0F));
}

TEST(Signal32, WriteAtOfNothingDoesNothing) {
    Signal32 signal(1, 2, 1.0F);
    const Signal32 shared(signal);
    signal.writeAt(0, Signal32());
    signal.writeAt(99, Signal32(2, 0));
    signal.writeAt(0, Signal32(1, -3));
    EXPECT_TRUE(signal.sharesBufferWith(shared));
    Signal32 noChannels(0, 2);
    noChannels.writeAt(99, signal);
    Signal32 empty;
    empty.writeAt(0, signal);
    EXPECT_FALSE(empty.hasBuffer());
}

TEST(Signal32, WriteAtOutsideTheBlockIsRefused) {
    Signal32 signal(2, 4, 0.0F);
    EXPECT_THROW(signal.writeAt(-1, Signal32(2, 2, 1.0F)), std::runtime_error);
    EXPECT_THROW(signal.writeAt(3, Signal32(2, 2, 1.0F)), std::runtime_error);
    EXPECT_THROW(signal.writeAt(std::numeric_limits<int>::max(), Signal32(2, 2, 1.0F)),
                 std::runtime_error);
    EXPECT_THROW(signal.writeAt(0, Signal32(1, 2, 1.0F)), std::runtime_error);
    EXPECT_THAT(channelOf(signal, 0), Each(0.0F));
}

TEST(Signal32, ReadAtFillsTheTargetAndKeepsTheSourceShared) {
    const Signal32 signal = toSignal(counted(2, 6));
    Signal32 shared;
    shared = signal;
    Signal32 target(3, 2, 0.0F);
    signal.readAt(3, target);
    EXPECT_THAT(channelOf(target, 0), ElementsAre(4, 5));
    EXPECT_THAT(channelOf(target, 1), ElementsAre(1004, 1005));
    EXPECT_THAT(channelOf(target, 2), Each(0.0F));
    EXPECT_TRUE(signal.sharesBufferWith(shared));
}

TEST(Signal32, ReadAtDetachesASharedTarget) {
    const Signal32 signal(1, 2, 5.0F);
    const Signal32 other(1, 2, 0.0F);
    Signal32 target(other);
    signal.readAt(0, target);
    EXPECT_THAT(channelOf(other, 0), Each(0.0F));
    EXPECT_THAT(channelOf(target, 0), Each(5.0F));
}

TEST(Signal32, ReadAtOutsideTheBlockIsRefused) {
    const Signal32 signal(2, 4, 1.0F);
    Signal32 target(2, 2, 0.0F);
    Signal32 narrow(1, 2, 0.0F);
    EXPECT_THROW(signal.readAt(-1, target), std::runtime_error);
    EXPECT_THROW(signal.readAt(3, target), std::runtime_error);
    EXPECT_THROW(signal.readAt(std::numeric_limits<int>::max(), target), std::runtime_error);
    EXPECT_THROW(signal.readAt(0, narrow), std::runtime_error);
}

TEST(Signal32, ReadAtOfNothingDoesNothing) {
    const Signal32 signal(2, 4, 1.0F);
    Signal32 none(2, 0);
    signal.readAt(99, none);
    Signal32 target(2, 2, 3.0F);
    Signal32().readAt(0, target);
    EXPECT_THAT(channelOf(target, 0), Each(3.0F));
}

TEST(Signal32, OperationsOnAnEmptyHandleGiveEmptyHandles) {
    Signal32 empty;
    empty.fill(1.0F);
    empty.divideBy(Signal32());
    EXPECT_FALSE(empty.multiplied(Signal32()).hasBuffer());
    EXPECT_FALSE(empty.scaled(2.0F).hasBuffer());
    EXPECT_FALSE(empty.toDouble().hasBuffer());
}

TEST(Signal32, OperationsOnASignalWithoutSamplesKeepItsShape) {
    Signal32 signal(2, 0, 1.0F);
    signal.divideBy(Signal32());
    EXPECT_EQ(signal.multiplied(Signal32()).channels(), 2);
    EXPECT_EQ(signal.scaled(2.0F).length(), 0);
    EXPECT_EQ(signal.replicated(4).channels(), 4);
    EXPECT_EQ(signal.toDouble().channels(), 2);
}

TEST(Signal64, RoundTripThroughDoubleKeepsEverySample) {
    const Signal32 signal = toSignal({{1.5F, -0.0F, kInfinity}, {1e-45F, 3e38F, -1}});
    const Signal64 wide = signal.toDouble();
    EXPECT_EQ(wide.channels(), 2);
    EXPECT_EQ(wide.readData(0)[0], 1.5);
    EXPECT_TRUE(std::signbit(wide.readData(0)[1]));
    EXPECT_EQ(wide.readData(1)[0], static_cast<double>(1e-45F));
    const Signal32 back = wide.toFloat();
    EXPECT_EQ(channelOf(back, 1), channelOf(signal, 1));
    EXPECT_EQ(back.readData(0)[2], std::numeric_limits<float>::max());
}

TEST(Signal64, ToFloatClampsToTheFloatRange) {
    Signal64 wide(1, 3);
    wide.channelData(0)[0] = 1e300;
    wide.channelData(0)[1] = -1e300;
    wide.channelData(0)[2] = 0.1;
    EXPECT_THAT(
        channelOf(wide.toFloat(), 0),
        ElementsAre(std::numeric_limits<float>::max(), std::numeric_limits<float>::lowest(), 0.1F));
    EXPECT_FALSE(Signal64().toFloat().hasBuffer());
}

}  // namespace
}  // namespace vorun
