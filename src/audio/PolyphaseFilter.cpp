#include "audio/PolyphaseFilter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

namespace {

constexpr double pi = 3.141592653589793;

// In double precision, ties to even.
std::int32_t tapCount(const PolyphaseDesign& design) {
    const double samples =
        std::nearbyint(static_cast<double>(design.lengthMs) * design.inputRate / 1000.0);
    if (!(std::abs(samples) <= std::numeric_limits<std::int32_t>::max())) {
        throw std::runtime_error("resampling filter has no length in samples");
    }
    return static_cast<std::int32_t>(samples);
}

// The passband's edge over the input's Nyquist frequency. It narrows where the output's is lower.
float cutoffOf(const PolyphaseDesign& design) {
    const double narrowing = std::min(design.outputRate / design.inputRate, 1.0);
    return design.bandwidthPercent / 100.0f * static_cast<float>(narrowing);
}

// The continuous filter, `x` input samples from its centre.
double windowedSinc(double x, double cutoff, double sigma) {
    const double angle = cutoff * pi * x;
    const double sinc = angle == 0.0 ? 1.0 : std::sin(angle) / angle;
    const double deviations = x / sigma;
    return std::exp(-0.5 * (deviations * deviations)) * cutoff * sinc;
}

}  // namespace

PolyphaseFilter::PolyphaseFilter(const PolyphaseDesign& design) : phases_(design.phases) {
    // Rows are chosen by a mask.
    if (phases_ < 1 || !std::has_single_bit(static_cast<std::uint32_t>(phases_))) {
        throw std::runtime_error("resampling filter needs a power of two of phases");
    }
    phaseShift_ = std::countr_zero(static_cast<std::uint32_t>(phases_));
    phaseMask_ = phases_ - 1;
    taps_ = tapCount(design);
    rows_ = Signal64(phases_, taps_);
    const float cutoff = cutoffOf(design);
    if (taps_ > 0) {
        fillRows(cutoff);
    }
    // The rows lie 1 / phases apart, so that the first alone meets the zeros of an unnarrowed sinc.
    exactPhase_ = cutoff == 1.0f ? 0 : -1;
}

void PolyphaseFilter::fillRows(float cutoff) {
    const float sigma = static_cast<float>(taps_) * 0.1f;
    const std::int32_t centre = taps_ / 2;
    for (std::int32_t phase = 0; phase < phases_; ++phase) {
        const double offset = static_cast<double>(phase) / phases_;
        double* row = rows_.channelData(phase);
        for (std::int32_t k = 0; k < taps_; ++k) {
            row[k] = windowedSinc((k - centre) - offset, cutoff, sigma);
        }
    }
}

double PolyphaseFilter::tapAt(std::int64_t index, const double* samples, std::int64_t count) const {
    const std::int64_t first = index >> phaseShift_;
    const auto phase = static_cast<std::int32_t>(index & phaseMask_);
    if (phase == exactPhase_) {
        const std::int64_t centre = first + taps_ / 2;
        return centre >= 0 && centre < count ? samples[centre] : 0.0;
    }
    const auto held = static_cast<std::int32_t>(std::min<std::int64_t>(taps_, count - first));
    double sum = 0.0;
    checkedCall(
        held, [&] { return ippsDotProd_64f(rows_.readData(phase), samples + first, held, &sum); });
    return sum;
}

double PolyphaseFilter::between(std::int64_t index, double share, const double* samples,
                                std::int64_t count) const {
    const auto phase = static_cast<std::int32_t>(index & phaseMask_);
    const auto nextPhase = static_cast<std::int32_t>((index + 1) & phaseMask_);
    const std::int64_t first = index >> phaseShift_;
    const std::int64_t nextFirst = (index + 1) >> phaseShift_;
    const bool isExact = phase == exactPhase_ || nextPhase == exactPhase_;
    double at[2];
    if (isExact || taps_ < 1 || nextFirst + taps_ > count) {
        at[0] = tapAt(index, samples, count);
        at[1] = tapAt(index + 1, samples, count);
    } else {
        checkedCall(taps_, [&] {
            return dotProductPair_64f(rows_.readData(phase), samples + first,
                                      rows_.readData(nextPhase), samples + nextFirst, taps_, at);
        });
    }
    return (at[1] - at[0]) * share + at[0];
}

}  // namespace vorun
