// Sums over bins that stand side by side, bit for bit against the chain of single operations of the
// same variant.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <numeric>
#include <optional>
#include <random>
#include <vector>

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "FloatBits.h"
#include "GuardedArray.h"
#include "VectorVariant.h"
#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(ColumnForms);

struct Shape {
    std::int32_t columnCount;
    std::int32_t firstColumn;
    std::int32_t groups;
    std::int32_t group;
    std::int32_t bins;
    std::int32_t channels;
    std::int64_t outStride = 1;
    /// Floats between the rows of the weights beyond the channels.
    std::int64_t gap = 0;
    std::int32_t taps = 1;
    std::int32_t started = 0;
    /// The first bins that the last group alone enters, and the last ones that it does not.
    std::int32_t lead = 0;
    std::int32_t trail = 0;
    bool inPlace = true;
    bool hasLast = false;
};

/// The arrays of one product between guards, with nothing in the columns that it does not take.
class Plane {
  public:
    Plane(const Shape& shape, std::uint32_t seed) : engine_(seed), shape_(shape) {
        findEntered();
        makeColumns(seed);
        const std::int64_t rowLength = shape.channels + shape.gap;
        const std::int64_t run = std::int64_t{shape.groups} * shape.group;
        weights_.emplace(sizeOf((shape.taps * run - 1) * rowLength + shape.channels), seed % 7);
        start_.emplace(sizeOf(shape.started), seed % 3);
        last_.emplace(sizeOf(shape.channels), seed % 5);
        fill(*weights_);
        fill(*start_);
        fill(*last_);
        makeRows(seed);
        product = {columns_.data(),
                   pitch_,
                   weights_->data(),
                   run * rowLength,
                   rowLength,
                   shape.inPlace ? rows_.data() : sums_.data(),
                   rows_.data(),
                   shape.outStride,
                   start_->data(),
                   entered_.data(),
                   shape.taps,
                   shape.columnCount,
                   shape.firstColumn,
                   shape.groups,
                   shape.group,
                   shape.bins,
                   shape.channels,
                   shape.started,
                   shape.hasLast ? last_->data() : nullptr};
    }

    void addOneByOne() {
        for (std::size_t channel = 0; channel < sizeOf(shape_.channels); ++channel) {
            for (std::int64_t bin = 0; bin < shape_.bins; ++bin) {
                float* const sum = rows_[channel] + bin * shape_.outStride;
                *sum = channel < start_->size() ? (*start_)[channel]
                                                : product.sums[channel][bin * shape_.outStride];
                addToBin(static_cast<std::int64_t>(channel), bin, sum);
                *sum = shape_.hasLast ? *sum + (*last_)[channel] : *sum;
            }
        }
    }

    std::vector<float> output() const { return {out_->begin(), out_->end()}; }
    bool isIntact() const {
        const bool areColumns =
            std::all_of(taps_.begin(), taps_.end(), [](const auto& tap) { return tap.isIntact(); });
        return areColumns && weights_->isIntact() && start_->isIntact() && last_->isIntact() &&
               out_->isIntact() && before_->isIntact();
    }

    ColumnProducts product{};

