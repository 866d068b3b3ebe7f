#pragma once

#include <vector>

#include "support/SequenceModel.h"

/** The formula of each layer class over a whole stream; frame n is the n-th that comes out. */
namespace vorun::sequence {

Frames convolution(const writer::ConvRecord& record, const Frames& input);
/** With the channels that the file's version gives the layer. */
Frames transposedConvolution(const writer::TransposedConvRecord& record, std::int32_t outChannels,
                             const Frames& input);
/** Time kernel, then height kernel. */
Frames separableConvolution(const TwoTensors& kernels, const Frames& input);
/** Window over time, one weight for each position and channel, then a matrix over channels. */
Frames attention(const writer::SelfAttentionRecord& record, const Frames& input);

/** Weights, then bias. */
Frames dense(const TwoTensors& tensors, const Frames& input);
/** Offset, then scale. */
Frames norm(const TwoTensors& tensors, const Frames& input);
Frames preNorm(const writer::TensorBlock& weights, const Frames& input);
/** Also for LeakyReLU, the only one that has a slope. */
Frames activation(writer::LayerType type, float slope, const Frames& input);

Frames concatenation(const std::vector<const Frames*>& inputs);
Frames arithmetic(std::int8_t operation, const std::vector<const Frames*>& inputs);

}  // namespace vorun::sequence
