#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include "DirectTransform.h"
#include "GuardedArray.h"
#include "GuardedPlan.h"
#include "TransformTools.h"
#include "UlpDistance.h"
#include "VectorVariant.h"
#include "foundation/vector/TransformPlan.h"
#include "foundation/vector/VectorPrimitives.h"
#include "foundation/vector/VectorVariants.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(LongTransform);

// Long inputs and their spectra by halving, computed once for all variants.
struct HalvedReference {
    std::vector<float> samples;
    std::vector<double> spectrum;
};

const HalvedReference& halvedReference(std::int32_t order) {
    static std::vector<HalvedReference> references(21);
    HalvedReference& r = references[static_cast<std::size_t>(order)];
    if (r.samples.empty()) {
        r.samples = noise(lengthOf(order), 11);
        r.spectrum = DirectTransform(order).halvedSpectrum(r.samples);
    }
    return r;
}

TEST_P(LongTransform, MatchesTheReferenceInAllBinsAndReturns) {
    for (std::int32_t order = 14; order <= 20; ++order) {
        const HalvedReference& r = halvedReference(order);
        std::vector<float> spectrum(spectrumFloats(order));
        std::vector<float> back(lengthOf(order));
        GuardedPlan plan(order);
        plan.forward(r.samples.data(), spectrum.data());
        EXPECT_LE(distance(spectrum, r.spectrum), relativeBound(order) * norm(r.spectrum))
            << "order " << order;
        plan.inverse(spectrum.data(), back.data());
        const auto exact =
            scaled(std::vector<double>(r.samples.begin(), r.samples.end()), std::ldexp(1.0, order));
        EXPECT_LE(distance(back, exact), 2.0 * relativeBound(order) * norm(exact))
            << "order " << order;
    }
}

// At lengths at which only some bins can be had by the definition, of one input.
void expectSelectedBins(std::int32_t order, const std::vector<float>& samples,
                        const std::vector<float>& spectrum) {
    const std::size_t last = lengthOf(order) / 2;
    static std::vector<std::vector<DirectTransform::Bin>> binsOfOrders(23);
    std::vector<DirectTransform::Bin>& exactBins = binsOfOrders[static_cast<std::size_t>(order)];
    const std::vector<std::size_t> numbers = {0,        1,   last / 4 + 1, last / 2, last / 3 * 2,
                                              last - 3, last};
    if (exactBins.empty()) {
        const DirectTransform direct(order);
        for (const std::size_t k : numbers) {
            exactBins.push_back(direct.forwardBin(samples, k));
        }
    }
    // White noise has a bin of about this magnitude everywhere.
    const double level = std::sqrt(static_cast<double>(lengthOf(order)) / 3.0);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::size_t k = numbers[i];
        const double error = std::hypot(static_cast<double>(spectrum[2 * k]) - exactBins[i].re,
                                        static_cast<double>(spectrum[2 * k + 1]) - exactBins[i].im);
        EXPECT_LE(error, 4.0 * relativeBound(order) * level) << "order " << order << ", bin " << k;
    }
}

void expectReturn(std::int32_t order, const std::vector<float>& samples,
                  const std::vector<float>& back) {
    const auto exact =
        scaled(std::vector<double>(samples.begin(), samples.end()), std::ldexp(1.0, order));
    EXPECT_LE(distance(back, exact), 2.0 * relativeBound(order) * norm(exact)) << "order " << order;
}

void expectSelectedBinsAndReturn(std::int32_t order) {
    const std::vector<float> samples = noise(lengthOf(order), 9);
    std::vector<float> spectrum(spectrumFloats(order));
    std::vector<float> back(lengthOf(order));
    GuardedPlan plan(order);
    plan.forward(samples.data(), spectrum.data());
    plan.inverse(spectrum.data(), back.data());
    expectSelectedBins(order, samples, spectrum);
    expectReturn(order, samples, back);
}

// The matrix that they are taken for is square for odd orders only.
TEST_P(LongTransform, MatchesTheDirectOneInSelectedBinsAtOrdersOfBothParities) {
    expectSelectedBinsAndReturn(21);
    expectSelectedBinsAndReturn(22);
}

