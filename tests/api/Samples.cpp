#include "api/Samples.h"

#include <bit>
#include <cmath>
#include <cstddef>

namespace vorun::apitest {
namespace {

template <class Sample>
void appendChannels(std::vector<std::vector<Sample>>& target,
                    const std::vector<std::vector<Sample>>& more) {
    if (target.empty()) {
        target.resize(more.size());
    }
    for (std::size_t c = 0; c < more.size(); ++c) {
        target.at(c).insert(target.at(c).end(), more[c].begin(), more[c].end());
    }
}

template <class Sample>
testing::AssertionResult sameShape(const Planar& actual,
                                   const std::vector<std::vector<Sample>>& expected) {
    if (actual.size() != expected.size()) {
        return testing::AssertionFailure()
               << actual.size() << " channels in place of " << expected.size();
    }
    for (std::size_t c = 0; c < actual.size(); ++c) {
        if (actual[c].size() != expected[c].size()) {
            return testing::AssertionFailure() << "channel " << c << " has " << actual[c].size()
                                               << " samples in place of " << expected[c].size();
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace

Planar whiteNoise(int channels, int samples, std::uint32_t seed, float level) {
    std::uint32_t state = seed * 2654435761U + 12345U;
    Planar audio(channels, std::vector<float>(samples));
    for (auto& channel : audio) {
        for (float& sample : channel) {
            state = state * 1664525U + 1013904223U;
            const auto centred = static_cast<float>(state >> 8U) / 8388608.0F - 1.0F;
            sample = level * centred;
        }
    }
    return audio;
}

Planar silence(int channels, int samples) {
    return Planar(channels, std::vector<float>(samples, 0.0F));
}

int lengthOf(const Planar& audio) {
    return audio.empty() ? 0 : static_cast<int>(audio.front().size());
}

void append(Planar& target, const Planar& more) {
    appendChannels(target, more);
}

void append(PlanarDouble& target, const PlanarDouble& more) {
    appendChannels(target, more);
}

PlanarDouble widened(const Planar& audio) {
    PlanarDouble wide;
    for (const auto& channel : audio) {
        wide.emplace_back(channel.begin(), channel.end());
    }
    return wide;
}

Planar head(const Planar& audio, int samples) {
    Planar result = audio;
    for (auto& channel : result) {
        channel.resize(samples);
    }
    return result;
}

testing::AssertionResult sameBits(const Planar& actual, const Planar& expected) {
    if (auto shape = sameShape(actual, expected); !shape) {
        return shape;
    }
    for (std::size_t c = 0; c < actual.size(); ++c) {
        for (std::size_t i = 0; i < actual[c].size(); ++i) {
            if (std::bit_cast<std::uint32_t>(actual[c][i]) !=
                std::bit_cast<std::uint32_t>(expected[c][i])) {
                return testing::AssertionFailure()
                       << "channel " << c << ", sample " << i << ": " << actual[c][i]
                       << " in place of " << expected[c][i];
            }
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult isNear(const Planar& actual, const PlanarDouble& expected,
                                double tolerance) {
    if (auto shape = sameShape(actual, expected); !shape) {
        return shape;
    }
    double worst = 0.0;
    for (std::size_t c = 0; c < actual.size(); ++c) {
        for (std::size_t i = 0; i < actual[c].size(); ++i) {
            const double error = std::abs(static_cast<double>(actual[c][i]) - expected[c][i]);
            worst = std::max(worst, error);
            if (!(error <= tolerance)) {
                return testing::AssertionFailure()
                       << "channel " << c << ", sample " << i << ": " << actual[c][i]
                       << " in place of " << expected[c][i] << ", tolerance " << tolerance;
            }
        }
    }
    return testing::AssertionSuccess() << "worst error " << worst;
}

}  // namespace vorun::apitest
