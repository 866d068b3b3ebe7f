// The exact operations, each against the same arithmetic in double precision, rounded once.
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "UlpDistance.h"
#include "VectorSweep.h"
#include "VectorVariant.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(VectorArithmetic);

// The double result of one operation on two floats rounds to the float result.
float rounded(double exact) {
    return static_cast<float>(exact);
}
double wide(float value) {
    return static_cast<double>(value);
}
bool same(Ipp32fc a, Ipp32fc b) {
    return sameFloat(a.re, b.re) && sameFloat(a.im, b.im);
}

Ipp32fc product(Ipp32fc a, Ipp32fc b) {
    const auto times = [](float x, float y) { return wide(rounded(wide(x) * wide(y))); };
    return {rounded(times(a.re, b.re) - times(a.im, b.im)),
            rounded(times(a.re, b.im) + times(a.im, b.re))};
}

// sum + a * b, rounded once. The product is exact in double; the sum is rounded to odd there, which
// leaves the second rounding, to float, as if it were the only one (Boldo and Melquiond, 2008).
// Some C libraries round std::fma twice.
float multiplyAddRoundedOnce(float a, float b, float sum) {
    const double product = wide(a) * wide(b);
    const double total = product + wide(sum);
    const double fromSum = total - product;
    const double lost = (product - (total - fromSum)) + (wide(sum) - fromSum);
    const bool isEven = (std::bit_cast<std::uint64_t>(total) & 1U) == 0;
    if (std::isfinite(total) && lost != 0.0 && isEven) {
        return rounded(std::nextafter(total, lost > 0.0 ? HUGE_VAL : -HUGE_VAL));
    }
    return rounded(total);
}

// What sum + a * b gives in the variant in force.
float multiplyAdded(float a, float b, float sum) {
    constexpr int firstFusingIndex = 4;
    if (dispatch::currentIndex() >= firstFusingIndex) {
        return multiplyAddRoundedOnce(a, b, sum);
    }
    return rounded(wide(sum) + wide(rounded(wide(a) * wide(b))));
}

constexpr float scalars[] = {0.0F, -0.0F, 1.0F, -1.0F, 2.0F, 0.7F, 1.0e-30F, -3.0e30F};

TEST_P(VectorArithmetic, CopyMovesEveryByte) {
    sweep<std::uint8_t, std::uint8_t>(
        [](const auto* a, auto* d, std::int32_t n) { EXPECT_EQ(ippsCopy_8u(a, d, n), 0); },
        [](std::uint8_t d, std::uint8_t a) { return d == a; });
}

TEST_P(VectorArithmetic, CopyOfFloatsKeepsTheirBits) {
    sweep<float, float>(
        [](const float* a, float* d, std::int32_t n) {
            EXPECT_EQ(ippsCopy_8u(reinterpret_cast<const std::uint8_t*>(a),
                                  reinterpret_cast<std::uint8_t*>(d), 4 * n),
                      0);
        },
        [](float d, float a) {
            return std::bit_cast<std::uint32_t>(d) == std::bit_cast<std::uint32_t>(a);
        });
}

TEST_P(VectorArithmetic, SetWritesTheValueEverywhere) {
    for (const float value : scalars) {
        sweep<float>([=](float* d, std::int32_t n) { EXPECT_EQ(ippsSet_32f(value, d, n), 0); },
                     [=](float d) { return sameFloat(d, value); });
    }
}

TEST_P(VectorArithmetic, ComplexSetWritesBothPartsEverywhere) {
    constexpr Ipp32fc value{-0.0F, 2.5F};
    sweep<Ipp32fc>([=](Ipp32fc* d, std::int32_t n) { EXPECT_EQ(ippsSet_32fc(value, d, n), 0); },
                   [=](Ipp32fc d) { return same(d, value); });
}

TEST_P(VectorArithmetic, ZeroClearsAllBits) {
    sweep<float>([](float* d, std::int32_t n) { EXPECT_EQ(ippsZero_32f(d, n), 0); },
                 [](float d) { return sameFloat(d, 0.0F); });
}

