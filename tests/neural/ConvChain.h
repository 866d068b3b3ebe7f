#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/NaiveConvolution.h"

namespace vorun::test {

/** The frames that the time taps of a kernel meet, the oldest first, each [height][channels]. */
struct ChainRows {
    std::int32_t height = 0;
    std::int32_t channels = 0;
    bool depthwise = false;
    std::vector<std::vector<float>> rows;
};

/**
 * One output frame as a chain of single vector operations over the output channels of a bin: the
 * bias, then time taps, kernel bins that lie inside the rows, and input channels.
 */
std::vector<float> chainedFrame(const NaiveConvolution& conv, const ChainRows& rows);

/** The frame that input frame `t` of the stream gives, with silence before the stream. */
std::vector<float> chainedFrame(const NaiveConvolution& conv, std::int32_t t);

/**
 * The layer as it is defined over its ring, for frames of any shape. Takes height and channels of
 * the ring from the first frame that holds any value.
 */
class ConvRing {
  public:
    explicit ConvRing(const NaiveConvolution& conv) : conv_(conv) {}

    /**
     * Adds to `given` what the layer hands on. Throws std::runtime_error where it does. `faultAt`
     * is the number of the frame in `given` at which its consumer throws.
     */
    void add(const FloatTensor& input, std::vector<std::vector<float>>& given,
             std::size_t faultAt = noFault);
    void reset();

    static constexpr std::size_t noFault = SIZE_MAX;

  private:
    std::int32_t rowsInRing() const { return (conv_.kernelFrames - 1) * conv_.timeDilation + 1; }
    void store(const FloatTensor& input, std::int32_t frame, bool depthwise);
    std::vector<float> outputFrame(bool depthwise) const;

    NaiveConvolution conv_;
    std::int32_t height_ = 0;
    std::int32_t channels_ = 0;
    std::int32_t counter_ = 0;
    std::vector<float> ring_;
};

/** The first value whose bits differ, NaN being like NaN; empty if there is none. */
std::string difference(const std::vector<float>& actual, const std::vector<float>& expected);

}  // namespace vorun::test
