#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/// The discrete Fourier transform by its definition, in double precision.
class DirectTransform {
  public:
    explicit DirectTransform(std::int32_t order);

    /// Bin k of the forward transform of N samples.
    struct Bin {
        double re;
        double im;
    };
    Bin forwardBin(const std::vector<float>& samples, std::size_t k) const;
    /// Sample n of the inverse transform of N / 2 + 1 bins in the CCS layout, the imaginary parts
    /// of the first and the last bin left out.
    double inverseSample(const std::vector<float>& bins, std::size_t n) const;

    /// All bins of the forward transform, real and imaginary parts in turns, by halving: the even
    /// and the odd samples are transformed by themselves. For lengths at which the definition takes
    /// too long.
    std::vector<double> halvedSpectrum(const std::vector<float>& samples) const;

  private:
    std::vector<Bin> halve(const std::vector<float>& samples, std::size_t first,
                           std::size_t step) const;

    std::size_t length;
    std::vector<double> cosine;
    std::vector<double> sine;
};

}  // namespace vorun
