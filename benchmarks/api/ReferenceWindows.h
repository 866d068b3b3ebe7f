#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "support/AlignedFloats.h"
#include "support/PlainNetwork.h"

namespace vorun::benchmarks {

/**
 * The inputs of a network's layers as a library without a history takes them: for each layer the
 * three rows that its kernel meets, one behind the other, on a boundary of 64 bytes.
 *
 *     row  0        older, filled once
 *     row  1        older, filled once
 *     row  2        of this frame: where the layer before puts its output
 *
 * The last window is the network's result.
 */
class ReferenceWindows {
  public:
    ReferenceWindows(const ReferenceNetwork& network, const PlainNetwork& history);

    /** Copies the network's input to where the first layer reads it. */
    void setFrame(const float* frame);

    /** All three rows of a layer's input, [row, bin, channel]. */
    float* window(std::size_t layer) { return windows_[layer].data(); }

    /** Where layer `layer` writes, with outStride() floats from bin to bin. */
    float* output(std::size_t layer);
    std::size_t outStride(std::size_t layer) const;

    /** Copies what layer `layer` takes beside the output of the one before it; to be called before
     * the layer runs. */
    void join(std::size_t layer);

    std::span<const float> result() const;

  private:
    ReferenceNetwork network_;
    std::vector<AlignedFloats> windows_;
};

}  // namespace vorun::benchmarks
