#include <complex>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "audio/ComplexSignal32.h"

namespace vorun {
namespace {

using Bins = std::vector<std::complex<float>>;

ComplexSignal32 toSpectrum(const std::vector<Bins>& channels) {
    ComplexSignal32 spectrum(static_cast<int>(channels.size()),
                             static_cast<int>(channels.front().size()));
    for (std::size_t c = 0; c < channels.size(); ++c) {
        Ipp32fc* row = spectrum.channelData(static_cast<int>(c));
        for (std::size_t k = 0; k < channels[c].size(); ++k) {
            row[k] = {channels[c][k].real(), channels[c][k].imag()};
        }
    }
    return spectrum;
}

Bins binsOf(const ComplexSignal32& spectrum, int channel) {
    Bins bins;
    for (int k = 0; k < spectrum.length(); ++k) {
        bins.emplace_back(spectrum.readData(channel)[k].re, spectrum.readData(channel)[k].im);
    }
    return bins;
}

// Small whole numbers, so that every product and sum is exact.
const std::vector<Bins> kLeft = {{{1, 2}, {3, -4}}, {{0, 1}, {-2, 0}}};
const std::vector<Bins> kRight = {{{5, -1}, {2, 2}}, {{0, 1}, {7, 3}}};

TEST(ComplexSignal32, ScaledMultipliesEveryBin) {
    const ComplexSignal32 source = toSpectrum(kLeft);
    const ComplexSignal32 product = source.scaled({0, 2});
    EXPECT_EQ(binsOf(product, 0), (Bins{{-4, 2}, {8, 6}}));
    EXPECT_EQ(binsOf(product, 1), (Bins{{-2, 0}, {0, -4}}));
    EXPECT_EQ(binsOf(source, 0), kLeft[0]);
}

TEST(ComplexSignal32, MinusSubtractsTheArgument) {
    const ComplexSignal32 difference = toSpectrum(kLeft).minus(toSpectrum(kRight));
    EXPECT_EQ(binsOf(difference, 0), (Bins{{-4, 3}, {1, -6}}));
    EXPECT_EQ(binsOf(difference, 1), (Bins{{0, 0}, {-9, -3}}));
}

TEST(ComplexSignal32, MultiplyByIsTheComplexProduct) {
    ComplexSignal32 spectrum = toSpectrum(kLeft);
    spectrum.multiplyBy(toSpectrum(kRight));
    EXPECT_EQ(binsOf(spectrum, 0), (Bins{{7, 9}, {14, -2}}));
    EXPECT_EQ(binsOf(spectrum, 1), (Bins{{-1, 0}, {-14, -6}}));
}

TEST(ComplexSignal32, ScaleByWorksInPlace) {
    ComplexSignal32 spectrum = toSpectrum(kLeft);
    spectrum.scaleBy({2, 0});
    EXPECT_EQ(binsOf(spectrum, 0), (Bins{{2, 4}, {6, -8}}));
    EXPECT_EQ(binsOf(spectrum, 1), (Bins{{0, 2}, {-4, 0}}));
}

TEST(ComplexSignal32, AddWorksInPlace) {
    ComplexSignal32 spectrum = toSpectrum(kLeft);
    spectrum.add(toSpectrum(kRight));
    EXPECT_EQ(binsOf(spectrum, 0), (Bins{{6, 1}, {5, -2}}));
    EXPECT_EQ(binsOf(spectrum, 1), (Bins{{0, 2}, {5, 3}}));
}

TEST(ComplexSignal32, InPlaceOperationsDetachASharedBuffer) {
    const ComplexSignal32 first = toSpectrum(kLeft);
    const ComplexSignal32 other = toSpectrum(kRight);
    ComplexSignal32 sum(first);
    ComplexSignal32 product(first);
    ComplexSignal32 scaled(first);
    sum.add(other);
    product.multiplyBy(other);
    scaled.scaleBy({3, 0});
    EXPECT_EQ(binsOf(first, 0), kLeft[0]);
    EXPECT_EQ(binsOf(first, 1), kLeft[1]);
    EXPECT_EQ(first.useCount(), 1);
}

TEST(ComplexSignal32, AddingASignalToItselfDoublesIt) {
    ComplexSignal32 spectrum = toSpectrum(kLeft);
    spectrum.add(spectrum);
    EXPECT_EQ(binsOf(spectrum, 0), (Bins{{2, 4}, {6, -8}}));
}

TEST(ComplexSignal32, ASmallerArgumentIsRefused) {
    ComplexSignal32 spectrum = toSpectrum(kLeft);
    const ComplexSignal32 narrow(1, 2);
    const ComplexSignal32 shorter(2, 1);
    for (const ComplexSignal32& other : {narrow, shorter, ComplexSignal32()}) {
        EXPECT_THROW(spectrum.minus(other), std::runtime_error);
        EXPECT_THROW(spectrum.multiplyBy(other), std::runtime_error);
        EXPECT_THROW(spectrum.add(other), std::runtime_error);
    }
    EXPECT_EQ(binsOf(spectrum, 0), kLeft[0]);
}

TEST(ComplexSignal32, OperationsOnAnEmptyHandleDoNothing) {
    ComplexSignal32 empty;
    empty.add(ComplexSignal32());
    empty.multiplyBy(ComplexSignal32());
    empty.scaleBy({1, 1});
    EXPECT_FALSE(empty.scaled({1, 1}).hasBuffer());
    EXPECT_FALSE(empty.minus(ComplexSignal32()).hasBuffer());
}

TEST(ComplexSignal32, OperationsOnASpectrumWithoutBinsKeepItsShape) {
    ComplexSignal32 none(2, 0);
    none.add(ComplexSignal32());
    none.scaleBy({1, 1});
    EXPECT_EQ(none.scaled({1, 1}).channels(), 2);
    EXPECT_EQ(none.minus(none).length(), 0);
}

}  // namespace
}  // namespace vorun
