#pragma once

#include <vector>

namespace vorun::benchmarks {

/** A linear sweep of one second, from 20 Hz to a frequency, known at every moment. */
class Sweep {
  public:
    explicit Sweep(double topHertz) : topHertz_(topHertz) {}

    double at(double seconds) const;
    /** Change a second. */
    double slopeAt(double seconds) const;

    /** The second of the sweep and a fifth of silence, at a rate. */
    std::vector<float> samples(int rate) const;

    /**
     * Power of the sweep over power of the rest, in dB, once the sweep at its best gain and delay
     * is taken from `output`. The delay is found to a part of a sample, so that a resampler's own
     * is not counted as noise. The first and last 2 % of the sweep are left out.
     */
    double signalToNoise(const std::vector<float>& output, int rate) const;

  private:
    double phaseAt(double seconds) const;
    double hertzAt(double seconds) const;

    double topHertz_;
};

}  // namespace vorun::benchmarks