  private:
    std::int32_t placeOf(std::int64_t element) const {
        return shape_.firstColumn + static_cast<std::int32_t>(element);
    }
    /// Ranges that go back from group to group, as those of a kernel do.
    void findEntered() {
        for (std::int32_t g = 0; g < shape_.groups; ++g) {
            const bool isLast = g + 1 == shape_.groups;
            const std::int32_t ahead = isLast ? 0 : shape_.lead - shape_.lead * g / shape_.groups;
            const std::int32_t behind = shape_.trail * g / std::max(shape_.groups - 1, 1);
            const std::int32_t begin = std::min(ahead, shape_.bins);
            entered_.push_back({begin, std::max(begin, shape_.bins - behind)});
        }
        for (std::size_t g = entered_.size() - 1; g-- > 0;) {
            entered_[g].end = std::max(entered_[g].end, entered_[g + 1].end);
        }
    }
    /// Just the floats from the first to the last that enter a sum.
    void makeColumns(std::uint32_t seed) {
        pitch_ = shape_.bins +
                 (shape_.firstColumn + shape_.groups * shape_.group - 1) / shape_.columnCount;
        std::int64_t first = std::numeric_limits<std::int64_t>::max();
        std::int64_t end = 0;
        for (std::int64_t i = 0; i < std::int64_t{shape_.groups} * shape_.group; ++i) {
            const BinRange range = entered_[sizeOf(i / shape_.group)];
            if (range.begin < range.end) {
                const std::int64_t at = offsetOf(i);
                first = std::min(first, at + range.begin);
                end = std::max(end, at + range.end);
            }
        }
        first = std::min(first, end);
        for (std::int32_t tap = 0; tap < shape_.taps; ++tap) {
            taps_.emplace_back(sizeOf(end - first), (seed + sizeOf(tap)) % 16);
            fill(taps_.back());
        }
        for (GuardedArray<float>& tap : taps_) {
            columns_.push_back(tap.data() - first);
        }
    }
    std::int64_t offsetOf(std::int64_t element) const {
        const std::int64_t place = placeOf(element);
        return place % shape_.columnCount * pitch_ + place / shape_.columnCount;
    }
    /// Rows that lie into one another, as the channels of a bin do, or one behind the other.
    void makeRows(std::uint32_t seed) {
        const bool areInterleaved = shape_.outStride >= shape_.channels;
        const std::int64_t rowLength = (shape_.bins - 1) * shape_.outStride + 1;
        const std::int64_t between = areInterleaved ? 1 : rowLength;
        out_.emplace(sizeOf((shape_.channels - 1) * between + rowLength), seed % 11);
        fill(*out_);
        before_.emplace(out_->size(), seed % 13);
        fill(*before_);
        for (std::int64_t channel = 0; channel < shape_.channels; ++channel) {
            rows_.push_back(out_->data() + channel * between);
            sums_.push_back(before_->data() + channel * between);
        }
    }
    void addToBin(std::int64_t channel, std::int64_t bin, float* sum) const {
        const std::int64_t run = std::int64_t{shape_.groups} * shape_.group;
        for (std::int64_t tap = 0; tap < shape_.taps; ++tap) {
            for (std::int64_t i = 0; i < run; ++i) {
                const BinRange range = entered_[sizeOf(i / shape_.group)];
                if (bin >= range.begin && bin < range.end) {
                    const float weight =
                        product.weights[(tap * run + i) * product.weightStride + channel];
                    ippsAddProductC_32f(columns_[sizeOf(tap)] + offsetOf(i) + bin, weight, sum, 1);
                }
            }
        }
    }
    void fill(GuardedArray<float>& array) {
        std::uniform_real_distribution<float> level(-1.0F, 1.0F);
        std::generate(array.begin(), array.end(), [&] { return level(engine_); });
    }

    std::mt19937 engine_;
    Shape shape_;
    std::int64_t pitch_ = 0;
    std::vector<BinRange> entered_;
    std::deque<GuardedArray<float>> taps_;
    std::vector<const float*> columns_;
    std::optional<GuardedArray<float>> weights_;
    std::optional<GuardedArray<float>> start_;
    std::optional<GuardedArray<float>> last_;
    std::optional<GuardedArray<float>> out_;
    std::optional<GuardedArray<float>> before_;
    std::vector<float*> rows_;
    std::vector<float*> sums_;
};

void expectEqualsTheChain(const Shape& shape, std::uint32_t seed) {
    Plane fused(shape, seed);
    Plane chain(shape, seed);
    ASSERT_EQ(addColumnProducts(fused.product), 0);
    chain.addOneByOne();
    ASSERT_TRUE(sameBits(fused.output(), chain.output()))
        << shape.columnCount << " columns from " << shape.firstColumn << ", " << shape.taps
        << " taps of " << shape.groups << " times " << shape.group << ", " << shape.bins << " bins "
        << shape.outStride << " apart without " << shape.lead << " and " << shape.trail << ", "
        << shape.channels << " channels of which " << shape.started << " begin, seed " << seed;
    ASSERT_TRUE(fused.isIntact());
}

