#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "DirectTransform.h"
#include "GuardedArray.h"
#include "GuardedPlan.h"
#include "TransformTools.h"
#include "UlpDistance.h"
#include "VectorVariant.h"
#include "foundation/vector/VectorPrimitives.h"
#include "foundation/vector/VectorVariants.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(RealTransform);

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr std::int32_t flags[] = {1, 2, 4, 8};

double forwardScale(std::int32_t order, std::int32_t flag) {
    const auto n = static_cast<double>(lengthOf(order));
    return flag == 1 ? 1.0 / n : (flag == 4 ? 1.0 / std::sqrt(n) : 1.0);
}

double inverseScale(std::int32_t order, std::int32_t flag) {
    const auto n = static_cast<double>(lengthOf(order));
    return flag == 2 ? 1.0 / n : (flag == 4 ? 1.0 / std::sqrt(n) : 1.0);
}

// The double-precision results of one input of each order, computed once for all variants.
struct Reference {
    std::vector<float> samples;
    std::vector<double> spectrum;
    std::vector<float> bins;
    std::vector<double> signal;
};

const Reference& reference(std::int32_t order) {
    static std::vector<Reference> references(14);
    Reference& r = references[static_cast<std::size_t>(order)];
    if (r.samples.empty()) {
        const DirectTransform direct(order);
        r.samples = noise(lengthOf(order), 7);
        for (std::size_t k = 0; k <= lengthOf(order) / 2; ++k) {
            const DirectTransform::Bin bin = direct.forwardBin(r.samples, k);
            r.spectrum.push_back(bin.re);
            r.spectrum.push_back(bin.im);
        }
        r.bins = noise(spectrumFloats(order), 8);
        for (std::size_t n = 0; n < lengthOf(order); ++n) {
            r.signal.push_back(direct.inverseSample(r.bins, n));
        }
    }
    return r;
}

TEST_P(RealTransform, ForwardMatchesTheDirectTransformInAllOrdersAndFlags) {
    for (std::int32_t order = 0; order <= 13; ++order) {
        const Reference& r = reference(order);
        for (const std::int32_t flag : flags) {
            GuardedPlan plan(order, flag);
            GuardedArray<float> source(lengthOf(order));
            GuardedArray<float> target(spectrumFloats(order));
            source.assign(r.samples);
            plan.forward(source.data(), target.data());
            const auto exact = scaled(r.spectrum, forwardScale(order, flag));
            EXPECT_LE(distance(target, exact), relativeBound(order) * norm(exact))
                << "order " << order << ", flag " << flag;
            EXPECT_TRUE(target.isIntact());
            EXPECT_TRUE(std::equal(source.begin(), source.end(), r.samples.begin()));
        }
    }
}

TEST_P(RealTransform, InverseMatchesTheDirectTransformInAllOrdersAndFlags) {
    for (std::int32_t order = 0; order <= 13; ++order) {
        const Reference& r = reference(order);
        for (const std::int32_t flag : flags) {
            GuardedPlan plan(order, flag);
            GuardedArray<float> source(spectrumFloats(order));
            GuardedArray<float> target(lengthOf(order));
            source.assign(r.bins);
            plan.inverse(source.data(), target.data());
            const auto exact = scaled(r.signal, inverseScale(order, flag));
            EXPECT_LE(distance(target, exact), relativeBound(order) * norm(exact))
                << "order " << order << ", flag " << flag;
            EXPECT_TRUE(target.isIntact());
            EXPECT_TRUE(std::equal(source.begin(), source.end(), r.bins.begin()));
        }
    }
}

TEST_P(RealTransform, RoundTripReturnsTheInputTimesItsLengthOrItselfIfOneSideDivides) {
    for (std::int32_t order = 0; order <= 15; ++order) {
        const std::vector<float> samples = noise(lengthOf(order), 3);
        for (const std::int32_t flag : flags) {
            GuardedPlan plan(order, flag);
            std::vector<float> spectrum(spectrumFloats(order));
            std::vector<float> back(lengthOf(order));
            plan.forward(samples.data(), spectrum.data());
            plan.inverse(spectrum.data(), back.data());
            const double factor = flag == 8 ? std::ldexp(1.0, order) : 1.0;
            const auto exact = scaled(std::vector<double>(samples.begin(), samples.end()), factor);
            EXPECT_LE(distance(back, exact), 2.0 * relativeBound(order) * norm(exact))
                << "order " << order << ", flag " << flag;
        }
    }
}

