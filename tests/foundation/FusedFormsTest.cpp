// Activations, rows and pairs of sums in one call, bit for bit against the chain of single
// operations of the same variant.
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "FloatBits.h"
#include "GuardedArray.h"
#include "UlpDistance.h"
#include "VectorSweep.h"
#include "VectorVariant.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(FusedForms);

/// Ordinary levels, every sign and size, and what is no number.
std::vector<float> levels(std::size_t count) {
    std::vector<float> values;
    ValueSource ordinary(Fill::ordinary);
    ValueSource special(Fill::special);
    while (values.size() < count) {
        float value = 0.0F;
        (values.size() % 3 == 0 ? special : ordinary).next(value);
        values.push_back(values.size() % 5 == 0 ? 30.0F * value : value);
    }
    return values;
}

template <class Fused, class Chain>
void expectActivationEqualsTheChain(const Fused& fused, const Chain& chain) {
    for (std::int32_t length = 1; length <= 150; ++length) {
        const std::vector<float> values = levels(sizeOf(length));
        GuardedArray<float> x(sizeOf(length), sizeOf(length) % 16);
        GuardedArray<float> out(sizeOf(length), sizeOf(3 * length) % 16);
        std::vector<float> first(sizeOf(length));
        std::vector<float> second(sizeOf(length));
        x.assign(values);
        chain(x.data(), first.data(), second.data(), length);
        ASSERT_EQ(fused(x.data(), out.data(), length), 0);
        ASSERT_EQ(fused(x.data(), x.data(), length), 0) << "in place";
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_TRUE(sameFloat(out[i], first[i]))
                << values[i] << " gives " << out[i] << ", not " << first[i];
            ASSERT_TRUE(sameFloat(x[i], first[i])) << "in place";
        }
        ASSERT_TRUE(x.isIntact() && out.isIntact());
    }
}

TEST_P(FusedForms, LeakyReluEqualsItsChain) {
    for (const float slope : {0.0F, 0.1F, 1.0F, -2.0F}) {
        expectActivationEqualsTheChain(
            [=](const float* x, float* d, std::int32_t n) {
                return activateLeakyRelu(x, d, n, slope);
            },
            [=](const float* x, float* o, float* s, std::int32_t n) {
                clampBelow(x, o, 0.0F, n);
                clampAbove(x, s, 0.0F, n);
                ippsAddProductC_32f(s, slope, o, n);
            });
    }
}

TEST_P(FusedForms, EluEqualsItsChain) {
    expectActivationEqualsTheChain(&activateElu,
                                   [](const float* x, float* o, float* s, std::int32_t n) {
                                       clampAbove(x, o, 0.0F, n);
                                       ippsExp_32f(o, s, n);
                                       ippsSubC_32f(s, 1.0F, o, n);
                                       clampBelow(x, s, 0.0F, n);
                                       ippsAdd_32f(s, o, o, n);
                                   });
}

TEST_P(FusedForms, SigmoidEqualsItsChain) {
    expectActivationEqualsTheChain(&activateSigmoid,
                                   [](const float* x, float* o, float* s, std::int32_t n) {
                                       clampRange(x, o, -10.0F, 10.0F, n);
                                       ippsExp_32f(o, s, n);
                                       ippsAddC_32f(s, 1.0F, o, n);
                                       ippsDiv_32f(o, s, o, n);
                                   });
}

TEST_P(FusedForms, HardSigmoidEqualsItsChain) {
    expectActivationEqualsTheChain(&activateHardSigmoid,
                                   [](const float* x, float* o, float* s, std::int32_t n) {
                                       ippsMulC_32f(x, 1.0F / 6.0F, o, n);
                                       ippsAddC_32f(o, 0.5F, s, n);
                                       clampRange(s, o, 0.0F, 1.0F, n);
                                   });
}

TEST_P(FusedForms, SoftplusEqualsItsChain) {
    expectActivationEqualsTheChain(&activateSoftplus,
                                   [](const float* x, float* o, float*, std::int32_t n) {
                                       ippsExp_32f(x, o, n);
                                       ippsAddC_32f(o, 1.0F, o, n);
                                       ippsLn_32f(o, o, n);
                                   });
}