TEST_P(ColumnForms, ProductsEqualTheChainForEveryCountOfBinsAndChannels) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 140; bins += bins < 34 ? 1 : 7) {
        for (std::int32_t channels = 1; channels <= 14; ++channels) {
            expectEqualsTheChain({3, bins % 3, 5, 1, bins, channels}, ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(ColumnForms, GroupsEnterTheirBinsAlone) {
    std::uint32_t seed = 1;
    for (const std::int32_t bins : {1, 2, 15, 16, 17, 33, 64, 130}) {
        for (const std::int32_t lead : {0, 1, 3, 15, 16, 17, 40}) {
            for (const std::int32_t trail : {0, 1, 2, 16, 19, 140}) {
                Shape shape{2, 1, 3, 2, bins, 1 + lead % 7};
                shape.lead = lead;
                shape.trail = trail;
                shape.taps = 1 + trail % 3;
                shape.started = lead % (shape.channels + 1);
                shape.inPlace = seed % 2 == 0;
                shape.hasLast = seed % 3 == 0;
                expectEqualsTheChain(shape, ++seed);
                ASSERT_FALSE(HasFatalFailure());
            }
        }
    }
}

/// Both ends of a kernel whose bins reach over a register or less, and planes that the tiles share
/// in every way.
TEST_P(ColumnForms, EndsOfAPlaneGoInTilesWithTheOthers) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 2; bins <= 300; bins += bins < 80 ? 1 : 13) {
        for (const std::int32_t lead : {0, 1, 4}) {
            Shape shape{1 + bins % 3, 0, 3 + bins % 2, 1 + bins % 3, bins, 1 + (bins + lead) % 6};
            shape.lead = lead;
            shape.trail = bins % 4;
            shape.taps = 1 + bins % 2;
            shape.started = bins % 5 == 0 ? shape.channels : 0;
            expectEqualsTheChain(shape, ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(ColumnForms, ProductsEqualTheChainForRandomShapes) {
    std::mt19937 engine(3);
    const auto roll = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(engine);
    };
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        const std::int32_t columns = roll(1, 40);
        const std::int32_t channels = roll(1, 40);
        Shape shape{columns, roll(0, columns - 1), roll(1, 12), roll(1, 9), roll(1, 200), channels};
        // Channels of neighbouring bins lie into one another, or rows stand apart.
        shape.outStride = roll(0, 1) == 0 ? channels + roll(0, 9) : 1;
        shape.gap = roll(0, 5);
        shape.taps = roll(1, 4);
        shape.started = roll(0, 1) * roll(0, channels);
        shape.lead = roll(0, 1) * roll(0, 50);
        shape.trail = roll(0, 1) * roll(0, 50);
        shape.inPlace = roll(0, 1) == 0;
        shape.hasLast = roll(0, 1) == 0;
        expectEqualsTheChain(shape, seed);
        ASSERT_FALSE(HasFatalFailure());
    }
}

// A product with what stands beside the plane would make a NaN of a sum, or a +0 of a -0.
TEST_P(ColumnForms, BinsThatAGroupDoesNotEnterKeepTheirBits) {
    Shape shape{1, 0, 3, 1, 20, 2};
    shape.lead = 1;
    shape.trail = 1;
    Plane plane(shape, 4);
    const std::vector<float> infinite(6, std::numeric_limits<float>::infinity());
    plane.product.weights = infinite.data();
    *plane.product.out[0] = -0.0F;
    const float last = plane.product.out[0][19];
    const std::vector<BinRange> nowhere{{1, 19}, {1, 19}, {1, 19}};
    plane.product.entered = nowhere.data();
    ASSERT_EQ(addColumnProducts(plane.product), 0);
    EXPECT_TRUE(plane.product.out[0][0] == 0.0F && std::signbit(plane.product.out[0][0]));
    EXPECT_EQ(plane.product.out[0][19], last);
    EXPECT_FALSE(std::isfinite(plane.product.out[0][1]));
}

#if defined(__unix__)
/// Floats from the first to the last of a page between two that nobody may touch.
class LonePage {
  public:
    LonePage() : bytes_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const pages =
            mmap(nullptr, 3 * bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        pages_ = static_cast<std::byte*>(pages);
        if (mprotect(pages_ + bytes_, bytes_, PROT_READ | PROT_WRITE) != 0) {
            throw std::bad_alloc();
        }
    }
    ~LonePage() { munmap(pages_, 3 * bytes_); }
    LonePage(const LonePage&) = delete;
    LonePage& operator=(const LonePage&) = delete;

    float* begin() { return reinterpret_cast<float*>(pages_ + bytes_); }
    float* end() { return reinterpret_cast<float*>(pages_ + 2 * bytes_); }

  private:
    std::size_t bytes_;
    std::byte* pages_;
};

// The sanitizer does not see what a masked load leaves out.
TEST_P(ColumnForms, NothingIsReadBesideTheBinsThatEnter) {
    LonePage page;
    std::iota(page.begin(), page.end(), 1.0F);
    for (std::int32_t height = 1; height <= 70; ++height) {
        for (const float* const row : {page.begin(), page.end() - height}) {
            // A kernel of five bins, centred.
            std::vector<BinRange> entered;
            for (std::int32_t kernelBin = -2; kernelBin <= 2; ++kernelBin) {
                const std::int32_t begin = std::min(std::max(0, -kernelBin), height);
                entered.push_back({begin, std::max(begin, std::min(height, height - kernelBin))});
            }
            const float* const column = row - 2;
            const std::vector<float> weights(10, 1.0F);
            std::vector<float> sums(sizeOf(2 * height), 0.0F);
            const std::vector<float*> out = {sums.data(), sums.data() + height};
            ColumnProducts product{};
            product.columns = &column;
            product.pitch = height;
            product.weights = weights.data();
            product.weightStride = 2;
            product.sums = out.data();
            product.out = out.data();
            product.outStride = 1;
            product.entered = entered.data();
            product.taps = 1;
            product.columnCount = 1;
            product.groups = 5;
            product.group = 1;
            product.bins = height;
            product.channels = 2;
            ASSERT_EQ(addColumnProducts(product), 0);
            for (std::int32_t bin = 0; bin < height; ++bin) {
                float expected = 0.0F;
                for (std::int32_t at = std::max(0, bin - 2); at <= std::min(height - 1, bin + 2);
                     ++at) {
                    expected += row[at];
                }
                ASSERT_EQ(sums[sizeOf(bin)], expected) << height << " bins, bin " << bin;
            }
        }
    }
}
#endif

TEST_P(ColumnForms, ProductsRefuseWhatCannotBe) {
    Plane plane({2, 1, 2, 2, 21, 3}, 5);
    const std::vector<float> before = plane.output();
    ColumnProducts withoutColumns = plane.product;
    withoutColumns.columns = nullptr;
    withoutColumns.groups = 0;
    EXPECT_EQ(addColumnProducts(withoutColumns), ippStsNullPtrErr);
    ColumnProducts withoutWeights = plane.product;
    withoutWeights.weights = nullptr;
    EXPECT_EQ(addColumnProducts(withoutWeights), ippStsNullPtrErr);
    ColumnProducts withoutSums = plane.product;
    withoutSums.sums = nullptr;
    EXPECT_EQ(addColumnProducts(withoutSums), ippStsNullPtrErr);
    ColumnProducts withoutOut = plane.product;
    withoutOut.out = nullptr;
    EXPECT_EQ(addColumnProducts(withoutOut), ippStsNullPtrErr);
    ColumnProducts withoutRanges = plane.product;
    withoutRanges.entered = nullptr;
    EXPECT_EQ(addColumnProducts(withoutRanges), ippStsNullPtrErr);
    ColumnProducts withoutStart = plane.product;
    withoutStart.start = nullptr;
    withoutStart.started = 1;
    EXPECT_EQ(addColumnProducts(withoutStart), ippStsNullPtrErr);
    for (std::int32_t ColumnProducts::*const size :
         {&ColumnProducts::taps, &ColumnProducts::groups, &ColumnProducts::group,
          &ColumnProducts::bins, &ColumnProducts::channels, &ColumnProducts::columnCount}) {
        ColumnProducts spoilt = plane.product;
        spoilt.*size = 0;
        EXPECT_EQ(addColumnProducts(spoilt), ippStsSizeErr);
    }
    for (const std::int32_t column : {-1, 2}) {
        ColumnProducts spoilt = plane.product;
        spoilt.firstColumn = column;
        EXPECT_EQ(addColumnProducts(spoilt), ippStsSizeErr);
    }
    for (const std::int32_t started : {-1, 4}) {
        ColumnProducts spoilt = plane.product;
        spoilt.started = started;
        EXPECT_EQ(addColumnProducts(spoilt), ippStsSizeErr);
    }
    EXPECT_TRUE(sameBits(plane.output(), before));
}

TEST_P(ColumnForms, BinsTurnIntoColumns) {
    for (std::int32_t width = 1; width <= 70; width += width < 36 ? 1 : 17) {
        for (const std::int32_t bins :
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 31, 33, 50}) {
            // The last bin may be cut short, and columns may lie one behind the other or apart.
            for (const std::int32_t kind : {0, 1, 2, 3}) {
                const std::int32_t missing = kind % 2 * (width / 2);
                const std::int32_t length = width * bins - missing;
                const std::int64_t pitch = bins + kind / 2 * (1 + width % 4);
                GuardedArray<float> in(sizeOf(length), sizeOf(width) % 16);
                GuardedArray<float> out(sizeOf((width - 1) * pitch + bins), sizeOf(bins) % 16);
                for (std::size_t i = 0; i < in.size(); ++i) {
                    in[i] = static_cast<float>(i);
                }
                out.assign(std::vector<float>(out.size(), -1.0F));
                ASSERT_EQ(transposeBins(in.data(), length, width, out.data(), pitch), 0);
                for (std::size_t i = 0; i < out.size(); ++i) {
                    const std::int64_t column = static_cast<std::int64_t>(i) / pitch;
                    const std::int64_t bin = static_cast<std::int64_t>(i) % pitch;
                    const std::int64_t place = bin * width + column;
                    const bool isFilled = bin < bins && place < length;
                    ASSERT_EQ(out[i], isFilled ? static_cast<float>(place) : -1.0F)
                        << width << " wide, " << bins << " bins, " << missing << " missing";
                }
                ASSERT_TRUE(in.isIntact() && out.isIntact());
            }
        }
    }
}

}  // namespace
}  // namespace vorun
