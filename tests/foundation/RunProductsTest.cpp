// Sums over runs and over channels, bit for bit against the chain of single operations of the same
// variant.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <list>
#include <random>
#include <vector>

#include "FloatBits.h"
#include "GuardedArray.h"
#include "VectorVariant.h"
#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(RunForms);

struct Shape {
    std::int32_t taps;
    std::int32_t run;
    std::int32_t bins;
    std::int32_t channels;
    std::int64_t binStride;
    /// Floats between the rows of the output, and between those of the weights, beyond the
    /// channels.
    std::int64_t gap = 0;
    std::int64_t weightGap = 0;
    bool hasStart = false;
    std::int32_t lead = 0;
    std::int32_t trail = 0;
    bool hasLast = false;
};

/// The arrays of one product, each of exactly the length that the shape reads or writes, between
/// guards.
class Plane {
  public:
    /// Input and weights of a bin of one tap hold `runFloats` and `weightFloats`.
    Plane(const Shape& shape, std::int64_t runFloats, std::int64_t weightFloats, std::uint32_t seed)
        : engine_(seed),
          weights_(sizeOf(shape.taps * weightFloats), seed % 16),
          out_(sizeOf((shape.bins - 1) * (shape.channels + shape.gap) + shape.channels),
               seed / 16 % 16),
          start_(sizeOf(shape.channels), seed % 5),
          last_(sizeOf(shape.channels), seed % 7) {
        for (std::int32_t t = 0; t < shape.taps; ++t) {
            const std::int64_t length =
                (shape.bins - 1) * shape.binStride + runFloats - shape.lead - shape.trail;
            rows_.emplace_back(sizeOf(length), (seed + sizeOf(t)) % 16);
            fill(rows_.back());
        }
        for (GuardedArray<float>& row : rows_) {
            pointers_.push_back(row.data());
        }
        fill(weights_);
        fill(out_);
        fill(start_);
        fill(last_);
        product = {pointers_.data(),
                   weights_.data(),
                   weightFloats,
                   shape.channels + shape.weightGap,
                   shape.binStride,
                   shape.channels + shape.gap,
                   out_.data(),
                   shape.hasStart ? start_.data() : nullptr,
                   shape.taps,
                   shape.run,
                   shape.bins,
                   shape.channels,
                   shape.lead,
                   shape.trail,
                   shape.hasLast ? last_.data() : nullptr};
    }

    std::vector<float> output() { return {out_.begin(), out_.end()}; }
    bool isIntact() {
        bool intact =
            weights_.isIntact() && out_.isIntact() && start_.isIntact() && last_.isIntact();
        for (GuardedArray<float>& row : rows_) {
            intact = intact && row.isIntact();
        }
        return intact;
    }

    RunProducts product{};

  private:
    void fill(GuardedArray<float>& array) {
        std::uniform_real_distribution<float> level(-1.0F, 1.0F);
        for (float& value : array) {
            value = level(engine_);
        }
    }

    std::mt19937 engine_;
    std::list<GuardedArray<float>> rows_;
    std::vector<const float*> pointers_;
    GuardedArray<float> weights_;
    GuardedArray<float> out_;
    GuardedArray<float> start_;
    GuardedArray<float> last_;
};

void startBinByBin(const RunProducts& p) {
    for (std::int64_t b = 0; p.start != nullptr && b < p.bins; ++b) {
        std::copy_n(p.start, p.channels, p.out + b * p.outStride);
    }
}

void endBinByBin(const RunProducts& p) {
    for (std::int64_t b = 0; p.last != nullptr && b < p.bins; ++b) {
        float* const out = p.out + b * p.outStride;
        ippsAdd_32f(p.last, out, out, p.channels);
    }
}

void addRunsOneByOne(const RunProducts& p) {
    startBinByBin(p);
    for (std::int32_t t = 0; t < p.taps; ++t) {
        for (std::int64_t b = 0; b < p.bins; ++b) {
            for (std::int64_t i = 0; i < p.run; ++i) {
                const bool isMissing =
                    (b == 0 && i < p.lead) || (b == p.bins - 1 && i >= p.run - p.trail);
                if (!isMissing) {
                    ippsAddProductC_32f(p.weights + t * p.tapStride + i * p.weightStride,
                                        p.rows[t][b * p.binStride + i - p.lead],
                                        p.out + b * p.outStride, p.channels);
                }
            }
        }
    }
    endBinByBin(p);
}

