#pragma once

#include <cstdint>
#include <vector>

#include "support/AlignedFloats.h"
#include "support/FrameRunner.h"
#include "support/ReferenceNetwork.h"

namespace vorun::benchmarks {

/** How a transposed layer sums: a multiply-add over the output channels for each term, or a dot
 * product over the input channels for each output channel, which are far fewer calls. */
enum class TransposedSums : std::int8_t { terms, dots };

/**
 * One layer as a chain of single vector operations: a multiply-add over the output channels for
 * each term of a convolution, and several passes for an activation. Fused products and activations
 * must be faster than this.
 */
class ChainLayer {
  public:
    ChainLayer(const ReferenceLayer& layer, TransposedSums sums);

    const AlignedFloats& run(const AlignedFloats& input);

  private:
    void convolve();
    void addTap(const float* input, const float* kernel);
    void scatter();
    void scatterTap(const float* kernel, float* output);
    void addTerms(const float* weights, const float* x, float* output) const;
    void addDots(const float* weights, const float* x, float* output) const;
    void activate();
    /** Row of the ring that belongs to `frame`. */
    float* ringRow(std::int64_t frame);

    ReferenceLayer layer_;
    TransposedSums sums_;
    /** For dot products the input channels are the fastest. */
    AlignedFloats weights_;
    /** Of input, or of open sums if transposed. */
    AlignedFloats ring_;
    std::int64_t ringRows_;
    std::size_t rowSize_;
    std::int64_t frame_ = 0;
    AlignedFloats input_;
    AlignedFloats output_;
    AlignedFloats scratch_;
};

/** A reference network of such layers. */
class ChainNetwork : public FrameRunner {
  public:
    ChainNetwork(const ReferenceNetwork& network, TransposedSums sums);

    void run(const float* frame) override;
    std::span<const float> result() const override { return *outputs_.back(); }

  private:
    void join(const ReferenceLayer& layer, const AlignedFloats& first);

    ReferenceNetwork network_;
    std::vector<ChainLayer> layers_;
    AlignedFloats frame_;
    AlignedFloats joined_;
    std::vector<const AlignedFloats*> outputs_;
};

}  // namespace vorun::benchmarks
