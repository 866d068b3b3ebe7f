#pragma once

#include <cstdint>

#include "audio/Signal64.h"

namespace vorun {

/** What a resampling filter is made from. */
struct PolyphaseDesign {
    double inputRate = 0.0;          ///< Hertz.
    double outputRate = 0.0;         ///< Hertz.
    float lengthMs = 1.5f;           ///< Length in milliseconds at the input rate.
    float bandwidthPercent = 95.0f;  ///< Passband, of the lower rate's Nyquist frequency.
    std::int32_t phases = 64;        ///< Rows; a power of two.
};

/**
 * A Gaussian-windowed sinc, tabulated at `phases` positions between two input samples.
 *
 * Positions are counted in steps of 1 / phases of an input sample. With phases = 4:
 *
 *     samples:   s[0]        s[1]        s[2]        s[3]
 *     index:      0  1  2  3  4  5  6  7  8  ...
 *     row:        0  1  2  3  0  1  2  3  0  ...
 *                                |<- row 2 over s[1 .. 1 + taps) ->|
 *
 * The filter's centre lies taps / 2 samples behind the position, so that a stream that starts with
 * taps / 2 silent samples is read at its own positions.
 */
class PolyphaseFilter {
  public:
    /** One row without taps: every position is silent. */
    PolyphaseFilter() = default;

    /**
     * Raises std::runtime_error if `phases` is not a power of two, and if the length is no number
     * of samples or more than a block holds.
     */
    explicit PolyphaseFilter(const PolyphaseDesign& design);

    /** Samples that a row spans. Not above 0 for a length or rate that is not: such rows are 0. */
    std::int32_t taps() const noexcept { return taps_; }
    std::int32_t phases() const noexcept { return phases_; }
    /** The row that is a pure delay, which a full bandwidth without narrowing has; otherwise -1. */
    std::int32_t exactPhase() const noexcept { return exactPhase_; }

    /**
     * The filtered stream at position `index` / phases. `index` is not negative; `samples` holds
     * `count` values, and beyond them lies silence.
     */
    double tapAt(std::int64_t index, const double* samples, std::int64_t count) const;
    /** On the line from tapAt(index) to tapAt(index + 1), `share` of the way. */
    double between(std::int64_t index, double share, const double* samples,
                   std::int64_t count) const;

  private:
    void fillRows(float cutoff);

    std::int32_t phases_ = 1;
    std::int32_t phaseShift_ = 0;  // log2 of the phases
    std::int32_t phaseMask_ = 0;
    std::int32_t taps_ = 0;
    std::int32_t exactPhase_ = -1;
    Signal64 rows_;  // One channel a phase, taps samples each.
};

}  // namespace vorun