TEST_P(RealTransform, ImaginaryPartsOfTheFirstAndLastBinAreZero) {
    for (std::int32_t order = 0; order <= 16; ++order) {
        GuardedPlan plan(order);
        const std::vector<float> samples = noise(lengthOf(order), 4);
        std::vector<float> spectrum(spectrumFloats(order), nan);
        plan.forward(samples.data(), spectrum.data());
        EXPECT_TRUE(sameFloat(spectrum[1], 0.0F)) << "order " << order;
        EXPECT_TRUE(sameFloat(spectrum[spectrum.size() - 1], 0.0F)) << "order " << order;
    }
}

TEST_P(RealTransform, InverseDoesNotReadTheImaginaryPartsOfTheFirstAndLastBin) {
    for (std::int32_t order = 0; order <= 12; ++order) {
        GuardedPlan plan(order);
        std::vector<float> bins = noise(spectrumFloats(order), 5);
        std::vector<float> expected(lengthOf(order));
        std::vector<float> got(lengthOf(order));
        plan.inverse(bins.data(), expected.data());
        bins[1] = nan;
        bins[bins.size() - 1] = nan;
        plan.inverse(bins.data(), got.data());
        EXPECT_EQ(got, expected) << "order " << order;
    }
}

TEST_P(RealTransform, ImpulseConstantAndAlternationHaveTheirKnownSpectra) {
    for (std::int32_t order = 1; order <= 12; ++order) {
        const std::size_t n = lengthOf(order);
        GuardedPlan plan(order);
        std::vector<float> samples(n, 0.0F);
        std::vector<float> spectrum(spectrumFloats(order));
        samples[0] = 1.0F;
        plan.forward(samples.data(), spectrum.data());
        for (std::size_t i = 0; i < spectrum.size(); ++i) {
            EXPECT_EQ(spectrum[i], i % 2 == 0 ? 1.0F : 0.0F);
        }
        std::fill(samples.begin(), samples.end(), 1.0F);
        plan.forward(samples.data(), spectrum.data());
        EXPECT_EQ(spectrum[0], static_cast<float>(n));
        EXPECT_TRUE(std::all_of(spectrum.begin() + 1, spectrum.end(),
                                [](float value) { return value == 0.0F; }));
        for (std::size_t i = 1; i < n; i += 2) {
            samples[i] = -1.0F;
        }
        plan.forward(samples.data(), spectrum.data());
        EXPECT_EQ(spectrum[n], static_cast<float>(n));
        EXPECT_TRUE(std::all_of(spectrum.begin(), spectrum.end() - 2,
                                [](float value) { return value == 0.0F; }));
    }
}

TEST_P(RealTransform, SineTurnsIntoANegativeImaginaryBin) {
    // Order 2: the samples of one period of a sine. The forward transform turns clockwise.
    GuardedPlan plan(2);
    const float samples[] = {0.0F, 1.0F, 0.0F, -1.0F};
    float spectrum[6] = {};
    plan.forward(samples, spectrum);
    EXPECT_EQ(spectrum[2], 0.0F);
    EXPECT_EQ(spectrum[3], -2.0F);
}

TEST_P(RealTransform, ShortestLengthsAreTheNumberItselfAndSumAndDifference) {
    GuardedPlan one(0);
    GuardedArray<float> bin(2);
    const float sample = 3.0F;
    one.forward(&sample, bin.data());
    EXPECT_EQ(bin[0], 3.0F);
    EXPECT_TRUE(sameFloat(bin[1], 0.0F));
    EXPECT_TRUE(bin.isIntact()) << "one bin only";
    float back = 0.0F;
    one.inverse(bin.data(), &back);
    EXPECT_EQ(back, 3.0F);

    GuardedPlan two(1);
    const float samples[] = {3.0F, 1.0F};
    float bins[4] = {};
    two.forward(samples, bins);
    EXPECT_EQ(bins[0], 4.0F);
    EXPECT_EQ(bins[2], 2.0F);
}

