#pragma once

#include <cstdint>

#include "foundation/vector/VectorPrimitives.h"

namespace vorun::transform {

/// The powers of exp(-2 pi j / N), computed in double precision and rounded once. All of them come
/// from the first eighth of the circle, so that equal angles give equal digits.
class RootTable {
  public:
    struct Point {
        double cosine;
        double sine;
    };

    /// For N = 2^order. `eighth` holds storedCount(order) points, or is null: each root is then
    /// computed when it is asked for.
    RootTable(std::int32_t order, Point* eighth);

    /// Points of the first eighth of the circle, both ends included. For orders from 3.
    static constexpr std::int64_t storedCount(std::int32_t order) {
        return (std::int64_t{1} << (order - 3)) + 1;
    }

    /// exp(-2 pi j k / N), for k from 0 to N.
    Ipp32fc root(std::int64_t k) const;

  private:
    // The point at `eighths` / (8 N) of the circle, `eighths` from 0 to N.
    Point pointAt(std::int64_t eighths) const;
    Point computePoint(std::int64_t eighths) const;

    std::int64_t length;
    const Point* stored = nullptr;
};

}  // namespace vorun::transform
