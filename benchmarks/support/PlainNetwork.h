#pragma once

#include <cstddef>
#include <vector>

#include "support/ReferenceNetwork.h"

namespace vorun::benchmarks {

/**
 * A reference network by its formulas alone, in double precision and slow: what all that run it
 * must give, and the history that one who keeps none is handed.
 */
class PlainNetwork {
  public:
    using Row = std::vector<double>;

    explicit PlainNetwork(const ReferenceNetwork& network);

    /** The result of the next frame, channels fastest. */
    const Row& run(const std::vector<float>& frame);

    /** Input row `row` of the layer at the last frame; zeros where it lies before the first. */
    const Row& inputRow(std::size_t layer, std::int32_t row) const;

  private:
    /** Input of each layer: row n is that of frame n - (rows - 1) * timeDilation. */
    std::vector<std::vector<Row>> inputs_;
    std::vector<Row> outputs_;
    ReferenceNetwork network_;
};

/**
 * The largest difference over the largest of `expected`. All that runs a reference network stays
 * below `largestError`: sums of about a thousand single-precision terms in up to six layers.
 */
double relativeError(const std::vector<double>& expected, const float* actual);
inline constexpr double largestError = 1e-5;

}  // namespace vorun::benchmarks
