#include "restoration/support/Spectra.h"

#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <thread>

namespace vorun::test {
namespace {

std::complex<double> widened(Ipp32fc bin) {
    return {static_cast<double>(bin.re), static_cast<double>(bin.im)};
}

template <class Combine>
Grid combined(Grid a, const Grid& b, Combine combine) {
    for (std::size_t c = 0; c < a.size(); ++c) {
        for (std::size_t i = 0; i < a[c].size(); ++i) {
            a[c][i] = combine(a[c][i], b.at(c).at(i));
        }
    }
    return a;
}

template <class Change>
Grid changed(Grid a, Change change) {
    return combined(a, a, [&](auto x, auto) { return change(x); });
}

}  // namespace

ComplexSignal32 toSpectrum(const std::vector<std::vector<Ipp32fc>>& channels) {
    ComplexSignal32 signal(static_cast<std::int32_t>(channels.size()),
                           static_cast<std::int32_t>(channels.front().size()));
    for (std::size_t c = 0; c < channels.size(); ++c) {
        Ipp32fc* row = signal.channelData(static_cast<std::int32_t>(c));
        for (std::size_t i = 0; i < channels[c].size(); ++i) {
            row[i] = channels[c][i];
        }
    }
    return signal;
}

Grid toGrid(const ComplexSignal32& signal) {
    Grid grid;
    for (std::int32_t c = 0; c < signal.channels(); ++c) {
        Row row;
        for (std::int32_t i = 0; i < signal.length(); ++i) {
            row.push_back(widened(signal.readData(c)[i]));
        }
        grid.push_back(row);
    }
    return grid;
}

ComplexSignal32 randomSpectrum(std::int32_t channels, std::int32_t bins, std::uint32_t seed,
                               double low, double high) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> magnitude(low, high);
    std::uniform_real_distribution<double> phase(-std::numbers::pi, std::numbers::pi);
    ComplexSignal32 signal(channels, bins);
    for (std::int32_t c = 0; c < channels; ++c) {
        for (std::int32_t i = 0; i < bins; ++i) {
            const double m = magnitude(generator);
            const double p = phase(generator);
            signal.channelData(c)[i] = {static_cast<float>(m * std::cos(p)),
                                        static_cast<float>(m * std::sin(p))};
        }
    }
    return signal;
}

ComplexSignal32 constantSpectrum(std::int32_t channels, std::int32_t bins, Ipp32fc value) {
    return toSpectrum(std::vector<std::vector<Ipp32fc>>(
        static_cast<std::size_t>(channels),
        std::vector<Ipp32fc>(static_cast<std::size_t>(bins), value)));
}

Signal32 randomSamples(std::int32_t channels, std::int32_t length, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> sample(-0.5f, 0.5f);
    Signal32 signal(channels, length);
    for (std::int32_t c = 0; c < channels; ++c) {
        for (std::int32_t i = 0; i < length; ++i) {
            signal.channelData(c)[i] = sample(generator);
        }
    }
    return signal;
}

void expectNear(const ComplexSignal32& actual, const Grid& expected, double tolerance) {
    ASSERT_EQ(actual.channels(), static_cast<std::int32_t>(expected.size()));
    ASSERT_EQ(actual.length(), static_cast<std::int32_t>(expected.front().size()));
    const Grid grid = toGrid(actual);
    for (std::size_t c = 0; c < expected.size(); ++c) {
        for (std::size_t i = 0; i < expected[c].size(); ++i) {
            EXPECT_NEAR(grid[c][i].real(), expected[c][i].real(), tolerance)
                << "real part, channel " << c << ", bin " << i;
            EXPECT_NEAR(grid[c][i].imag(), expected[c][i].imag(), tolerance)
                << "imaginary part, channel " << c << ", bin " << i;
        }
    }
}

void expectSame(const ComplexSignal32& actual, const ComplexSignal32& expected) {
    ASSERT_EQ(actual.channels(), expected.channels());
    ASSERT_EQ(actual.length(), expected.length());
    for (std::int32_t c = 0; c < expected.channels(); ++c) {
        for (std::int32_t i = 0; i < expected.length(); ++i) {
            EXPECT_EQ(actual.readData(c)[i].re, expected.readData(c)[i].re)
                << "channel " << c << ", bin " << i;
            EXPECT_EQ(actual.readData(c)[i].im, expected.readData(c)[i].im)
                << "channel " << c << ", bin " << i;
        }
    }
}

void expectSame(const Signal32& actual, const Signal32& expected) {
    ASSERT_EQ(actual.channels(), expected.channels());
    ASSERT_EQ(actual.length(), expected.length());
    for (std::int32_t c = 0; c < expected.channels(); ++c) {
        for (std::int32_t i = 0; i < expected.length(); ++i) {
            EXPECT_EQ(actual.readData(c)[i], expected.readData(c)[i])
                << "channel " << c << ", sample " << i;
        }
    }
}

long settledUseCount(const ComplexSignal32& frame, long expected) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (frame.useCount() != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    return frame.useCount();
}

Grid product(const Grid& a, const Grid& b) {
    return combined(a, b, [](auto x, auto y) { return x * y; });
}

Grid sum(const Grid& a, const Grid& b) {
    return combined(a, b, [](auto x, auto y) { return x + y; });
}

Grid scaled(const Grid& a, double factor) {
    return changed(a, [&](auto x) { return x * factor; });
}

Grid complement(const Grid& a) {
    return changed(a, [](auto x) { return 1.0 - x; });
}

}  // namespace vorun::test