void addChannelsOneByOne(const ChannelProducts& p) {
    startBinByBin(p);
    for (std::int32_t t = 0; t < p.taps; ++t) {
        for (std::int64_t b = 0; b < p.bins; ++b) {
            for (std::int64_t i = 0; i < p.run; ++i) {
                ippsAddProduct_32f(p.weights + t * p.tapStride + i * p.weightStride,
                                   p.rows[t] + b * p.binStride + i * p.channels,
                                   p.out + b * p.outStride, p.channels);
            }
        }
    }
    endBinByBin(p);
}

void expectRunsEqualTheChain(const Shape& shape, std::uint32_t seed) {
    const std::int64_t weightFloats =
        (shape.run - 1) * (shape.channels + shape.weightGap) + shape.channels;
    Plane fused(shape, shape.run, weightFloats, seed);
    Plane chain(shape, shape.run, weightFloats, seed);
    ASSERT_EQ(addRunProducts(fused.product), 0);
    addRunsOneByOne(chain.product);
    ASSERT_TRUE(sameBits(fused.output(), chain.output()))
        << shape.taps << " taps, runs of " << shape.run << ", " << shape.bins
        << " bins with stride " << shape.binStride << ", " << shape.channels << " channels, lead "
        << shape.lead << ", trail " << shape.trail << ", seed " << seed;
    ASSERT_TRUE(fused.isIntact());
}

