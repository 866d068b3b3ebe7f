// The operations with a stated error, each against the double-precision function.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "UlpDistance.h"
#include "VectorSweep.h"
#include "VectorVariant.h"
#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(VectorFunctions);

constexpr float infinity = std::numeric_limits<float>::infinity();
double wide(float value) {
    return static_cast<double>(value);
}

// All exponents and both signs, with a step through the mantissas that meets no pattern twice.
std::vector<float> floatsOfEveryMagnitude(std::uint32_t step) {
    std::vector<float> values;
    for (std::uint64_t bits = 0; bits <= 0xFFFFFFFFU; bits += step) {
        const auto word = static_cast<std::uint32_t>(bits);
        float value = 0.0F;
        std::memcpy(&value, &word, sizeof value);
        values.push_back(value);
    }
    return values;
}

TEST_P(VectorFunctions, DivIsTheQuotientWithinOneUlp) {
    sweep<float, float, float>(
        [](const float* a, const float* b, float* d, std::int32_t n) {
            bool zeroDivisor = false;
            for (std::int32_t i = 0; i < n; ++i) {
                zeroDivisor = zeroDivisor || a[i] == 0.0F;
            }
            EXPECT_EQ(ippsDiv_32f(a, b, d, n), zeroDivisor ? 2 : 0);
        },
        [](float d, float divisor, float dividend) {
            if (divisor == 0.0F) {
                const double sign = dividend > 0.0F ? 1.0 : -1.0;
                const bool undecided = dividend == 0.0F || std::isnan(dividend);
                return undecided ? std::isnan(d) : d == static_cast<float>(sign) * infinity;
            }
            return withinUlps(d, wide(dividend) / wide(divisor), 1.0);
        });
}

TEST_P(VectorFunctions, MagnitudeIsWithinOneUlp) {
    sweep<float, Ipp32fc>(
        [](const Ipp32fc* a, float* d, std::int32_t n) {
            EXPECT_EQ(ippsMagnitude_32fc(a, d, n), 0);
        },
        [](float d, Ipp32fc a) {
            const double squares = wide(a.re) * wide(a.re) + wide(a.im) * wide(a.im);
            // Outside the normal floats the sum itself is what float makes of it.
            const auto re = static_cast<float>(wide(a.re) * wide(a.re));
            const auto im = static_cast<float>(wide(a.im) * wide(a.im));
            const auto sum = static_cast<float>(wide(re) + wide(im));
            if (squares < wide(std::numeric_limits<float>::min()) || std::isinf(sum)) {
                return sameFloat(d, static_cast<float>(std::sqrt(wide(sum))));
            }
            return withinUlps(d, std::sqrt(squares), 1.0);
        });
}

TEST_P(VectorFunctions, HypotIsWithinOneUlpWithoutOverflowOnTheWay) {
    sweep<float, Ipp32fc>(
        [](const Ipp32fc* a, float* d, std::int32_t n) { EXPECT_EQ(hypotRow(a, d, n), 0); },
        [](float d, Ipp32fc a) {
            if (std::isinf(a.re) || std::isinf(a.im)) {
                return d == infinity;
            }
            return withinUlps(d, std::hypot(wide(a.re), wide(a.im)), 1.0);
        });
}

TEST_P(VectorFunctions, PhaseIsWithinTwoUlpsInEveryQuadrant) {
    sweep<float, Ipp32fc>(
        [](const Ipp32fc* a, float* d, std::int32_t n) { EXPECT_EQ(ippsPhase_32fc(a, d, n), 0); },
        [](float d, Ipp32fc a) { return withinUlps(d, std::atan2(wide(a.im), wide(a.re)), 2.0); });
}

TEST_P(VectorFunctions, PolarToCartIsWithinTwoUlps) {
    sweep<Ipp32fc, float, float>(
        [](const float* magnitude, const float* phase, Ipp32fc* d, std::int32_t n) {
            EXPECT_EQ(ippsPolarToCart_32fc(magnitude, phase, d, n), 0);
        },
        [](Ipp32fc d, float magnitude, float phase) {
            // Beyond this the phase is no angle of a signal.
            if (std::fabs(phase) > 1.0e4F && std::isfinite(phase)) {
                return true;
            }
            return withinUlps(d.re, wide(magnitude) * std::cos(wide(phase)), 2.0) &&
                   withinUlps(d.im, wide(magnitude) * std::sin(wide(phase)), 2.0);
        });
}

/// Complex numbers of all magnitudes and angles, both parts of every relative size.
std::vector<Ipp32fc> numbersOfEveryAngle() {
    std::vector<Ipp32fc> numbers;
    ValueSource values(Fill::ordinary);
    for (int exponent = -60; exponent <= 60; ++exponent) {
        for (int i = 0; i < 2000; ++i) {
            Ipp32fc number{};
            values.next(number);
            numbers.push_back(
                {std::ldexp(number.re, exponent), std::ldexp(number.im, exponent + i % 41 - 20)});
        }
    }
    return numbers;
}

