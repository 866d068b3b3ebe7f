#pragma once

#include <vector>

namespace vorun::test {

/**
 * The resampler's formula, evaluated sample by sample in double precision at exact positions: no
 * table of rows, no queue, no running position. Positions are in input samples; before sample 0
 * and after the last one lies silence.
 */
struct NaiveResampler {
    double inputRate = 0.0;
    double outputRate = 0.0;
    double lengthMs = 1.5;
    double bandwidthPercent = 95.0;
    int phases = 64;
    bool interpolate = true;

    struct Value {
        double value = 0.0;
        /** How far single precision output, single precision weights and sums may stray. */
        double bound = 0.0;
    };

    double ratio() const { return inputRate / outputRate; }
    int taps() const;
    double cutoff() const;
    /** The continuous filter, `x` samples from its centre. */
    double filterAt(double x) const;
    /** Sum of the samples under a filter that is centred on `position`. */
    double filtered(const std::vector<float>& input, double position) const;
    /** Output sample `k`: one row of the grid of 1 / phases, or a line between two of them. */
    Value output(const std::vector<float>& input, int k) const;
};

}  // namespace vorun::test
