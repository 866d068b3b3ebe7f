#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

#include "AudioTestSupport.h"
#include "audio/SampleQueue.h"

namespace vorun {
namespace {

using test::channelOf;
using test::counted;
using test::toSignal;

TEST(SampleQueueWindow, PeekWindowedIsAPeekAndAProduct) {
    SampleQueue queue;
    queue.push(toSignal(counted(2, 7)));
    queue.push(toSignal(counted(2, 3, 8)));
    queue.push(toSignal(counted(2, 20, 11)));
    queue.discard(4);
    const Signal32 window = toSignal(test::noise(2, 16, 5));
    Signal32 peeked(2, 12);
    queue.peek(peeked);
    Signal32 target(2, 15, -1.0F);
    queue.peekWindowed(window, 3, target);
    EXPECT_EQ(queue.pendingSamples(), 26);
    EXPECT_EQ(queue.readOffset(), 4);
    for (int c = 0; c < 2; ++c) {
        for (int i = 0; i < 15; ++i) {
            const float expected =
                i < 3 ? -1.0F : peeked.readData(c)[i - 3] * window.readData(c)[i - 3];
            EXPECT_EQ(target.readData(c)[i], expected) << c << ' ' << i;
        }
    }
}

TEST(SampleQueueWindow, PeekWindowedLeavesATwinOfTheTargetAlone) {
    SampleQueue queue;
    queue.push(toSignal(counted(1, 4)));
    Signal32 target(1, 4, 9.0F);
    const Signal32 twin = target;
    queue.peekWindowed(Signal32(1, 4, 2.0F), 0, target);
    EXPECT_THAT(channelOf(target, 0), testing::ElementsAre(2.0F, 4.0F, 6.0F, 8.0F));
    EXPECT_THAT(channelOf(twin, 0), testing::Each(9.0F));
}

TEST(SampleQueueWindow, AWindowThatDoesNotCoverTheTargetIsRefused) {
    SampleQueue queue;
    queue.push(toSignal(counted(2, 8)));
    Signal32 target(2, 8, 0.0F);
    EXPECT_THROW(queue.peekWindowed(Signal32(2, 7, 1.0F), 0, target), std::runtime_error);
    EXPECT_THROW(queue.peekWindowed(Signal32(1, 8, 1.0F), 0, target), std::runtime_error);
    EXPECT_THROW(queue.peekWindowed(Signal32(), 0, target), std::runtime_error);
    EXPECT_THROW(queue.peekWindowed(Signal32(2, 64, 1.0F), -1, target), std::runtime_error);
    EXPECT_THROW(queue.peekWindowed(Signal32(2, 8, 1.0F), std::numeric_limits<int>::min(), target),
                 std::runtime_error);
    Signal32 wide(3, 8, 0.0F);
    EXPECT_THROW(queue.peekWindowed(Signal32(3, 8, 1.0F), 0, wide), std::runtime_error);
    EXPECT_NO_THROW(queue.peekWindowed(Signal32(2, 7, 1.0F), 1, target));
    EXPECT_NO_THROW(queue.peekWindowed(Signal32(2, 7, 1.0F), 100, target));
}

}  // namespace
}  // namespace vorun