TEST_P(VectorFunctions, MagnitudeAndPhaseHoldTheirBoundsOverAllMagnitudesAndAngles) {
    const std::vector<Ipp32fc> x = numbersOfEveryAngle();
    const auto count = static_cast<std::int32_t>(x.size());
    std::vector<float> y(x.size());
    ASSERT_EQ(ippsMagnitude_32fc(x.data(), y.data(), count), 0);
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double squares = wide(x[i].re) * wide(x[i].re) + wide(x[i].im) * wide(x[i].im);
        if (squares >= wide(std::numeric_limits<float>::min()) &&
            squares < wide(std::numeric_limits<float>::max())) {
            ASSERT_TRUE(withinUlps(y[i], std::sqrt(squares), 1.0)) << x[i].re << ", " << x[i].im;
        }
    }
    ASSERT_EQ(ippsPhase_32fc(x.data(), y.data(), count), 0);
    for (std::size_t i = 0; i < x.size(); ++i) {
        ASSERT_TRUE(withinUlps(y[i], std::atan2(wide(x[i].im), wide(x[i].re)), 2.0))
            << x[i].re << ", " << x[i].im;
    }
}

TEST_P(VectorFunctions, SineAndCosineHoldTheirBoundOverEveryPhaseInUse) {
    std::vector<float> phases = floatsOfEveryMagnitude(20011);
    std::erase_if(phases, [](float phase) { return !(std::fabs(phase) <= 1.0e4F); });
    const std::vector<float> ones(phases.size(), 1.0F);
    std::vector<Ipp32fc> y(phases.size());
    ASSERT_EQ(ippsPolarToCart_32fc(ones.data(), phases.data(), y.data(),
                                   static_cast<std::int32_t>(phases.size())),
              0);
    for (std::size_t i = 0; i < phases.size(); ++i) {
        ASSERT_TRUE(withinUlps(y[i].re, std::cos(wide(phases[i])), 2.0) &&
                    withinUlps(y[i].im, std::sin(wide(phases[i])), 2.0))
            << phases[i];
    }
}

TEST_P(VectorFunctions, PhasesBeyondEveryAngleStayOnTheUnitCircle) {
    const float phases[] = {1.0e6F, -1.0000001e6F, 3.0e9F, -1.0e20F, 3.0e38F};
    const float ones[] = {1.0F, 1.0F, 1.0F, 1.0F, 1.0F};
    Ipp32fc y[5] = {};
    ASSERT_EQ(ippsPolarToCart_32fc(ones, phases, y, 5), 0);
    for (std::size_t i = 0; i < std::size(y); ++i) {
        EXPECT_NEAR(wide(y[i].re), std::cos(wide(phases[i])), 1.0e-6) << phases[i];
        EXPECT_NEAR(wide(y[i].im), std::sin(wide(phases[i])), 1.0e-6) << phases[i];
    }
}

TEST_P(VectorFunctions, ExpIsWithinOneUlp) {
    sweep<float, float>(
        [](const float* a, float* d, std::int32_t n) { EXPECT_EQ(ippsExp_32f(a, d, n), 0); },
        [](float d, float a) { return withinUlps(d, std::exp(wide(a)), 1.0); });
}

TEST_P(VectorFunctions, ExpIsWithinOneUlpOverAllMagnitudes) {
    const std::vector<float> x = floatsOfEveryMagnitude(40009);
    std::vector<float> y(x.size());
    ASSERT_EQ(ippsExp_32f(x.data(), y.data(), static_cast<std::int32_t>(x.size())), 0);
    for (std::size_t i = 0; i < x.size(); ++i) {
        ASSERT_TRUE(withinUlps(y[i], std::exp(wide(x[i])), 1.0)) << x[i] << " gives " << y[i];
    }
}

TEST_P(VectorFunctions, ExpOverflowsToInfinityWithoutAnError) {
    const float x[] = {89.0F, 1.0e30F, infinity};
    float y[3] = {};
    EXPECT_EQ(ippsExp_32f(x, y, 3), 0);
    for (const float value : y) {
        EXPECT_EQ(value, infinity);
    }
}

TEST_P(VectorFunctions, LnIsWithinOneUlp) {
    sweep<float, float>(
        [](const float* a, float* d, std::int32_t n) {
            bool hasZero = false;
            bool hasNegative = false;
            for (std::int32_t i = 0; i < n; ++i) {
                hasZero = hasZero || a[i] == 0.0F;
                hasNegative = hasNegative || a[i] < 0.0F;
            }
            EXPECT_EQ(ippsLn_32f(a, d, n), hasZero ? 7 : (hasNegative ? 8 : 0));
        },
        [](float d, float a) { return withinUlps(d, std::log(wide(a)), 1.0); });
}