TEST_P(VectorArithmetic, AddIsTheRoundedSum) {
    sweep<float, float, float>(
        [](const float* a, const float* b, float* d, std::int32_t n) {
            EXPECT_EQ(ippsAdd_32f(a, b, d, n), 0);
        },
        [](float d, float a, float b) { return sameFloat(d, rounded(wide(a) + wide(b))); });
}

TEST_P(VectorArithmetic, SubTakesTheFirstSourceFromTheSecond) {
    sweep<float, float, float>(
        [](const float* a, const float* b, float* d, std::int32_t n) {
            EXPECT_EQ(ippsSub_32f(a, b, d, n), 0);
        },
        [](float d, float a, float b) { return sameFloat(d, rounded(wide(b) - wide(a))); });
}

TEST_P(VectorArithmetic, MulIsTheRoundedProduct) {
    sweep<float, float, float>(
        [](const float* a, const float* b, float* d, std::int32_t n) {
            EXPECT_EQ(ippsMul_32f(a, b, d, n), 0);
        },
        [](float d, float a, float b) { return sameFloat(d, rounded(wide(a) * wide(b))); });
}

TEST_P(VectorArithmetic, AddCAddsTheScalarAndCopiesForZero) {
    for (const float val : scalars) {
        sweep<float, float>([=](const float* a, float* d,
                                std::int32_t n) { EXPECT_EQ(ippsAddC_32f(a, val, d, n), 0); },
                            [=](float d, float a) {
                                return sameFloat(d, val == 0.0F ? a : rounded(wide(a) + wide(val)));
                            });
    }
}

TEST_P(VectorArithmetic, SubCTakesTheScalarAwayAndCopiesForZero) {
    for (const float val : scalars) {
        sweep<float, float>([=](const float* a, float* d,
                                std::int32_t n) { EXPECT_EQ(ippsSubC_32f(a, val, d, n), 0); },
                            [=](float d, float a) {
                                return sameFloat(d, val == 0.0F ? a : rounded(wide(a) - wide(val)));
                            });
    }
}

TEST_P(VectorArithmetic, MulCScalesCopiesForOneAndClearsForZero) {
    for (const float val : scalars) {
        sweep<float, float>([=](const float* a, float* d,
                                std::int32_t n) { EXPECT_EQ(ippsMulC_32f(a, val, d, n), 0); },
                            [=](float d, float a) {
                                return sameFloat(d,
                                                 val == 0.0F ? 0.0F : rounded(wide(a) * wide(val)));
                            });
    }
}

TEST_P(VectorArithmetic, AddProductIsTheRoundedSumWithTheProduct) {
    sweep<float, float, float, float>(
        [](const float* a, const float* b, const float*, float* d, std::int32_t n) {
            EXPECT_EQ(ippsAddProduct_32f(a, b, d, n), 0);
        },
        [](float d, float a, float b, float c) { return sameFloat(d, multiplyAdded(a, b, c)); },
        {2});
}

TEST_P(VectorArithmetic, AddProductCIsTheRoundedSumWithTheProduct) {
    for (const float val : scalars) {
        sweep<float, float, float>(
            [=](const float* a, const float*, float* d, std::int32_t n) {
                EXPECT_EQ(ippsAddProductC_32f(a, val, d, n), 0);
            },
            [=](float d, float a, float c) { return sameFloat(d, multiplyAdded(a, val, c)); }, {1});
    }
}

TEST_P(VectorArithmetic, ComplexAddAndSubWorkOnEachPart) {
    sweep<Ipp32fc, Ipp32fc, Ipp32fc>(
        [](const Ipp32fc* a, const Ipp32fc* b, Ipp32fc* d, std::int32_t n) {
            EXPECT_EQ(ippsAdd_32fc(a, b, d, n), 0);
        },
        [](Ipp32fc d, Ipp32fc a, Ipp32fc b) {
            return same(d, {rounded(wide(a.re) + wide(b.re)), rounded(wide(a.im) + wide(b.im))});
        });
    sweep<Ipp32fc, Ipp32fc, Ipp32fc>(
        [](const Ipp32fc* a, const Ipp32fc* b, Ipp32fc* d, std::int32_t n) {
            EXPECT_EQ(ippsSub_32fc(a, b, d, n), 0);
        },
        [](Ipp32fc d, Ipp32fc a, Ipp32fc b) {
            return same(d, {rounded(wide(b.re) - wide(a.re)), rounded(wide(b.im) - wide(a.im))});
        });
}

