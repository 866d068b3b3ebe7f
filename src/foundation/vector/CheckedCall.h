#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "foundation/vector/VectorPrimitives.h"

// The one way in which code outside the vector family looks at a status.
namespace vorun {

/// Raises std::runtime_error "IPP exception: " and the status text for a negative status. Success
/// and warnings pass.
void checkStatus(IppStatus status);

/// Runs `operation`, a callable that returns a status, and checks that status. A `count` of 0 or
/// below skips the call, so that an empty row is not an error.
template <class Operation>
void checkedCall(std::int32_t count, Operation&& operation) {
    if (count > 0) {
        checkStatus(operation());
    }
}

/// Copies `count` elements. The blocks may be the same but may not overlap in part.
template <class T>
void copySamples(const T* source, T* target, std::int32_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    // The byte count of one call is an int32, which a long row of wide elements exceeds.
    constexpr auto elementBytes = static_cast<std::int32_t>(sizeof(T));
    constexpr std::int32_t mostAtOnce = std::numeric_limits<std::int32_t>::max() / elementBytes;
    while (count > 0) {
        const std::int32_t now = count < mostAtOnce ? count : mostAtOnce;
        // Any object may be copied as bytes, and neither pointer is looked through here.
        checkStatus(ippsCopy_8u(reinterpret_cast<const std::uint8_t*>(source),
                                reinterpret_cast<std::uint8_t*>(target), now * elementBytes));
        count -= now;
        if (count > 0) {
            source += now;
            target += now;
        }
    }
}

/// Clears `count` floats.
inline void zeroFloats(float* target, std::int32_t count) {
    checkedCall(count, [&] { return ippsZero_32f(target, count); });
}

/// max(x, level); a NaN becomes `level`.
inline void clampBelow(const float* source, float* target, float level, std::int32_t count) {
    checkedCall(count,
                [&] { return ippsThreshold_LTVal_32f(source, target, count, level, level); });
}

/// min(x, level); a NaN stays.
inline void clampAbove(const float* source, float* target, float level, std::int32_t count) {
    checkedCall(count,
                [&] { return ippsThreshold_GTVal_32f(source, target, count, level, level); });
}

/// min(max(x, lo), hi); a NaN becomes `lo`. Raises if `lo` is above `hi`.
inline void clampRange(const float* source, float* target, float lo, float hi, std::int32_t count) {
    checkedCall(
        count, [&] { return ippsThreshold_LTValGTVal_32f(source, target, count, lo, lo, hi, hi); });
}

}  // namespace vorun
