#include "NaiveResampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace vorun::test {

namespace {

constexpr double kSingleRounding = 0x1p-24;
// Some thousand additions to a position of some thousand samples, and what a filter of samples up
// to 1 can change along that distance.
constexpr double kPositionRounding = 2e-8;

}  // namespace

int NaiveResampler::taps() const {
    return static_cast<int>(std::rint(lengthMs * inputRate / 1000.0));
}

double NaiveResampler::cutoff() const {
    const auto narrowing = static_cast<float>(std::min(1.0, outputRate / inputRate));
    return static_cast<double>(static_cast<float>(bandwidthPercent) / 100.0F * narrowing);
}

double NaiveResampler::filterAt(double x) const {
    const double edge = cutoff();
    const double angle = std::numbers::pi * edge * x;
    const double sigma = static_cast<double>(0.1F * static_cast<float>(taps()));
    const double window = std::exp(-x * x / (2.0 * sigma * sigma));
    return angle == 0.0 ? edge : window * edge * std::sin(angle) / angle;
}

double NaiveResampler::filtered(const std::vector<float>& input, double position) const {
    const auto first = static_cast<int>(std::floor(position)) - taps() / 2;
    double sum = 0.0;
    for (int m = first; m < first + taps(); ++m) {
        if (m >= 0 && m < static_cast<int>(input.size())) {
            sum += static_cast<double>(input[static_cast<std::size_t>(m)]) * filterAt(m - position);
        }
    }
    return sum;
}

NaiveResampler::Value NaiveResampler::output(const std::vector<float>& input, int k) const {
    // In extended precision, so that the exact position is rounded once.
    const long double grid = static_cast<long double>(k) * phases;
    const auto step = static_cast<double>(grid * static_cast<long double>(inputRate) /
                                          static_cast<long double>(outputRate));
    const double below = std::floor(step);
    const double at = filtered(input, below / phases);
    Value result{at, kPositionRounding};
    if (interpolate) {
        const double next = filtered(input, (below + 1.0) / phases);
        result.value += (next - at) * (step - below);
        result.bound += kSingleRounding * std::abs(next - at);
    }
    result.bound += kSingleRounding * std::abs(result.value);
    return result;
}

}  // namespace vorun::test