TEST_P(RealTransform, AnyAlignmentOfArraysPlanAndWorkGivesTheSameBits) {
    for (const std::int32_t order : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14}) {
        const std::vector<float> samples = noise(lengthOf(order), 6);
        std::vector<float> expected(spectrumFloats(order));
        std::vector<float> expectedBack(lengthOf(order));
        GuardedPlan aligned(order);
        aligned.forward(samples.data(), expected.data());
        aligned.inverse(expected.data(), expectedBack.data());
        for (std::size_t offset = 1; offset < 16; ++offset) {
            // The plan's memory consists of bytes and may lie at odd ones.
            GuardedPlan plan(order, 8, 4 * offset + offset % 4);
            GuardedArray<float> source(lengthOf(order), offset);
            GuardedArray<float> spectrum(spectrumFloats(order), 16 - offset);
            GuardedArray<float> back(lengthOf(order), offset / 2);
            source.assign(samples);
            plan.forward(source.data(), spectrum.data());
            plan.inverse(spectrum.data(), back.data());
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), spectrum.begin()));
            EXPECT_TRUE(std::equal(expectedBack.begin(), expectedBack.end(), back.begin()));
            EXPECT_TRUE(source.isIntact() && spectrum.isIntact() && back.isIntact());
        }
    }
}

TEST_P(RealTransform, PlanOutlivesAChangeOfTheDispatchIndex) {
    for (const std::int32_t order : {4, 5, 7, 8, 9, 12, 13}) {
        const Reference& r = reference(order);
        GuardedPlan plan(order);
        std::vector<float> spectrum(spectrumFloats(order));
        std::vector<float> back(lengthOf(order));
        for (int index = 0; dispatch::forceIndex(index); ++index) {
            plan.forward(r.samples.data(), spectrum.data());
            plan.inverse(r.bins.data(), back.data());
            EXPECT_LE(distance(spectrum, r.spectrum), relativeBound(order) * norm(r.spectrum))
                << "order " << order << ", index " << index;
            EXPECT_LE(distance(back, r.signal), relativeBound(order) * norm(r.signal))
                << "order " << order << ", index " << index;
        }
        dispatch::forceIndex(GetParam());
    }
}

TEST_P(RealTransform, WhatTheWorkBufferHoldsChangesNoResult) {
    for (std::int32_t order = 2; order <= 15; ++order) {
        std::int32_t spec = 0;
        std::int32_t init = 0;
        std::int32_t work = 0;
        ASSERT_EQ(ippsFFTGetSize_R_32f(order, 8, 1, &spec, &init, &work), 0);
        const std::vector<float> samples = noise(lengthOf(order), 10);
        std::vector<std::vector<float>> spectra;
        std::vector<std::vector<float>> signals;
        // All bits set are a NaN in every float.
        for (const std::uint8_t content : {std::uint8_t{0}, std::uint8_t{255}}) {
            GuardedPlan plan(order);
            std::vector<float> spectrum(spectrumFloats(order));
            std::vector<float> back(lengthOf(order));
            std::fill_n(plan.work(), work, content);
            plan.forward(samples.data(), spectrum.data());
            std::fill_n(plan.work(), work, content);
            plan.inverse(spectrum.data(), back.data());
            spectra.push_back(spectrum);
            signals.push_back(back);
        }
        EXPECT_EQ(spectra[0], spectra[1]) << "order " << order;
        EXPECT_EQ(signals[0], signals[1]) << "order " << order;
    }
}

// The plain form takes over where no variant has one of its own, and is what they are held against.
TEST(PlainRealTransform, MatchesTheDirectTransformInAllOrders) {
    for (std::int32_t order = 0; order <= 13; ++order) {
        const Reference& r = reference(order);
        GuardedPlan plan(order);
        std::vector<float> spectrum(spectrumFloats(order));
        std::vector<float> back(lengthOf(order));
        EXPECT_EQ(plain::ippsFFTFwd_RToCCS_32f(r.samples.data(), spectrum.data(), plan.get(),
                                               plan.work()),
                  0);
        EXPECT_EQ(plain::ippsFFTInv_CCSToR_32f(r.bins.data(), back.data(), plan.get(), plan.work()),
                  0);
        EXPECT_LE(distance(spectrum, r.spectrum), relativeBound(order) * norm(r.spectrum))
            << "order " << order;
        EXPECT_LE(distance(back, r.signal), relativeBound(order) * norm(r.signal))
            << "order " << order;
    }
}

TEST(DirectTransform, HalvingGivesTheSpectrumOfTheDefinition) {
    for (std::int32_t order = 0; order <= 13; ++order) {
        const Reference& r = reference(order);
        const auto halved = DirectTransform(order).halvedSpectrum(r.samples);
        EXPECT_LE(distance(halved, r.spectrum), 1e-13 * norm(r.spectrum)) << "order " << order;
    }
}

}  // namespace
}  // namespace vorun
