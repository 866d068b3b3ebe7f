// Sums over bins that stand side by side, bit for bit against the chain of single operations of the
// same variant.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <random>
#include <vector>

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
    std::int32_t run;
    std::int32_t bins;
    std::int32_t channels;
    std::int64_t outStride = 1;
    /// Floats between the rows of the weights beyond the channels.
    std::int64_t gap = 0;
};

/// The arrays of one product between guards: columns with what may be read behind the last bin.
class Plane {
  public:
    Plane(const Shape& shape, std::uint32_t seed) : engine_(seed), shape_(shape) {
        constexpr std::int64_t readBeyond = 15;
        const std::int64_t shift = (shape.firstColumn + shape.run - 1) / shape.columnCount;
        const std::int64_t pitch = shape.bins + shift + readBeyond;
        columns_.emplace(sizeOf(shape.columnCount * pitch), seed % 16);
        weights_.emplace(sizeOf((shape.run - 1) * (shape.channels + shape.gap) + shape.channels),
                         seed % 7);
        fill(*columns_);
        fill(*weights_);
        // Rows that lie into one another, as the channels of a bin do, or one behind the other.
        const bool areInterleaved = shape.outStride >= shape.channels;
        const std::int64_t rowLength = (shape.bins - 1) * shape.outStride + 1;
        const std::int64_t between = areInterleaved ? 1 : rowLength;
        out_.emplace(sizeOf((shape.channels - 1) * between + rowLength), seed % 11);
        fill(*out_);
        for (std::int64_t channel = 0; channel < shape.channels; ++channel) {
            rows_.push_back(out_->data() + channel * between);
        }
        product = {columns_->data(), pitch,           weights_->data(),  shape.channels + shape.gap,
                   rows_.data(),     shape.outStride, shape.columnCount, shape.firstColumn,
                   shape.run,        shape.bins,      shape.channels};
    }

    void addOneByOne() {
        for (std::int64_t i = 0; i < shape_.run; ++i) {
            const std::int64_t place = shape_.firstColumn + i;
            const float* column = product.columns + place % shape_.columnCount * product.pitch +
                                  place / shape_.columnCount;
            for (std::int64_t channel = 0; channel < shape_.channels; ++channel) {
                const float weight = product.weights[i * product.weightStride + channel];
                for (std::int64_t bin = 0; bin < shape_.bins; ++bin) {
                    ippsAddProductC_32f(column + bin, weight,
                                        rows_[sizeOf(channel)] + bin * shape_.outStride, 1);
                }
            }
        }
    }

    std::vector<float> output() const { return {out_->begin(), out_->end()}; }
    bool isIntact() const {
        return columns_->isIntact() && weights_->isIntact() && out_->isIntact();
    }

    ColumnProducts product{};

  private:
    void fill(GuardedArray<float>& array) {
        std::uniform_real_distribution<float> level(-1.0F, 1.0F);
        std::generate(array.begin(), array.end(), [&] { return level(engine_); });
    }

    std::mt19937 engine_;
    Shape shape_;
    std::optional<GuardedArray<float>> columns_;
    std::optional<GuardedArray<float>> weights_;
    std::optional<GuardedArray<float>> out_;
    std::vector<float*> rows_;
};

void expectEqualsTheChain(const Shape& shape, std::uint32_t seed) {
    Plane fused(shape, seed);
    Plane chain(shape, seed);
    ASSERT_EQ(addColumnProducts(fused.product), 0);
    chain.addOneByOne();
    ASSERT_TRUE(sameBits(fused.output(), chain.output()))
        << shape.columnCount << " columns from " << shape.firstColumn << ", runs of " << shape.run
        << ", " << shape.bins << " bins " << shape.outStride << " apart, " << shape.channels
        << " channels, seed " << seed;
    ASSERT_TRUE(fused.isIntact());
}

TEST_P(ColumnForms, ProductsEqualTheChainForEveryCountOfBinsAndChannels) {
    std::uint32_t seed = 1;
    for (std::int32_t bins = 1; bins <= 140; bins += bins < 34 ? 1 : 7) {
        for (std::int32_t channels = 1; channels <= 14; ++channels) {
            expectEqualsTheChain({3, bins % 3, 5, bins, channels}, ++seed);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

TEST_P(ColumnForms, ProductsEqualTheChainForRandomShapes) {
    std::mt19937 engine(3);
    const auto roll = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(engine);
    };
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        const std::int32_t columns = roll(1, 40);
        const std::int32_t channels = roll(1, 40);
        // Channels of neighbouring bins lie into one another, or rows stand apart.
        const std::int32_t stride = roll(0, 1) == 0 ? channels + roll(0, 9) : 1;
        expectEqualsTheChain({columns, roll(0, columns - 1), roll(1, 90), roll(1, 200), channels,
                              stride, roll(0, 5)},
                             seed);
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST_P(ColumnForms, WhatStandsBehindTheLastBinIsOfNoMeaning) {
    const Shape shape{2, 0, 4, 21, 3};
    Plane clean(shape, 5);
    Plane spoilt(shape, 5);
    auto* const columns = const_cast<float*>(spoilt.product.columns);
    const std::int64_t pitch = spoilt.product.pitch;
    // The runs reach one bin further than the last.
    for (std::int64_t i = 22; i < pitch; ++i) {
        columns[i] = columns[pitch + i] = std::numeric_limits<float>::quiet_NaN();
    }
    ASSERT_EQ(addColumnProducts(clean.product), 0);
    ASSERT_EQ(addColumnProducts(spoilt.product), 0);
    EXPECT_TRUE(sameBits(clean.output(), spoilt.output()));
}

TEST_P(ColumnForms, ProductsRefuseWhatCannotBe) {
    Plane plane({2, 1, 4, 21, 3}, 5);
    const std::vector<float> before = plane.output();
    ColumnProducts withoutColumns = plane.product;
    withoutColumns.columns = nullptr;
    withoutColumns.run = 0;
    EXPECT_EQ(addColumnProducts(withoutColumns), ippStsNullPtrErr);
    ColumnProducts withoutWeights = plane.product;
    withoutWeights.weights = nullptr;
    EXPECT_EQ(addColumnProducts(withoutWeights), ippStsNullPtrErr);
    ColumnProducts withoutOut = plane.product;
    withoutOut.out = nullptr;
    EXPECT_EQ(addColumnProducts(withoutOut), ippStsNullPtrErr);
    for (std::int32_t ColumnProducts::*const size :
         {&ColumnProducts::run, &ColumnProducts::bins, &ColumnProducts::channels,
          &ColumnProducts::columnCount}) {
        ColumnProducts spoilt = plane.product;
        spoilt.*size = 0;
        EXPECT_EQ(addColumnProducts(spoilt), ippStsSizeErr);
    }
    for (const std::int32_t column : {-1, 2}) {
        ColumnProducts spoilt = plane.product;
        spoilt.firstColumn = column;
        EXPECT_EQ(addColumnProducts(spoilt), ippStsSizeErr);
    }
    EXPECT_TRUE(sameBits(plane.output(), before));
}

TEST_P(ColumnForms, BinsTurnIntoColumns) {
    for (std::int32_t width = 1; width <= 70; width += width < 36 ? 1 : 17) {
        for (const std::int32_t bins : {1, 2, 3, 4, 5, 8, 15, 16, 17, 31, 33, 50}) {
            // The last bin may be cut short.
            for (const std::int32_t missing : {0, width / 2}) {
                const std::int32_t length = width * bins - missing;
                const std::int64_t pitch = bins + width % 4;
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
