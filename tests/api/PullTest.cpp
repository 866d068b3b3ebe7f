#include <cstdint>
#include <exception>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <vector>

#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

constexpr int hop = 16;

/** A stereo processor whose output is its input, two hops late at most. */
class Pull : public testing::TestWithParam<Layout> {
  protected:
    /** Pulls into buffers of a known filling, so that writes show. */
    bool tryPull(int count, Planar& target) {
        return processor_.tryPull(target, count, GetParam());
    }
    static Planar marked(int samples) { return Planar(2, std::vector<float>(samples, 77.0F)); }

    TemporaryModel file_{constantMasks(frameHeader(2 * hop, 2 * hop, hop), {0.5F})};
    ApiProcessor processor_{file_.path(), 2, 48000.0};
    Planar input_ = whiteNoise(2, 10 * hop, 9);
};

TEST_P(Pull, NothingIsPendingAfterCreation) {
    EXPECT_EQ(processor_.pending(), 0);
    Planar target = marked(1);
    EXPECT_FALSE(tryPull(1, target));
    EXPECT_TRUE(sameBits(target, marked(1)));
}

TEST_P(Pull, NoSamplesBeforeTheFirstBlockIsTrueAndWritesNothing) {
    Planar target = marked(1);
    EXPECT_TRUE(tryPull(0, target));
    EXPECT_TRUE(sameBits(target, marked(1)));
    EXPECT_EQ(processor_.pending(), 0);
}

TEST_P(Pull, NoSamplesWhileSomeArePendingIsTrueAndWritesNothing) {
    processor_.push(input_);
    Planar target = marked(1);
    EXPECT_TRUE(tryPull(0, target));
    EXPECT_TRUE(sameBits(target, marked(1)));
    EXPECT_EQ(processor_.pending(), 9 * hop);
}

TEST_P(Pull, NoSamplesFromAQueueThatRanDryIsTrue) {
    processor_.push(input_);
    processor_.pullAll();
    Planar target = marked(1);
    EXPECT_TRUE(tryPull(0, target));
    EXPECT_TRUE(sameBits(target, marked(1)));
}

TEST_P(Pull, ExactlyThePendingSamplesLeavesNone) {
    processor_.push(input_);
    Planar target = marked(9 * hop);
    EXPECT_TRUE(tryPull(9 * hop, target));
    EXPECT_EQ(processor_.pending(), 0);
    EXPECT_TRUE(isNear(target, widened(head(input_, 9 * hop)), 2e-6));
}

TEST_P(Pull, OneSampleMoreIsRefusedAndTouchesNothing) {
    ApiProcessor twin(file_.path(), 2, 48000.0);
    twin.push(input_);
    const Planar expected = twin.pullAll();

    processor_.push(input_);
    for (const int count : {9 * hop + 1, 9 * hop + 1, 1000000}) {
        Planar target = marked(count);
        EXPECT_FALSE(tryPull(count, target));
        EXPECT_TRUE(sameBits(target, marked(count)));
        EXPECT_EQ(processor_.pending(), 9 * hop);
    }
    Planar target = marked(9 * hop);
    EXPECT_TRUE(tryPull(9 * hop, target));
    EXPECT_TRUE(sameBits(target, expected));
}

TEST_P(Pull, OnlyTheAskedSamplesAreWritten) {
    processor_.push(input_);
    Planar target = marked(20);
    EXPECT_TRUE(tryPull(19, target));
    EXPECT_EQ(target[0][19], 77.0F);
    EXPECT_EQ(target[1][19], 77.0F);
    EXPECT_EQ(processor_.pending(), 9 * hop - 19);
}

TEST_P(Pull, SamplesFollowOneAnotherOverSeveralPulls) {
    ApiProcessor twin(file_.path(), 2, 48000.0);
    twin.push(input_);
    const Planar expected = twin.pullAll();

    for (int i = 0; i < 10; ++i) {
        processor_.push(input_, i * hop, hop);
    }
    Planar joined;
    for (const int count : {1, hop - 1, hop + 1, 3 * hop, 7}) {
        append(joined, processor_.pull(count, GetParam()));
    }
    append(joined, processor_.pullAll(GetParam()));
    EXPECT_TRUE(sameBits(joined, expected));
}

TEST_P(Pull, ANegativeCountGrowsThePendingCountByItsMagnitude) {
    processor_.push(input_);
    Planar target = marked(1);
    EXPECT_TRUE(processor_.tryPull(target, -5, GetParam()));
    EXPECT_TRUE(sameBits(target, marked(1)));
    EXPECT_EQ(processor_.pending(), 9 * hop + 5);
}

