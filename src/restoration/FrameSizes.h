#pragma once

#include <cstdint>
#include <optional>

namespace vorun {

/** Transform, window and hop of a stream, in samples. */
struct FrameSizes {
    std::int32_t fftSize = 0;
    std::int32_t windowSize = 0;
    std::int32_t hopSize = 0;

    bool operator==(const FrameSizes&) const = default;
};

/**
 * The power of two that scales a model's frames to the host's rate, so that a frame spans about the
 * same time: the least k with modelRate x 2^k at or above hostRate. Both rates above 0; empty if
 * their ratio is not a finite number above 0.
 */
std::optional<std::int32_t> frameScaleLog2(double hostRate, double modelRate);

/**
 * Each size times 2^scaleLog2, rounded to the nearest integer with ties to even. Empty if the
 * result cannot be framed: a hop below 1, a window below two hops or above the transform, or a
 * transform that is odd (its spectrum does not give all of its samples back) or above 2^20.
 */
std::optional<FrameSizes> scaleFrameSizes(const FrameSizes& model, std::int32_t scaleLog2);

}  // namespace vorun
