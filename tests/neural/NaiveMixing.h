#pragma once

#include <cstdint>
#include <vector>

#include "neural/NaiveConvolution.h"

/**
 * The layers that mix bins, channels and frames, from their formulas alone: in double, over the
 * whole stream at once, without a ring or any other state.
 */
namespace vorun::test {

/** [frames][height][channels] */
struct NaiveStream {
    std::int32_t height = 1;
    std::int32_t channels = 1;
    std::vector<float> values;

    std::int32_t frames() const;
    std::int32_t frameVolume() const { return height * channels; }
    /** Zero before the stream. */
    double at(std::int32_t t, std::int32_t bin, std::int32_t channel) const;
};

struct NaiveDense {
    NaiveStream stream;
    /** [height][height][channels]: output bin, input bin, channel. */
    std::vector<float> weights;
    /** [height][channels] or empty. */
    std::vector<float> bias;

    BoundedSum output(std::int32_t t, std::int32_t bin, std::int32_t channel) const;
};

struct NaiveNorm {
    NaiveStream stream;
    std::vector<float> offset;
    std::vector<float> scale;

    BoundedSum output(std::int32_t t, std::int32_t bin, std::int32_t channel) const;
};

/** A value and how far the single-precision result may be from it. */
struct BoundedValue {
    double value = 0.0;
    double bound = 0.0;
};

struct NaivePreNorm {
    NaiveStream stream;
    /** None negative, so that no level is lost to cancellation. */
    std::vector<float> weights;

    /** Root mean square of frame `t`; before the stream that of its first frame. */
    double level(std::int32_t t) const;
    BoundedValue output(std::int32_t t, std::int32_t bin, std::int32_t channel) const;
};

struct NaiveSelfAttention {
    NaiveStream stream;
    /** [from channel][to channel] */
    std::vector<float> projection;
    /** [height][channels] */
    std::vector<float> bias;
    /** [window][channels], oldest frame first; empty for none. */
    std::vector<float> window;
    std::int32_t lookahead = 0;

    std::int32_t windowLength() const;
    BoundedSum output(std::int32_t t, std::int32_t bin, std::int32_t channel) const;
};

}  // namespace vorun::test
