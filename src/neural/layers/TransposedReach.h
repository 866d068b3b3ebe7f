#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/layers/ConvReach.h"
#include "neural/layers/TransposedSizes.h"

namespace vorun {

/**
 * Which bins of its input a transposed convolution's output bins meet. Output bin p is met by the
 * input bins whose kernel reaches it. Which bins of the kernel do so depends on p modulo the height
 * stride alone: with stride 2, kernel height 5 and first position -1
 *
 *     output bin       -1    0    1    2    3    4
 *     input bin 0      k0   k1   k2   k3   k4
 *     input bin 1                k0   k1   k2   k3
 *
 * even output bins meet k1 and k3, odd ones k0, k2 and k4. For each such phase the kernel's bins
 * are counted in the order of the input bins that they meet, the last one first, and so make one
 * run with the neighbouring bins of the input.
 */
struct TransposedReach {
    /** Output bins, a stride apart, that meet the same bins of the kernel. */
    struct Stretch {
        std::int64_t outBin;
        std::int64_t bins;
        /** The first of the input bins that the first output bin meets, and how many there are. */
        std::int64_t inBin;
        std::int64_t met;
        /** Place within the phase of the first kernel bin. */
        std::int64_t kernelBin;
        /** Kernel bins that the first output bin lacks at the start, and the last one at the end.
         */
        std::int64_t lead = 0;
        std::int64_t trail = 0;
    };

    TransposedReach() = default;
    explicit TransposedReach(const TransposedSizes& sizes)
        : kernelHeight(sizes.height), stride(sizes.heightStride), joinsEnds(!sizes.depthwise) {}

    std::int32_t phases() const { return std::min(stride, kernelHeight); }
    /** The bins of the kernel at `phase`, from the stride on: phase, phase + stride and so on. */
    std::int32_t binsOfPhase(std::int32_t phase) const {
        return (kernelHeight - 1 - phase) / stride + 1;
    }
    std::int64_t firstPosition() const { return -((kernelHeight - stride) / 2); }
    /** The output bins of a phase, numbered by the last input bin that reaches them. */
    IndexRange outputsOfPhase(std::int32_t phase, std::int32_t height,
                              std::int32_t outHeight) const;
    /** Of the last input bin that reaches it. */
    std::int64_t outBin(std::int32_t phase, std::int64_t last) const {
        return firstPosition() + phase + last * stride;
    }
    /** Which of a phase's outputs each of its kernel bins reaches from within the input. */
    std::vector<BinRange> enteredBins(std::int32_t phase, std::int32_t height,
                                      std::int32_t outHeight) const;
    /** body(stretch) for all output bins of a phase. */
    template <class Body>
    void forEachStretch(std::int32_t phase, std::int32_t height, std::int32_t outHeight,
                        Body body) const;

    std::int32_t kernelHeight = 0;
    std::int32_t stride = 1;
    /** Whether neighbours that lack one end of the kernel go with those that meet all of it. */
    bool joinsEnds = true;
};

/**
 * Outputs at both ends meet fewer input bins than there are bins of the kernel; the others go
 * together.
 */
template <class Body>
void TransposedReach::forEachStretch(std::int32_t phase, std::int32_t height,
                                     std::int32_t outHeight, Body body) const {
    const std::int64_t reach = binsOfPhase(phase) - 1;
    const IndexRange outputs = outputsOfPhase(phase, height, outHeight);
    // One neighbour at most, where the input has room for the whole kernel.
    const std::int64_t joined = joinsEnds && reach > 0 && reach < height ? 1 : 0;
    for (std::int64_t last = outputs.begin; last < outputs.end;) {
        const std::int64_t from = std::max<std::int64_t>(0, last - reach);
        const std::int64_t to = std::min<std::int64_t>(last, height - 1);
        Stretch stretch{outBin(phase, last), 1, from, to - from + 1, from - (last - reach)};
        if (last >= reach - joined && last < height) {
            stretch.bins = std::min(height + joined, outputs.end) - last;
            stretch.met = reach + 1;
            stretch.kernelBin = 0;
            stretch.lead = std::max<std::int64_t>(0, reach - last);
            stretch.trail = std::max<std::int64_t>(0, last + stretch.bins - height);
        }
        body(stretch);
        last += stretch.bins;
    }
}

}  // namespace vorun
