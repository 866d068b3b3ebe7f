#pragma once

#include <cstdint>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/NaiveConvolution.h"

namespace vorun::test {

/**
 * A transposed convolution as it is defined over its ring, in double, for frames of any height. Its
 * own consumers take every frame at once.
 */
class TransposedRing {
  public:
    using Frame = std::vector<BoundedSum>;

    explicit TransposedRing(const writer::TransposedConvRecord& record) : record_(record) {}

    /** Adds to `released` what leaves. Throws std::runtime_error where the layer does. */
    void add(const FloatTensor& input, std::vector<Frame>& released);
    void reset();

  private:
    std::int32_t kernelFrames() const { return record_.weights.shape[0]; }
    std::int32_t kernelHeight() const { return record_.weights.shape[1]; }
    std::int32_t kernelOut() const { return record_.weights.shape[2]; }
    std::int32_t kernelIn() const { return record_.weights.shape[3]; }
    bool depthwise() const { return kernelOut() == 1 && record_.outChannels != 1; }
    std::int32_t rowsInRing() const;
    std::int32_t readyFrames() const;
    void requireRoom(std::int32_t rowLength) const;
    BoundedSum* rowAt(std::int32_t outputFrame);
    void scatter(const float* frame, std::int32_t height);
    void addToBin(const float* bin, std::int32_t tap, BoundedSum* out) const;
    void release(std::int32_t rowLength, std::vector<Frame>& released);
    void emptyRows(std::int32_t rowLength);

    writer::TransposedConvRecord record_;
    std::int32_t counter_ = 0;
    std::int32_t rowStride_ = 0;
    std::vector<BoundedSum> ring_;
};

}  // namespace vorun::test
