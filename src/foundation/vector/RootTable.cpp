#include "foundation/vector/RootTable.h"

#include <cmath>
#include <numbers>

namespace vorun::transform {

RootTable::RootTable(std::int32_t order, Point* eighth) : length(std::int64_t{1} << order) {
    if (eighth != nullptr) {
        for (std::int64_t i = 0; i < storedCount(order); ++i) {
            eighth[i] = computePoint(i * 8);
        }
        stored = eighth;
    }
}

RootTable::Point RootTable::computePoint(std::int64_t eighths) const {
    const double angle =
        static_cast<double>(eighths) / static_cast<double>(length) * (std::numbers::pi / 4);
    return {std::cos(angle), std::sin(angle)};
}

RootTable::Point RootTable::pointAt(std::int64_t eighths) const {
    return stored != nullptr ? stored[eighths / 8] : computePoint(eighths);
}

Ipp32fc RootTable::root(std::int64_t k) const {
    // Counted in N-ths of an eighth of the circle. Odd eighths run backwards from their far end,
    // where cosine and sine have changed places.
    const std::int64_t eighth = k * 8 / length;
    const std::int64_t within = k * 8 % length;
    const bool mirrored = eighth % 2 != 0;
    const Point p = pointAt(mirrored ? length - within : within);

    // Cosine and sine of the angle within its quarter of the circle.
    const double c = mirrored ? p.sine : p.cosine;
    const double s = mirrored ? p.cosine : p.sine;
    switch (eighth / 2 % 4) {
        case 0:
            return {static_cast<float>(c), static_cast<float>(-s)};
        case 1:
            return {static_cast<float>(-s), static_cast<float>(-c)};
        case 2:
            return {static_cast<float>(-c), static_cast<float>(s)};
        default:
            return {static_cast<float>(s), static_cast<float>(c)};
    }
}

}  // namespace vorun::transform