TEST_P(RunForms, RunsEqualTheChainForEveryCountOfBinsAndChannels) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 40; ++bins) {
        for (std::int32_t channels = 1; channels <= 37; ++channels) {
            expectRunsEqualTheChain({2, 3, bins, channels, 1 + bins % 3, channels % 2}, ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(RunForms, RunsEqualTheChainForRandomShapes) {
    std::mt19937 engine(7);
    const auto roll = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(engine);
    };
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        const std::int32_t channels = roll(0, 2) == 0 ? roll(1, 6) : roll(1, 80);
        const std::int32_t bins = roll(0, 3) == 0 ? 1 : roll(1, 150);
        expectRunsEqualTheChain({roll(1, 4), roll(1, 70), bins, channels, roll(1, 70), roll(0, 5)},
                                seed);
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST_P(RunForms, RunsMayBeginFromARow) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 30; ++bins) {
        for (const std::int32_t channels : {1, 3, 4, 7, 8, 15, 16, 17, 31, 32, 33, 64, 65}) {
            expectRunsEqualTheChain({2, 3, bins, channels, 2, bins % 3, channels % 2, true},
                                    ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(RunForms, ARowMayEndTheSums) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 30; ++bins) {
        for (const std::int32_t channels : {1, 3, 4, 7, 8, 15, 16, 17, 31, 32, 33, 64, 65}) {
            Shape shape{2, 3, bins, channels, 2, bins % 3, channels % 2, bins % 2 == 0};
            shape.lead = bins % 5 == 0 ? 1 : 0;
            shape.trail = bins > 1 && bins % 4 == 0 ? 2 : 0;
            shape.hasLast = true;
            expectRunsEqualTheChain(shape, ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(RunForms, FirstAndLastRunsMayBeShorter) {
    std::mt19937 engine(9);
    const auto roll = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(engine);
    };
    // Around the counts of bins for which those at the ends share a tile with others.
    for (std::int32_t bins = 1; bins <= 70; ++bins) {
        for (const std::int32_t channels : {1, 5, 8, 16, 20, 32, 48}) {
            const std::int32_t run = roll(2, 9);
            Shape shape{roll(1, 3), run, bins, channels, roll(run, 12), roll(0, 2), roll(0, 2)};
            shape.hasStart = roll(0, 1) == 1;
            shape.lead = roll(0, 2) == 0 ? 0 : roll(1, run - 1);
            const bool hasTrail = (bins > 1 || shape.lead == 0) && roll(0, 2) > 0;
            shape.trail = hasTrail ? roll(1, run - 1) : 0;
            expectRunsEqualTheChain(shape, static_cast<std::uint32_t>(bins));
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(RunForms, LeadOfAsMuchAsTheStrideIsWholeBehindTheFirstBin) {
    for (const std::int32_t bins : {2, 23, 24, 25, 60}) {
        expectRunsEqualTheChain({2, 6, bins, 32, 3, 0, 0, true, 3, 3}, 4);
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST_P(RunForms, RunsMayReachOverTheNextBinsOrStopShortOfThem) {
    for (const std::int64_t stride : {0, 1, 5, 17}) {
        for (const std::int32_t channels : {1, 3, 16, 33}) {
            expectRunsEqualTheChain({3, 5, 29, channels, stride}, 11);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(RunForms, ChannelsEqualTheChain) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 13; ++bins) {
        for (std::int32_t channels = 1; channels <= 40; ++channels) {
            const Shape shape{
                2,        1 + channels % 4,  bins, channels, channels * (1 + bins % 2), 1,
                bins % 4, channels % 3 == 0, 0,    0,        channels % 5 < 2};
            const std::int64_t floats = std::int64_t{shape.run} * channels;
            const std::int64_t weights = shape.run * (channels + shape.weightGap);
            Plane fused(shape, floats, weights, ++seed);
            Plane chain(shape, floats, weights, seed);
            ASSERT_EQ(addChannelProducts(fused.product), 0);
            addChannelsOneByOne(chain.product);
            ASSERT_TRUE(sameBits(fused.output(), chain.output()))
                << bins << " bins, " << channels << " channels";
            ASSERT_TRUE(fused.isIntact());
        }
    }
}

TEST_P(RunForms, NarrowChannelsOfManyBinsEqualTheChain) {
    std::uint32_t seed = 1;
    for (std::int32_t channels = 1; channels <= 17; ++channels) {
        for (const std::int32_t bins : {4, 7, 8, 15, 16, 17, 31, 33, 100}) {
            // Up to more weights than are repeated.
            for (const std::int32_t run : {1, 3, 12, 40, 192, 200}) {
                Shape shape{2, run, bins, channels, channels, 0, bins % 3, bins % 2 == 0};
                shape.hasLast = seed % 2 == 0;
                const std::int64_t weights = run * (channels + shape.weightGap);
                Plane fused(shape, run * channels, weights, ++seed);
                Plane chain(shape, run * channels, weights, seed);
                ASSERT_EQ(addChannelProducts(fused.product), 0);
                addChannelsOneByOne(chain.product);
                ASSERT_TRUE(sameBits(fused.output(), chain.output()))
                    << bins << " bins, " << channels << " channels, run " << run;
                ASSERT_TRUE(fused.isIntact());
            }
        }
    }
}

TEST_P(RunForms, NullComesBeforeSizesAndNothingIsWritten) {
    Plane plane({1, 2, 3, 4, 2}, 2, 8, 5);
    const std::vector<float> before = plane.output();
    for (RunProducts spoilt : {plane.product, plane.product, plane.product}) {
        spoilt.run = 0;
        RunProducts withoutRows = spoilt;
        withoutRows.rows = nullptr;
        RunProducts withoutWeights = spoilt;
        withoutWeights.weights = nullptr;
        RunProducts withoutOut = spoilt;
        withoutOut.out = nullptr;
        for (const RunProducts& product : {withoutRows, withoutWeights, withoutOut}) {
            EXPECT_EQ(addRunProducts(product), ippStsNullPtrErr);
            EXPECT_EQ(addChannelProducts(product), ippStsNullPtrErr);
        }
        EXPECT_EQ(addRunProducts(spoilt), ippStsSizeErr);
    }
    for (std::int32_t RunProducts::*const size :
         {&RunProducts::taps, &RunProducts::run, &RunProducts::bins, &RunProducts::channels}) {
        RunProducts spoilt = plane.product;
        spoilt.*size = 0;
        EXPECT_EQ(addRunProducts(spoilt), ippStsSizeErr);
        EXPECT_EQ(addChannelProducts(spoilt), ippStsSizeErr);
    }
    EXPECT_TRUE(sameBits(plane.output(), before));
}

TEST_P(RunForms, ShorterRunsThatCannotBeAreSizeErrors) {
    Plane plane({1, 4, 3, 4, 2}, 4, 16, 5);
    const std::vector<float> before = plane.output();
    struct Ends {
        std::int32_t lead;
        std::int32_t trail;
        std::int32_t bins;
    };
    // Nothing left of the run, less than nothing missing, one bin with both, rows that would begin
    // before themselves.
    for (const Ends ends : {Ends{4, 0, 1}, Ends{0, 4, 3}, Ends{-1, 0, 3}, Ends{0, -1, 3},
                            Ends{1, 1, 1}, Ends{3, 0, 3}}) {
        RunProducts spoilt = plane.product;
        spoilt.lead = ends.lead;
        spoilt.trail = ends.trail;
        spoilt.bins = ends.bins;
        EXPECT_EQ(addRunProducts(spoilt), ippStsSizeErr) << ends.lead << ", " << ends.trail;
    }
    RunProducts withoutStride = plane.product;
    withoutStride.weightStride = 0;
    EXPECT_EQ(addRunProducts(withoutStride), ippStsSizeErr);
    EXPECT_TRUE(sameBits(plane.output(), before));
}

}  // namespace
}  // namespace vorun