TEST_P(VectorArithmetic, ComplexMulIsTheComplexProduct) {
    sweep<Ipp32fc, Ipp32fc, Ipp32fc>(
        [](const Ipp32fc* a, const Ipp32fc* b, Ipp32fc* d, std::int32_t n) {
            EXPECT_EQ(ippsMul_32fc(a, b, d, n), 0);
        },
        [](Ipp32fc d, Ipp32fc a, Ipp32fc b) { return same(d, product(a, b)); });
}

TEST_P(VectorArithmetic, ComplexMulCScalesByAComplexNumber) {
    for (const Ipp32fc val : {Ipp32fc{0.0F, 1.0F}, Ipp32fc{1.0F, 0.0F}, Ipp32fc{-0.3F, 2.0F}}) {
        sweep<Ipp32fc, Ipp32fc>([=](const Ipp32fc* a, Ipp32fc* d,
                                    std::int32_t n) { EXPECT_EQ(ippsMulC_32fc(a, val, d, n), 0); },
                                [=](Ipp32fc d, Ipp32fc a) { return same(d, product(a, val)); });
    }
}

TEST_P(VectorArithmetic, ThresholdBelowReplacesWhatIsNotAtLeastTheLevel) {
    for (const float level : {0.0F, -0.5F, 1.0F, std::numeric_limits<float>::quiet_NaN()}) {
        sweep<float, float>(
            [=](const float* a, float* d, std::int32_t n) {
                EXPECT_EQ(ippsThreshold_LTVal_32f(a, d, n, level, 7.0F), 0);
            },
            [=](float d, float a) { return sameFloat(d, level <= a ? a : 7.0F); });
    }
}

TEST_P(VectorArithmetic, ThresholdAboveReplacesWhatIsAboveTheLevel) {
    for (const float level : {0.0F, -0.5F, 1.0F, std::numeric_limits<float>::quiet_NaN()}) {
        sweep<float, float>(
            [=](const float* a, float* d, std::int32_t n) {
                EXPECT_EQ(ippsThreshold_GTVal_32f(a, d, n, level, 7.0F), 0);
            },
            [=](float d, float a) { return sameFloat(d, level < a ? 7.0F : a); });
    }
}

TEST_P(VectorArithmetic, ThresholdOnBothSidesReplacesWhatIsOutside) {
    sweep<float, float>(
        [](const float* a, float* d, std::int32_t n) {
            EXPECT_EQ(ippsThreshold_LTValGTVal_32f(a, d, n, -0.5F, -9.0F, 1.0F, 9.0F), 0);
        },
        [](float d, float a) {
            if (std::isnan(a)) {
                return d == -9.0F;
            }
            return sameFloat(d, a < -0.5F ? -9.0F : (a > 1.0F ? 9.0F : a));
        });
}

TEST_P(VectorArithmetic, WideningKeepsEveryValue) {
    sweep<double, float>(
        [](const float* a, double* d, std::int32_t n) {
            EXPECT_EQ(ippsConvert_32f64f(a, d, n), 0);
        },
        [](double d, float a) { return std::isnan(a) ? std::isnan(d) : d == wide(a); });
}

TEST_P(VectorArithmetic, NarrowingRoundsAndClampsToTheLargestFloat) {
    constexpr float largest = std::numeric_limits<float>::max();
    sweep<float, double>([](const double* a, float* d,
                            std::int32_t n) { EXPECT_EQ(ippsConvert_64f32f(a, d, n), 0); },
                         [](float d, double a) {
                             if (std::fabs(a) > wide(largest)) {
                                 return d == (a > 0 ? largest : -largest);
                             }
                             return sameFloat(d, rounded(a));
                         });
}

}  // namespace
}  // namespace vorun