TEST_P(Pull, ANegativeCountBeforeTheFirstBlockChangesNothing) {
    Planar target = marked(1);
    EXPECT_TRUE(processor_.tryPull(target, -5, GetParam()));
    EXPECT_EQ(processor_.pending(), 0);
    EXPECT_TRUE(sameBits(target, marked(1)));
}

TEST_P(Pull, PullingMoreThanIsReallyThereRaisesAndAResetHeals) {
    processor_.push(input_);
    Planar target = marked(9 * hop + 5);
    EXPECT_TRUE(processor_.tryPull(target, -5, GetParam()));
    EXPECT_THROW(tryPull(9 * hop + 5, target), std::runtime_error);
    processor_.reset();
    EXPECT_EQ(processor_.pending(), 0);
    EXPECT_TRUE(isNear(runAtOnce(processor_, input_), widened(head(input_, 9 * hop)), 2e-6));
}

TEST_P(Pull, TheRealSamplesAreStillThereAfterANegativeCount) {
    processor_.push(input_);
    Planar target = marked(9 * hop);
    EXPECT_TRUE(processor_.tryPull(target, -5, GetParam()));
    EXPECT_TRUE(tryPull(9 * hop, target));
    EXPECT_TRUE(isNear(target, widened(head(input_, 9 * hop)), 2e-6));
}

TEST_P(Pull, TheMostNegativeCountKeepsThePendingCountsLow32Bits) {
    processor_.push(input_);
    Planar target = marked(1);
    EXPECT_TRUE(processor_.tryPull(target, std::numeric_limits<std::int32_t>::min(), GetParam()));
    // 9 hops + 2^31 does not fit in 32 bits; its low 32 bits read as a negative number.
    EXPECT_EQ(processor_.pending(), std::numeric_limits<std::int32_t>::min() + 9 * hop);
    processor_.reset();
    EXPECT_EQ(processor_.pending(), 0);
}

INSTANTIATE_TEST_SUITE_P(BothLayouts, Pull, testing::Values(Layout::planar, Layout::interleaved),
                         [](const auto& each) {
                             return each.param == Layout::planar ? "Planar" : "Interleaved";
                         });

TEST(Push, AnEmptyBlockChangesNothing) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 2, 1));
    ApiProcessor processor(file.path(), 1, 48000.0);
    ApiProcessor twin(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 200, 4);
    for (int i = 0; i < 200; i += 10) {
        processor.push(input, i, 0);
        processor.push(input, i, 0, Layout::interleaved);
        EXPECT_EQ(processor.pending(), twin.pending());
        processor.push(input, i, 10);
        twin.push(input, i, 10);
    }
    EXPECT_TRUE(sameBits(processor.pullAll(), twin.pullAll()));
}

TEST(Push, ANegativeBlockAddsNoAudio) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 160, 4);
    for (const int count : {-1, -16, -1000, std::numeric_limits<std::int32_t>::min()}) {
        for (const Layout layout : {Layout::planar, Layout::interleaved}) {
            const float* channel = input[0].data();
            try {
                if (layout == Layout::planar) {
                    vorunAddAudio(processor.handle(), &channel, count);
                } else {
                    vorunAddAudioInterleaved(processor.handle(), channel, count);
                }
            } catch (const std::exception&) {
                processor.reset();
            }
            EXPECT_EQ(processor.pending(), 0);
        }
    }
    EXPECT_TRUE(isNear(runAtOnce(processor, input), widened(head(input, 144)), 2e-6));
}

TEST(Push, TheHostsBlockIsCopiedBeforeTheCallReturns) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 160, 4);
    Planar block = silence(1, 5);
    for (int i = 0; i < 160; i += 5) {
        std::copy_n(input[0].begin() + i, 5, block[0].begin());
        processor.push(block);
        std::fill(block[0].begin(), block[0].end(), 1e9F);
    }
    EXPECT_TRUE(isNear(processor.pullAll(), widened(head(input, 144)), 2e-6));
}

TEST(Push, AMissingChannelRaisesTheNullPointerText) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {0.5F}));
    ApiProcessor processor(file.path(), 2, 48000.0);
    const std::vector<float> samples(16, 0.5F);
    const float* channels[2] = {samples.data(), nullptr};
    try {
        vorunAddAudio(processor.handle(), channels, 16);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
}

}  // namespace
}  // namespace vorun::apitest
