#pragma once

#include <algorithm>
#include <cstdint>

namespace vorun {

/** From `begin` on, up to but not including `end`. */
struct IndexRange {
    std::int64_t begin;
    std::int64_t end;

    bool isEmpty() const { return begin >= end; }
    std::int64_t size() const { return isEmpty() ? 0 : end - begin; }
};

/**
 * Which bins of its input a convolution's kernel meets from each output bin. It is centred, and
 * hangs over at both ends.
 */
struct ConvReach {
    std::int32_t kernelHeight = 0;
    std::int32_t stride = 1;
    std::int32_t height = 0;

    std::int64_t outHeight() const { return height / stride; }
    /** Input bin at which the kernel begins; below 0 it hangs over. */
    std::int64_t position(std::int64_t outBin) const {
        return outBin * stride - (kernelHeight - stride) / 2;
    }
    /** Output bins for which all of those bins of the kernel lie inside the input. */
    IndexRange binsThatMeet(IndexRange kernelBins) const {
        const std::int64_t first = position(0) + kernelBins.begin;
        const std::int64_t room = height - position(0) - kernelBins.end;
        const std::int64_t begin =
            std::min((std::max<std::int64_t>(0, -first) + stride - 1) / stride, outHeight());
        const std::int64_t end = room < 0 ? 0 : room / stride + 1;
        return {begin, std::clamp(end, begin, outHeight())};
    }
    IndexRange binsInside() const { return binsThatMeet({0, kernelHeight}); }
    /** Bins of the kernel that lie inside the input. */
    IndexRange kernelBinsInside(std::int64_t outBin) const {
        return {std::max<std::int64_t>(0, -position(outBin)),
                std::min<std::int64_t>(kernelHeight, height - position(outBin))};
    }
};

}  // namespace vorun