TEST_P(VectorFunctions, LnIsWithinOneUlpOverAllMagnitudes) {
    const std::vector<float> x = floatsOfEveryMagnitude(40009);
    std::vector<float> y(x.size());
    ippsLn_32f(x.data(), y.data(), static_cast<std::int32_t>(x.size()));
    for (std::size_t i = 0; i < x.size(); ++i) {
        ASSERT_TRUE(withinUlps(y[i], std::log(wide(x[i])), 1.0)) << x[i] << " gives " << y[i];
    }
}

// The bound on a float sum of `terms` in any order: one epsilon of the absolute sum for each term,
// and the smallest float for each product that underflows.
template <class Real>
double sumBound(double absoluteSum, std::size_t terms) {
    const auto count = static_cast<double>(terms);
    return count * static_cast<double>(std::numeric_limits<Real>::epsilon()) * absoluteSum +
           count * static_cast<double>(std::numeric_limits<Real>::denorm_min());
}

template <class Real, class Operation>
void sweepDotProduct(Operation operation) {
    ValueSource values(Fill::ordinary);
    for (const std::int32_t length : sweptLengths) {
        const auto size = static_cast<std::size_t>(length);
        for (std::size_t offset = 0; offset < sweptOffsets; ++offset) {
            GuardedArray<Real> a(size, offset);
            GuardedArray<Real> b(size, (3 * offset + 1) % sweptOffsets);
            GuardedArray<Real> result(1, offset);
            long double exact = 0;
            double absoluteSum = 0;
            for (std::size_t i = 0; i < size; ++i) {
                values.next(a[i]);
                values.next(b[i]);
                const long double term =
                    static_cast<long double>(a[i]) * static_cast<long double>(b[i]);
                exact += term;
                absoluteSum += std::fabs(static_cast<double>(term));
            }
            ASSERT_EQ(operation(a.data(), b.data(), length, result.data()), 0);
            const auto error = static_cast<double>(static_cast<long double>(result[0]) - exact);
            ASSERT_LE(std::fabs(error), sumBound<Real>(absoluteSum, size))
                << "length " << length << ", offset " << offset;
            ASSERT_TRUE(result.isIntact() && a.isIntact() && b.isIntact());
        }
    }
}

TEST_P(VectorFunctions, DotProductOfFloatsIsWithinItsBound) {
    sweepDotProduct<float>(&ippsDotProd_32f);
}

TEST_P(VectorFunctions, DotProductOfDoublesIsWithinItsBound) {
    sweepDotProduct<double>(&ippsDotProd_64f);
}

TEST_P(VectorFunctions, NormIsWithinItsBound) {
    ValueSource values(Fill::ordinary);
    for (const std::int32_t length : sweptLengths) {
        const auto size = static_cast<std::size_t>(length);
        for (std::size_t offset = 0; offset < sweptOffsets; ++offset) {
            GuardedArray<float> a(size, offset);
            GuardedArray<float> result(1, offset);
            double squares = 0;
            for (float& value : a) {
                values.next(value);
                squares += wide(value) * wide(value);
            }
            ASSERT_EQ(ippsNorm_L2_32f(a.data(), length, result.data()), 0);
            // The root halves the relative error of the sum and rounds once more.
            ASSERT_NEAR(wide(result[0]), std::sqrt(squares),
                        sumBound<float>(std::sqrt(squares), size));
            ASSERT_TRUE(result.isIntact() && a.isIntact());
        }
    }
}

TEST_P(VectorFunctions, ReductionsCarryNanAndInfinityFromEveryPlace) {
    for (std::size_t place = 0; place < 40; ++place) {
        std::vector<float> ones(40, 1.0F);
        std::vector<float> values(40, 1.0F);
        float norm = 0;
        float dot = 0;
        values[place] = std::numeric_limits<float>::quiet_NaN();
        ippsNorm_L2_32f(values.data(), 40, &norm);
        ippsDotProd_32f(values.data(), ones.data(), 40, &dot);
        EXPECT_TRUE(std::isnan(norm) && std::isnan(dot));
        values[place] = -infinity;
        ippsNorm_L2_32f(values.data(), 40, &norm);
        ippsDotProd_32f(values.data(), ones.data(), 40, &dot);
        EXPECT_EQ(norm, infinity);
        EXPECT_EQ(dot, -infinity);
    }
}

TEST_P(VectorFunctions, NormOverflowsToInfinityBecauseTheSumIsAFloat) {
    const float x[] = {1.0e30F, 1.0F};
    float norm = 0;
    EXPECT_EQ(ippsNorm_L2_32f(x, 2, &norm), 0);
    EXPECT_EQ(norm, infinity);
}

}  // namespace
}  // namespace vorun