TEST(PlainLongTransform, MatchesTheDirectOneInSelectedBinsAtOrdersOfBothParities) {
    for (const std::int32_t order : {20, 21}) {
        const std::vector<float> samples = noise(lengthOf(order), 9);
        std::vector<float> spectrum(spectrumFloats(order));
        std::vector<float> back(lengthOf(order));
        GuardedPlan plan(order);
        plain::ippsFFTFwd_RToCCS_32f(samples.data(), spectrum.data(), plan.get(), plan.work());
        plain::ippsFFTInv_CCSToR_32f(spectrum.data(), back.data(), plan.get(), plan.work());
        expectSelectedBins(order, samples, spectrum);
        expectReturn(order, samples, back);
    }
}

// A few impulses at a length at which nothing else has a reference in all bins.
struct Impulse {
    std::size_t place;
    double re;
    double im;
};

// The sum of `real part of (re + j im) exp(j sign 2 pi place i / N)`, and of its imaginary part,
// for i below `count`.
std::vector<double> sumOfTurns(const std::vector<Impulse>& impulses, std::int32_t order,
                               double sign, std::size_t count) {
    std::vector<double> sums(2 * count);
    const double unit = sign * 2.0 * std::numbers::pi / static_cast<double>(lengthOf(order));
    for (const Impulse& impulse : impulses) {
        for (std::size_t i = 0; i < count; ++i) {
            const double angle = unit * static_cast<double>(impulse.place * i % lengthOf(order));
            sums[2 * i] += impulse.re * std::cos(angle) - impulse.im * std::sin(angle);
            sums[2 * i + 1] += impulse.re * std::sin(angle) + impulse.im * std::cos(angle);
        }
    }
    return sums;
}

TEST_P(LongTransform, ImpulsesHaveTheirKnownSpectrumInAllBins) {
    for (const std::int32_t order : {20, 21}) {
        const std::size_t n = lengthOf(order);
        const std::vector<Impulse> impulses = {
            {3, 1.0, 0.0}, {n / 3, -0.5, 0.0}, {n - 2, 0.75, 0.0}};
        static std::vector<std::vector<double>> spectra(22);
        std::vector<double>& exact = spectra[static_cast<std::size_t>(order)];
        if (exact.empty()) {
            exact = sumOfTurns(impulses, order, -1.0, n / 2 + 1);
        }
        GuardedArray<float> samples(n);
        GuardedArray<float> spectrum(spectrumFloats(order));
        std::fill(samples.begin(), samples.end(), 0.0F);
        for (const Impulse& impulse : impulses) {
            samples.data()[impulse.place] = static_cast<float>(impulse.re);
        }
        GuardedPlan plan(order);
        plan.forward(samples.data(), spectrum.data());
        EXPECT_LE(distance(spectrum.data(), exact), relativeBound(order) * norm(exact)) << order;
        EXPECT_TRUE(samples.isIntact() && spectrum.isIntact()) << order;
        EXPECT_TRUE(sameFloat(spectrum.data()[1], 0.0F)) << order;
        EXPECT_TRUE(sameFloat(spectrum.data()[n + 1], 0.0F)) << order;
    }
}

