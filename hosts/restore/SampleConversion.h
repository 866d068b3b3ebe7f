#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vorun::restore {

/** Sets NaN and infinite samples to 0. @return how many there were. */
std::int64_t silenceNonFinite(std::span<float> samples);

/** Rounds to integers and limits to what they can hold. */
class IntegerConversion {
  public:
    /** @param bits 2 to 32. */
    explicit IntegerConversion(int bits);

    /**
     * Nearest integers of the given width, ties to even, at the upper end of 32 bits, where
     * libsndfile takes them from without another rounding. Full scale is 2^(bits - 1), as in its
     * reader, so that what was read comes back the same. NaN gives 0.
     */
    void convert(std::span<const float> samples, std::vector<std::int32_t>& out);

    /** Samples limited so far. */
    std::int64_t clippedSamples() const { return clippedSamples_; }

  private:
    int bits_;
    std::int64_t clippedSamples_ = 0;
};

}  // namespace vorun::restore
