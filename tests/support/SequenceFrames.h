#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorun::sequence {

/** A real number, and how far single-precision arithmetic may end up from it. */
struct Estimate {
    double value = 0.0;
    double error = 0.0;
};

/** Half the distance from 1 to the next float: the largest relative error of one rounding. */
inline constexpr double roundingUnit = 1.0 / 16777216.0;
/** More than a result below the normal floats can lose, flushed to zero or not. */
inline constexpr double underflow = 1e-37;

/** `estimate` after the relative error of `roundings` operations on it. */
inline Estimate rounded(Estimate estimate, double roundings) {
    const double largest = std::fabs(estimate.value) + estimate.error;
    estimate.error += roundings * roundingUnit * largest + underflow;
    return estimate;
}

/**
 * A sum of products. In single precision, with each product and each sum rounded at most once and
 * the terms in any order, it is off by at most the weighted errors of the terms plus
 * n / (1 - n u) * u times the sum of their magnitudes, n being one above their number.
 */
class Sum {
  public:
    void add(double weight, const Estimate& term) {
        value_ += weight * term.value;
        const double carried = std::fabs(weight) * term.error;
        carried_ += carried;
        magnitude_ += std::fabs(weight * term.value) + carried;
        ++terms_;
    }
    void add(double term) { add(term, {1.0, 0.0}); }
    Estimate result() const {
        const double n = terms_ + 1;
        const double growth = n * roundingUnit / (1.0 - n * roundingUnit);
        return {value_, carried_ + growth * magnitude_ + n * underflow};
    }

  private:
    double value_ = 0.0;
    double carried_ = 0.0;
    double magnitude_ = 0.0;
    std::int32_t terms_ = 0;
};

/** A whole stream: [frames, height, channels], with zeros before it and beside its bins. */
class Frames {
  public:
    Frames() = default;
    Frames(std::int32_t frames, std::int32_t height, std::int32_t channels)
        : frames_(frames),
          height_(height),
          channels_(channels),
          values_(static_cast<std::size_t>(frames) * static_cast<std::size_t>(height * channels)) {}

    std::int32_t frames() const { return frames_; }
    std::int32_t height() const { return height_; }
    std::int32_t channels() const { return channels_; }
    std::int32_t frameVolume() const { return height_ * channels_; }

    Estimate& at(std::int32_t t, std::int32_t bin, std::int32_t channel) {
        return values_[index(t, bin * channels_ + channel)];
    }
    /** Zero outside the stream. */
    Estimate orZero(std::int32_t t, std::int32_t bin, std::int32_t channel) const {
        const bool inside = t >= 0 && t < frames_ && bin >= 0 && bin < height_;
        return inside ? values_[index(t, bin * channels_ + channel)] : Estimate{};
    }
    /** Element `i` of frame `t`, bins outermost. */
    Estimate& flat(std::int32_t t, std::int32_t i) { return values_[index(t, i)]; }
    const Estimate& flat(std::int32_t t, std::int32_t i) const { return values_[index(t, i)]; }
    const std::vector<Estimate>& values() const { return values_; }

  private:
    std::size_t index(std::int32_t t, std::int32_t i) const {
        return static_cast<std::size_t>(t) * static_cast<std::size_t>(height_ * channels_) +
               static_cast<std::size_t>(i);
    }

    std::int32_t frames_ = 0;
    std::int32_t height_ = 0;
    std::int32_t channels_ = 0;
    std::vector<Estimate> values_;
};

}  // namespace vorun::sequence