TEST_P(LongTransform, SingleBinsTurnIntoTheirSinusoidsInAllSamples) {
    for (const std::int32_t order : {20, 21}) {
        const std::size_t n = lengthOf(order);
        // Each stands for a bin of the upper half as well.
        const std::vector<Impulse> bins = {
            {1, 0.5, 0.25}, {n / 7, -0.5, 1.0}, {n / 2 - 1, 0.0, 1.0}};
        static std::vector<std::vector<double>> signals(22);
        std::vector<double>& exact = signals[static_cast<std::size_t>(order)];
        if (exact.empty()) {
            const std::vector<double> turns = sumOfTurns(bins, order, 1.0, n);
            for (std::size_t i = 0; i < n; ++i) {
                exact.push_back(2.0 * turns[2 * i]);
            }
        }
        GuardedArray<float> spectrum(spectrumFloats(order));
        GuardedArray<float> samples(n);
        std::fill(spectrum.begin(), spectrum.end(), 0.0F);
        for (const Impulse& bin : bins) {
            spectrum.data()[2 * bin.place] = static_cast<float>(bin.re);
            spectrum.data()[2 * bin.place + 1] = static_cast<float>(bin.im);
        }
        // What does not count.
        spectrum.data()[1] = std::numeric_limits<float>::quiet_NaN();
        spectrum.data()[n + 1] = std::numeric_limits<float>::quiet_NaN();
        GuardedPlan plan(order);
        plan.inverse(spectrum.data(), samples.data());
        EXPECT_LE(distance(samples.data(), exact), relativeBound(order) * norm(exact)) << order;
        EXPECT_TRUE(samples.isIntact() && spectrum.isIntact()) << order;
    }
}

TEST_P(LongTransform, AlignmentAndWhatTheWorkBufferHoldsChangeNoBit) {
    constexpr std::int32_t order = transform::longFromOrder;
    std::int32_t spec = 0;
    std::int32_t init = 0;
    std::int32_t work = 0;
    ASSERT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &spec, &init, &work), 0);
    const std::vector<float> samples = noise(lengthOf(order), 6);
    std::vector<float> expected(spectrumFloats(order));
    std::vector<float> expectedBack(lengthOf(order));
    GuardedPlan aligned(order);
    aligned.forward(samples.data(), expected.data());
    aligned.inverse(expected.data(), expectedBack.data());
    for (const std::size_t offset : {std::size_t{3}, std::size_t{10}}) {
        GuardedPlan plan(order, 8, 4 * offset + 1);
        GuardedArray<float> source(lengthOf(order), offset);
        GuardedArray<float> spectrum(spectrumFloats(order), 16 - offset);
        GuardedArray<float> back(lengthOf(order), offset / 2);
        source.assign(samples);
        // All bits set are a NaN in every float.
        std::fill_n(plan.work(), work, std::uint8_t{255});
        plan.forward(source.data(), spectrum.data());
        std::fill_n(plan.work(), work, std::uint8_t{255});
        plan.inverse(spectrum.data(), back.data());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), spectrum.begin()));
        EXPECT_TRUE(std::equal(expectedBack.begin(), expectedBack.end(), back.begin()));
        EXPECT_TRUE(source.isIntact() && spectrum.isIntact() && back.isIntact());
        EXPECT_TRUE(std::equal(source.begin(), source.end(), samples.begin()));
    }
}

TEST_P(LongTransform, FlagsScaleBothDirections) {
    constexpr std::int32_t order = transform::longFromOrder;
    const auto n = static_cast<double>(lengthOf(order));
    const std::vector<float> samples = noise(lengthOf(order), 12);
    std::vector<float> unscaled(spectrumFloats(order));
    GuardedPlan(order).forward(samples.data(), unscaled.data());
    // Lengths and roots of even orders are powers of two: what is scaled by them is so exactly.
    for (const auto& [flag, factor] :
         {std::pair{1, 1.0 / n}, std::pair{2, 1.0}, std::pair{4, 1.0 / std::sqrt(n)}}) {
        GuardedPlan plan(order, flag);
        std::vector<float> spectrum(spectrumFloats(order));
        std::vector<float> back(lengthOf(order));
        plan.forward(samples.data(), spectrum.data());
        plan.inverse(spectrum.data(), back.data());
        for (std::size_t i = 0; i < spectrum.size(); ++i) {
            ASSERT_EQ(static_cast<double>(spectrum[i]), static_cast<double>(unscaled[i]) * factor)
                << "flag " << flag << ", float " << i;
        }
        const std::vector<double> exact(samples.begin(), samples.end());
        EXPECT_LE(distance(back, exact), 2.0 * relativeBound(order) * norm(exact))
            << "flag " << flag;
    }
}

}  // namespace
}  // namespace vorun
