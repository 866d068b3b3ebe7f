#include <algorithm>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>

#include "AudioTestSupport.h"
#include "audio/SampleQueue.h"

namespace vorun {
namespace {

using test::channelOf;
using test::Channels;
using test::channelsOf;
using test::counted;
using test::toSignal;
using testing::Each;
using testing::ElementsAre;

Channels slice(const Channels& samples, std::ptrdiff_t start, std::ptrdiff_t count) {
    Channels result;
    for (const auto& channel : samples) {
        result.emplace_back(channel.begin() + start, channel.begin() + start + count);
    }
    return result;
}

void expectNew(const SampleQueue& queue) {
    EXPECT_EQ(queue.pendingSamples(), 0);
    EXPECT_EQ(queue.readOffset(), 0);
    EXPECT_EQ(queue.channels(), -1);
    EXPECT_EQ(queue.blockCount(), 0U);
}

TEST(SampleQueue, StartsEmptyWithTheChannelsUnset) {
    expectNew(SampleQueue());
}

TEST(SampleQueue, BlocksWithoutSamplesLeaveANewQueueNew) {
    SampleQueue queue;
    queue.push(Signal32());
    queue.push(Signal32(2, 0));
    expectNew(queue);
}

TEST(SampleQueue, BlocksWithoutSamplesLeaveAFilledQueueAsItWas) {
    SampleQueue queue;
    queue.push(Signal32(2, 5, 0.0F));
    queue.push(Signal32(1, 0));
    queue.push(Signal32());
    EXPECT_EQ(queue.channels(), 2);
    EXPECT_EQ(queue.pendingSamples(), 5);
    EXPECT_EQ(queue.blockCount(), 1U);
}

TEST(SampleQueue, PushHoldsTheBlockByHandle) {
    const Signal32 block(2, 5, 1.0F);
    SampleQueue queue;
    queue.push(block);
    EXPECT_EQ(block.useCount(), 2);
    EXPECT_EQ(queue.channels(), 2);
}

TEST(SampleQueue, AQueuedBlockKeepsItsSamplesWhenTheProducerWritesOn) {
    Signal32 block(1, 3, 1.0F);
    SampleQueue queue;
    queue.push(block);
    block.fill(9.0F);
    EXPECT_THAT(channelOf(queue.read(3), 0), Each(1.0F));
}

TEST(SampleQueue, ReadAcrossBlocksKeepsOffsetInTheSecondBlock) {
    const Channels samples = counted(2, 150);
    SampleQueue queue;
    queue.push(toSignal(samples, 0, 100));
    queue.push(toSignal(samples, 100, 50));
    const Signal32 out = queue.read(120);
    EXPECT_EQ(channelsOf(out), slice(samples, 0, 120));
    EXPECT_EQ(queue.readOffset(), 20);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(queue.pendingSamples(), 30);
    EXPECT_EQ(channelsOf(queue.read(30)), slice(samples, 120, 30));
}

TEST(SampleQueue, ReadingExactlyABlockReleasesItAtOnce) {
    Signal32 block(1, 10, 0.0F);
    SampleQueue queue;
    queue.push(block);
    queue.push(Signal32(1, 4, 0.0F));
    queue.read(10);
    EXPECT_EQ(block.useCount(), 1);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(queue.readOffset(), 0);
    EXPECT_EQ(queue.pendingSamples(), 4);
}

TEST(SampleQueue, ReadOfZeroGivesASignalOfNoLength) {
    SampleQueue queue;
    queue.push(Signal32(3, 4, 0.0F));
    const Signal32 none = queue.read(0);
    EXPECT_TRUE(none.hasBuffer());
    EXPECT_EQ(none.channels(), 3);
    EXPECT_EQ(none.length(), 0);
    EXPECT_EQ(queue.pendingSamples(), 4);
}

TEST(SampleQueue, ReadWithUnsetChannelsGivesAnEmptyHandle) {
    SampleQueue queue;
    EXPECT_FALSE(queue.read(3).hasBuffer());
    queue.push(Signal32(0, 5));
    EXPECT_EQ(queue.channels(), 0);
    EXPECT_FALSE(queue.read(3).hasBuffer());
    EXPECT_EQ(queue.pendingSamples(), 5);
}

TEST(SampleQueue, ANegativeReadMakesTheCountGrow) {
    SampleQueue queue;
    queue.push(Signal32(1, 4, 0.0F));
    EXPECT_EQ(queue.read(-3).length(), -3);
    EXPECT_EQ(queue.pendingSamples(), 7);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(queue.readOffset(), 0);
    queue.read(std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(queue.pendingSamples(), 7 + (std::int64_t{1} << 31));
}

TEST(SampleQueue, ReadIntoFillsASharedTargetWithoutTouchingItsTwin) {
    SampleQueue queue;
    queue.push(toSignal(counted(2, 6)));
    const Signal32 twin(2, 4, 0.0F);
    Signal32 target(twin);
    queue.readInto(target);
    EXPECT_THAT(channelOf(target, 1), ElementsAre(1001, 1002, 1003, 1004));
    EXPECT_THAT(channelOf(twin, 1), Each(0.0F));
    EXPECT_EQ(queue.readOffset(), 4);
}

TEST(SampleQueue, ReadIntoFewerChannelsTakesTheFirstOnes) {
    SampleQueue queue;
    queue.push(toSignal(counted(3, 4)));
    Signal32 target(1, 4, 0.0F);
    queue.readInto(target);
    EXPECT_THAT(channelOf(target, 0), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(queue.pendingSamples(), 0);
}

TEST(SampleQueue, ReadIntoNoChannelsStillConsumes) {
    SampleQueue queue;
    queue.push(Signal32(2, 6, 0.0F));
    Signal32 target(0, 4);
    queue.readInto(target);
    EXPECT_EQ(queue.pendingSamples(), 2);
    EXPECT_EQ(queue.readOffset(), 4);
}

TEST(SampleQueue, MoreThanIsHeldIsRefusedAndNothingIsConsumed) {
    SampleQueue queue;
    queue.push(toSignal(counted(1, 4)));
    Signal32 target(1, 5, 0.0F);
    EXPECT_THROW(queue.read(5), std::runtime_error);
    EXPECT_THROW(queue.readInto(target), std::runtime_error);
    EXPECT_EQ(queue.pendingSamples(), 4);
    EXPECT_THAT(channelOf(queue.read(4), 0), ElementsAre(1, 2, 3, 4));
}

TEST(SampleQueue, ACountGrownBeyondTheListDoesNotLetAReadRunOff) {
    SampleQueue queue;
    queue.push(toSignal(counted(1, 4)));
    queue.discard(-10);
    EXPECT_EQ(queue.pendingSamples(), 14);
    EXPECT_THROW(queue.read(5), std::runtime_error);
    EXPECT_THROW(queue.discard(5), std::runtime_error);
    EXPECT_EQ(queue.pendingSamples(), 14);
    EXPECT_THAT(channelOf(queue.read(4), 0), ElementsAre(1, 2, 3, 4));
}

TEST(SampleQueue, PeekCrossesBordersAndConsumesNothing) {
    const Channels samples = counted(2, 12);
    SampleQueue queue;
    queue.push(toSignal(samples, 0, 5));
    queue.push(toSignal(samples, 5, 3));
    queue.push(toSignal(samples, 8, 4));
    queue.discard(2);
    Signal32 target(2, 8);
    queue.peek(target);
    EXPECT_EQ(channelsOf(target), slice(samples, 2, 8));
    EXPECT_EQ(queue.pendingSamples(), 10);
    EXPECT_EQ(queue.readOffset(), 2);
    EXPECT_EQ(queue.blockCount(), 3U);
}

TEST(SampleQueue, PeekWritesNothingBeyondWhatItFinds) {
    SampleQueue queue;
    queue.push(Signal32(1, 2, 1.0F));
    Signal32 target(1, 4, 7.0F);
    queue.peek(target);
    EXPECT_THAT(channelOf(target, 0), ElementsAre(1, 1, 7, 7));
    Signal32 empty;
    queue.peek(empty);
    EXPECT_FALSE(empty.hasBuffer());
}

TEST(SampleQueue, ReadingAnUntouchedBlockGivesTheBlockItself) {
    SampleQueue queue;
    const Signal32 block = toSignal(counted(2, 10));
    queue.push(block);
    queue.push(toSignal(counted(2, 5, 11)));
    const Signal32 got = queue.read(10);
    EXPECT_TRUE(got.sharesBufferWith(block));
    EXPECT_EQ(queue.pendingSamples(), 5);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(channelsOf(queue.read(5)), counted(2, 5, 11));
}

TEST(SampleQueue, ABlockThatIsPartlyReadOrTooLongIsCopied) {
    SampleQueue queue;
    const Signal32 block = toSignal(counted(1, 10));
    queue.push(block);
    EXPECT_FALSE(queue.read(4).sharesBufferWith(block));
    const Signal32 rest = queue.read(6);
    EXPECT_FALSE(rest.sharesBufferWith(block));
    EXPECT_EQ(channelsOf(rest), counted(1, 6, 5));
}

TEST(SampleQueue, ABlocksLengthFromItsMiddleOnReachesIntoTheNext) {
    SampleQueue queue;
    queue.push(toSignal(counted(1, 10)));
    queue.push(toSignal(counted(1, 10, 11)));
    queue.discard(4);
    EXPECT_EQ(channelsOf(queue.read(10)), counted(1, 10, 5));
    EXPECT_EQ(queue.pendingSamples(), 6);
}

TEST(SampleQueue, AWiderBlockIsNotHandedOutWhole) {
    SampleQueue queue;
    queue.push(toSignal(counted(1, 4)));
    queue.push(toSignal(counted(3, 5)));
    queue.push(toSignal(counted(1, 4)));
    // The third block set the count of channels anew, while the second one still lies before it.
    ASSERT_EQ(queue.channels(), 1);
    EXPECT_EQ(queue.read(5).channels(), 1);
}

TEST(SampleQueue, DiscardWalksAcrossBlocks) {
    SampleQueue queue;
    for (int i = 0; i < 3; ++i) {
        queue.push(toSignal(counted(1, 4, 1 + 4 * i)));
    }
    queue.discard(4);
    EXPECT_EQ(queue.blockCount(), 2U);
    EXPECT_EQ(queue.readOffset(), 0);
    queue.discard(5);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(queue.readOffset(), 1);
    EXPECT_EQ(queue.pendingSamples(), 3);
    EXPECT_THAT(channelOf(queue.read(3), 0), ElementsAre(10, 11, 12));
}

TEST(SampleQueue, DiscardOfAllOrMoreClearsTheListAndKeepsTheChannels) {
    for (const std::int32_t count : {6, 7, std::numeric_limits<std::int32_t>::max()}) {
        SampleQueue queue;
        queue.push(Signal32(2, 6, 0.0F));
        queue.discard(count);
        EXPECT_EQ(queue.pendingSamples(), 0);
        EXPECT_EQ(queue.readOffset(), 0);
        EXPECT_EQ(queue.blockCount(), 0U);
        EXPECT_EQ(queue.channels(), 2);
    }
}

TEST(SampleQueue, DiscardOfAllOfAGrownCountClearsTheList) {
    SampleQueue queue;
    queue.push(Signal32(1, 4, 0.0F));
    queue.discard(-10);
    queue.discard(14);
    EXPECT_EQ(queue.pendingSamples(), 0);
    EXPECT_EQ(queue.blockCount(), 0U);
}

TEST(SampleQueue, DiscardOfNothingDoesNothing) {
    SampleQueue queue;
    queue.push(Signal32(2, 6, 0.0F));
    queue.discard(0);
    EXPECT_EQ(queue.pendingSamples(), 6);
    EXPECT_EQ(queue.blockCount(), 1U);
}

TEST(SampleQueue, ClearForgetsTheChannels) {
    SampleQueue queue;
    queue.push(Signal32(2, 6, 0.0F));
    queue.discard(2);
    queue.clear();
    expectNew(queue);
}

TEST(SampleQueue, AnotherChannelCountDropsWhatWasQueuedAndLeavesTheCountUnset) {
    SampleQueue queue;
    queue.push(Signal32(2, 100, 0.0F));
    queue.discard(3);
    queue.push(Signal32(1, 7, 0.0F));
    EXPECT_EQ(queue.pendingSamples(), 7);
    EXPECT_EQ(queue.readOffset(), 0);
    EXPECT_EQ(queue.blockCount(), 1U);
    EXPECT_EQ(queue.channels(), -1);
    EXPECT_FALSE(queue.read(7).hasBuffer());
    EXPECT_EQ(queue.pendingSamples(), 7);
}

TEST(SampleQueue, TheBlockAfterAChangeSetsTheChannels) {
    SampleQueue queue;
    queue.push(Signal32(2, 100, 0.0F));
    queue.push(Signal32(1, 7, 0.0F));
    queue.push(Signal32(2, 5, 0.0F));
    EXPECT_EQ(queue.channels(), 2);
    EXPECT_EQ(queue.pendingSamples(), 12);
    EXPECT_EQ(queue.blockCount(), 2U);
}

TEST(SampleQueue, ABlockOfTooFewChannelsIsNotReadOutOfRange) {
    SampleQueue queue;
    queue.push(Signal32(2, 100, 0.0F));
    queue.push(Signal32(1, 7, 0.0F));
    queue.push(Signal32(2, 5, 1.0F));
    Signal32 target(2, 8);
    EXPECT_THROW(queue.peek(target), std::runtime_error);
    EXPECT_THROW(queue.read(8), std::runtime_error);
    EXPECT_EQ(queue.pendingSamples(), 12);
    queue.discard(7);
    EXPECT_THAT(channelOf(queue.read(5), 1), Each(1.0F));
}

TEST(SampleQueue, AWiderBlockInAMonoStreamGivesItsFirstChannel) {
    SampleQueue queue;
    queue.push(Signal32(1, 1, 0.0F));
    queue.push(toSignal(counted(2, 2)));
    queue.push(Signal32(1, 1, 9.0F));
    EXPECT_EQ(queue.channels(), 1);
    EXPECT_THAT(channelOf(queue.read(3), 0), ElementsAre(1, 2, 9));
}

TEST(SampleQueue, ABlockOfNegativeLengthSetsTheChannelsAndIsNotQueued) {
    SampleQueue queue;
    queue.push(Signal32(2, -4));
    EXPECT_EQ(queue.channels(), 2);
    EXPECT_EQ(queue.pendingSamples(), 0);
    EXPECT_EQ(queue.blockCount(), 0U);
}

TEST(SampleQueue, RandomUseDeliversEverySampleOnceAndInOrder) {
    std::mt19937 generator(5);
    const auto upTo = [&](int limit) {
        return std::uniform_int_distribution<int>(0, limit)(generator);
    };
    SampleQueue queue;
    int pushed = 0;
    int consumed = 0;
    for (int step = 0; step < 3000; ++step) {
        const int pending = pushed - consumed;
        ASSERT_EQ(queue.pendingSamples(), pending);
        const int action = upTo(3);
        if (action == 0) {
            const int count = upTo(40);
            queue.push(toSignal(counted(2, static_cast<std::size_t>(count), pushed)));
            pushed += count;
            continue;
        }
        const int count = upTo(pending);
        if (action == 1) {
            queue.discard(count);
            consumed += count;
            continue;
        }
        Signal32 target(2, count);
        if (queue.channels() > 0) {
            action == 2 ? queue.peek(target) : queue.readInto(target);
        }
        ASSERT_EQ(channelsOf(target), counted(2, static_cast<std::size_t>(count), consumed));
        consumed += action == 2 ? 0 : count;
    }
    EXPECT_GT(consumed, 1000);
}

}  // namespace
}  // namespace vorun
