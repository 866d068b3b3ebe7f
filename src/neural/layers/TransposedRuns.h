#pragma once

#include <cstdint>

#include "neural/layers/TransposedReach.h"
#include "neural/layers/TransposedSizes.h"
#include "neural/layers/TransposedWeights.h"

namespace vorun {

/** A row of a transposed convolution's output bins, and the frames that it is summed from. */
template <class T>
struct TransposedRuns {
    /** One for each time tap, of `height` bins. */
    const T* const* frames;
    std::int32_t taps;
    std::int32_t height;
    /** To hold as many pointers. */
    const T** places;
    /** outHeight bins of outChannels values. */
    T* out;
    std::int32_t outHeight;
    std::int32_t outChannels;
    /** What sums begin with, a value for each channel; null for those that stand in `out`. */
    const T* start;
    /** What is added to them at the end, likewise; or null. */
    const T* last;
};

/**
 * Adds what these frames give to the channels of a part, a register of channels at a time. Output
 * bins that no kernel bin reaches stay as they are.
 */
template <class T>
void addTransposedRuns(const TransposedSizes& sizes,
                       const typename TransposedWeights<T>::Part& part,
                       const TransposedRuns<T>& runs);

extern template void addTransposedRuns(const TransposedSizes& sizes,
                                       const TransposedWeights<float>::Part& part,
                                       const TransposedRuns<float>& runs);

}  // namespace vorun