TEST_P(FusedForms, RowsAreRepeatedAddedAndMultipliedForEachBin) {
    for (std::int32_t length = 1; length <= 40; ++length) {
        for (const std::int32_t bins : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 40}) {
            GuardedArray<float> row(sizeOf(length), sizeOf(length) % 16);
            GuardedArray<float> out(sizeOf(length) * sizeOf(bins), sizeOf(bins) % 16);
            GuardedArray<float> sums(out.size(), sizeOf(bins + 3) % 16);
            row.assign(levels(sizeOf(length)));
            ASSERT_EQ(repeatRow(row.data(), length, out.data(), bins), 0);
            for (std::size_t i = 0; i < out.size(); ++i) {
                ASSERT_TRUE(sameFloat(out[i], row[i % row.size()]));
            }
            out.assign(levels(out.size()));
            ASSERT_EQ(addRowToBins(row.data(), length, out.data(), sums.data(), bins), 0);
            for (std::size_t i = 0; i < out.size(); ++i) {
                ASSERT_TRUE(sameFloat(sums[i], row[i % row.size()] + out[i]))
                    << length << ", " << bins;
            }
            const std::vector<float> before(out.data(), out.data() + out.size());
            ASSERT_EQ(addRowToBins(row.data(), length, out.data(), out.data(), bins), 0);
            for (std::size_t i = 0; i < out.size(); ++i) {
                ASSERT_TRUE(sameFloat(sums[i], out[i])) << "in place";
            }
            out.assign(before);
            ASSERT_EQ(multiplyBinsByRow(row.data(), length, out.data(), out.data(), bins), 0);
            for (std::size_t i = 0; i < out.size(); ++i) {
                ASSERT_TRUE(sameFloat(out[i], before[i] * row[i % row.size()]))
                    << length << ", " << bins;
            }
            ASSERT_TRUE(row.isIntact() && out.isIntact() && sums.isIntact());
        }
    }
}

TEST_P(FusedForms, RowsAreSpreadAndNothingBetweenThemIsTouched) {
    for (std::int32_t length = 1; length <= 40; ++length) {
        for (const std::int32_t gap : {0, 1, 5, 16}) {
            constexpr std::int32_t bins = 7;
            const std::int32_t stride = length + gap;
            GuardedArray<float> rows(sizeOf(length * bins), sizeOf(length) % 16);
            GuardedArray<float> out(sizeOf((bins - 1) * stride + length), sizeOf(gap) % 16);
            rows.assign(levels(rows.size()));
            out.assign(std::vector<float>(out.size(), 3.0F));
            ASSERT_EQ(spreadRows(rows.data(), length, out.data(), stride, bins), 0);
            for (std::size_t i = 0; i < out.size(); ++i) {
                const std::size_t bin = i / sizeOf(stride);
                const std::size_t channel = i % sizeOf(stride);
                const bool isGap = channel >= sizeOf(length);
                const float expected = isGap ? 3.0F : rows[bin * sizeOf(length) + channel];
                ASSERT_TRUE(sameFloat(out[i], expected)) << length << ", " << gap << ", " << i;
            }
            ASSERT_TRUE(rows.isIntact() && out.isIntact());
        }
    }
}

TEST_P(FusedForms, PairOfDotProductsEqualsTheSingleOnes) {
    std::mt19937 engine(5);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    for (std::size_t length = 1; length <= 100; ++length) {
        GuardedArray<double> a(length, 1);
        GuardedArray<double> b(length, 2);
        GuardedArray<double> c(length, 3);
        GuardedArray<double> d(length, 5);
        for (std::size_t i = 0; i < length; ++i) {
            a[i] = level(engine);
            b[i] = level(engine);
            c[i] = level(engine);
            d[i] = level(engine);
        }
        const auto len = static_cast<std::int32_t>(length);
        double single[2] = {};
        double pair[2] = {};
        ippsDotProd_64f(a.data(), b.data(), len, &single[0]);
        ippsDotProd_64f(c.data(), d.data(), len, &single[1]);
        ASSERT_EQ(dotProductPair_64f(a.data(), b.data(), c.data(), d.data(), len, pair), 0);
        ASSERT_EQ(pair[0], single[0]) << length;
        ASSERT_EQ(pair[1], single[1]) << length;
    }
}

}  // namespace
}  // namespace vorun
