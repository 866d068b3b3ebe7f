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

  private:
    std::size_t length;
    std::vector<double> cosine;
    std::vector<double> sine;
};

}  // namespace vorun
