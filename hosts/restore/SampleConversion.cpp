#include "restore/SampleConversion.h"

#include <cmath>

namespace vorun::restore {

std::int64_t silenceNonFinite(std::span<float> samples) {
    std::int64_t count = 0;
    for (float& sample : samples) {
        if (!std::isfinite(sample)) {
            sample = 0.0F;
            ++count;
        }
    }
    return count;
}

IntegerConversion::IntegerConversion(int bits) : bits_(bits) {}

void IntegerConversion::convert(std::span<const float> samples, std::vector<std::int32_t>& out) {
    const double scale = std::ldexp(1.0, bits_ - 1);
    const double upperEnd = std::ldexp(1.0, 32 - bits_);
    out.resize(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double value = std::nearbyint(double{samples[i]} * scale);
        if (std::isnan(value)) {
            value = 0.0;
        }
        if (value > scale - 1.0 || value < -scale) {
            value = value > 0.0 ? scale - 1.0 : -scale;
            ++clippedSamples_;
        }
        out[i] = static_cast<std::int32_t>(value * upperEnd);
    }
}

}  // namespace vorun::restore
