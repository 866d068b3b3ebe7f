#include "SweepFit.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace vorun::benchmarks {

namespace {

constexpr double kBottomHertz = 20.0;
constexpr double kLevel = 0.5;
constexpr double kLeftOut = 0.02;
constexpr double kLongestDelay = 0.03;  // Seconds.

/** Sums of the products of an output with a sweep at some delay, and with its slope. */
struct Products {
    double sweepSweep = 0.0;
    double sweepSlope = 0.0;
    double slopeSlope = 0.0;
    double sweepOutput = 0.0;
    double slopeOutput = 0.0;
    double outputOutput = 0.0;

    double gain() const { return sweepOutput / sweepSweep; }
    double noise() const { return outputOutput - gain() * sweepOutput; }

    /** Least squares of gain * sweep(t - delay - step), to first order in the step. */
    double delayStep() const {
        const double determinant = sweepSweep * slopeSlope - sweepSlope * sweepSlope;
        const double a = (slopeSlope * sweepOutput - sweepSlope * slopeOutput) / determinant;
        const double b = (sweepSweep * slopeOutput - sweepSlope * sweepOutput) / determinant;
        return -b / a;
    }
};

Products productsOf(const Sweep& sweep, const std::vector<float>& output, int rate, double delay,
                    std::size_t stride) {
    Products sums;
    const auto first = static_cast<std::size_t>((kLeftOut + kLongestDelay) * rate);
    for (std::size_t k = first; k < output.size(); k += stride) {
        const double time = static_cast<double>(k) / rate - delay;
        if (time > 1.0 - kLeftOut) {
            break;
        }
        const double want = sweep.at(time);
        const double slope = sweep.slopeAt(time);
        const double got = static_cast<double>(output[k]);
        sums.sweepSweep += want * want;
        sums.sweepSlope += want * slope;
        sums.slopeSlope += slope * slope;
        sums.sweepOutput += want * got;
        sums.slopeOutput += slope * got;
        sums.outputOutput += got * got;
    }
    return sums;
}

// The best delay on a grid of a quarter of a sample.
double coarseDelay(const Sweep& sweep, const std::vector<float>& output, int rate) {
    constexpr std::size_t kStride = 7;
    double best = 0.0;
    double least = std::numeric_limits<double>::infinity();
    for (double delay = -0.001; delay < kLongestDelay; delay += 0.25 / rate) {
        const double noise = productsOf(sweep, output, rate, delay, kStride).noise();
        if (noise < least) {
            least = noise;
            best = delay;
        }
    }
    return best;
}

}  // namespace

double Sweep::phaseAt(double seconds) const {
    const double rise = 0.5 * (topHertz_ - kBottomHertz) * seconds * seconds;
    return 2.0 * std::numbers::pi * (kBottomHertz * seconds + rise);
}

double Sweep::hertzAt(double seconds) const {
    return kBottomHertz + (topHertz_ - kBottomHertz) * seconds;
}

double Sweep::at(double seconds) const {
    return kLevel * std::sin(phaseAt(seconds));
}

double Sweep::slopeAt(double seconds) const {
    return kLevel * 2.0 * std::numbers::pi * hertzAt(seconds) * std::cos(phaseAt(seconds));
}

std::vector<float> Sweep::samples(int rate) const {
    const auto sweeping = static_cast<std::size_t>(rate);
    std::vector<float> samples(sweeping + sweeping / 5, 0.0F);
    for (std::size_t i = 0; i < sweeping; ++i) {
        samples[i] = static_cast<float>(at(static_cast<double>(i) / rate));
    }
    return samples;
}

double Sweep::signalToNoise(const std::vector<float>& output, int rate) const {
    constexpr int kRefinements = 8;
    double delay = coarseDelay(*this, output, rate);
    for (int i = 0; i < kRefinements; ++i) {
        delay += productsOf(*this, output, rate, delay, 1).delayStep();
    }
    // Summed again from the differences: as a difference of sums a small rest would be lost.
    const double gain = productsOf(*this, output, rate, delay, 1).gain();
    const auto first = static_cast<std::size_t>((kLeftOut + kLongestDelay) * rate);
    double signal = 0.0;
    double noise = 0.0;
    for (std::size_t k = first; k < output.size(); ++k) {
        const double time = static_cast<double>(k) / rate - delay;
        if (time > 1.0 - kLeftOut) {
            break;
        }
        const double want = gain * at(time);
        const double rest = static_cast<double>(output[k]) - want;
        signal += want * want;
        noise += rest * rest;
    }
    return 10.0 * std::log10(signal / noise);
}

}  // namespace vorun::benchmarks
