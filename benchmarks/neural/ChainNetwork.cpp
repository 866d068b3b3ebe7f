#include "ChainNetwork.h"

#include <algorithm>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun::benchmarks {
namespace {

std::int32_t lengthOf(const AlignedFloats& values) {
    return static_cast<std::int32_t>(values.size());
}

/** [row, bin, output channel, input channel] */
AlignedFloats weightsForDots(const ReferenceLayer& layer) {
    AlignedFloats weights;
    weights.reserve(layer.weights.size());
    for (std::int32_t row = 0; row < ReferenceLayer::rows; ++row) {
        for (std::int32_t bin = 0; bin < layer.kernelBins; ++bin) {
            for (std::int32_t out = 0; out < layer.outChannels; ++out) {
                for (std::int32_t in = 0; in < layer.inChannels; ++in) {
                    weights.push_back(layer.weights[layer.weightIndex(row, bin, in, out)]);
                }
            }
        }
    }
    return weights;
}

AlignedFloats weightsFor(const ReferenceLayer& layer, TransposedSums sums) {
    if (layer.transposed && sums == TransposedSums::dots) {
        return weightsForDots(layer);
    }
    return AlignedFloats(layer.weights.begin(), layer.weights.end());
}

void elu(float* x, float* scratch, std::int32_t count) {
    clampBelow(x, scratch, 0.0F, count);
    clampAbove(x, x, 0.0F, count);
    checkStatus(ippsExp_32f(x, x, count));
    checkStatus(ippsSubC_32f(x, 1.0F, x, count));
    checkStatus(ippsAdd_32f(scratch, x, x, count));
}

void sigmoid(float* x, float* scratch, std::int32_t count) {
    clampRange(x, x, -10.0F, 10.0F, count);
    checkStatus(ippsExp_32f(x, scratch, count));
    checkStatus(ippsAddC_32f(scratch, 1.0F, x, count));
    checkStatus(ippsDiv_32f(x, scratch, x, count));
}

}  // namespace

ChainLayer::ChainLayer(const ReferenceLayer& layer, TransposedSums sums)
    : layer_(layer),
      sums_(sums),
      weights_(weightsFor(layer, sums)),
      ringRows_((ReferenceLayer::rows - 1) * layer.timeDilation + 1),
      rowSize_(layer.transposed ? layer.outSize() : layer.inSize()),
      output_(layer.outSize()),
      scratch_(layer.outSize()) {
    ring_.resize(static_cast<std::size_t>(ringRows_) * rowSize_);
}

const AlignedFloats& ChainLayer::run(const AlignedFloats& input) {
    if (layer_.transposed) {
        input_ = input;
        scatter();
    } else {
        copySamples(input.data(), ringRow(frame_), lengthOf(input));
        convolve();
    }
    activate();
    ++frame_;
    return output_;
}

float* ChainLayer::ringRow(std::int64_t frame) {
    return ring_.data() + static_cast<std::size_t>(frame % ringRows_) * rowSize_;
}

void ChainLayer::convolve() {
    const std::int32_t channels = layer_.outChannels;
    for (std::int32_t bin = 0; bin < layer_.outBins; ++bin) {
        copySamples<float>(layer_.bias.data(), output_.data() + bin * channels, channels);
    }
    for (std::int32_t row = 0; row < ReferenceLayer::rows; ++row) {
        addTap(ringRow(frame_ + 1 + row * layer_.timeDilation),
               weights_.data() + layer_.weightIndex(row, 0, 0, 0));
    }
}

void ChainLayer::addTap(const float* input, const float* kernel) {
    const std::int32_t channels = layer_.outChannels;
    float* out = output_.data();
    for (std::int32_t bin = 0; bin < layer_.outBins; ++bin) {
        const std::int32_t position = bin * layer_.heightStride - layer_.padding();
        const std::int32_t first = std::max(0, -position);
        const std::int32_t end = std::min(layer_.kernelBins, layer_.inBins - position);
        const float* x = input + (position + first) * layer_.inChannels;
        const float* w = kernel + first * layer_.inChannels * channels;
        for (std::int32_t i = 0; i < (end - first) * layer_.inChannels; ++i) {
            checkStatus(ippsAddProductC_32f(w, x[i], out, channels));
            w += channels;
        }
        out += channels;
    }
}

void ChainLayer::scatter() {
    constexpr std::int32_t rows = ReferenceLayer::rows;
    for (std::int32_t row = 0; row < rows; ++row) {
        // What the kernel's row n meets comes out rows - 1 - n frames later.
        scatterTap(weights_.data() + layer_.weightIndex(row, 0, 0, 0),
                   ringRow(frame_ + rows - 1 - row));
    }
    const std::int32_t channels = layer_.outChannels;
    float* done = ringRow(frame_);
    copySamples<float>(done, output_.data(), lengthOf(output_));
    zeroFloats(done, lengthOf(output_));
    for (std::int32_t bin = 0; bin < layer_.outBins; ++bin) {
        float* out = output_.data() + bin * channels;
        checkStatus(ippsAdd_32f(layer_.bias.data(), out, out, channels));
    }
}

void ChainLayer::scatterTap(const float* kernel, float* output) {
    const std::int32_t binSize = layer_.inChannels * layer_.outChannels;
    for (std::int32_t bin = 0; bin < layer_.inBins; ++bin) {
        const float* x = input_.data() + bin * layer_.inChannels;
        const std::int32_t position = bin * layer_.heightStride - layer_.padding();
        const std::int32_t first = std::max(0, -position);
        const std::int32_t end = std::min(layer_.kernelBins, layer_.outBins - position);
        for (std::int32_t i = first; i < end; ++i) {
            const float* w = kernel + i * binSize;
            float* out = output + (position + i) * layer_.outChannels;
            if (sums_ == TransposedSums::terms) {
                addTerms(w, x, out);
            } else {
                addDots(w, x, out);
            }
        }
    }
}

void ChainLayer::addTerms(const float* weights, const float* x, float* output) const {
    for (std::int32_t i = 0; i < layer_.inChannels; ++i) {
        checkStatus(ippsAddProductC_32f(weights, x[i], output, layer_.outChannels));
        weights += layer_.outChannels;
    }
}

void ChainLayer::addDots(const float* weights, const float* x, float* output) const {
    for (std::int32_t i = 0; i < layer_.outChannels; ++i) {
        float sum = 0.0F;
        checkStatus(ippsDotProd_32f(weights, x, layer_.inChannels, &sum));
        output[i] += sum;
        weights += layer_.inChannels;
    }
}

void ChainLayer::activate() {
    const std::int32_t count = lengthOf(output_);
    switch (layer_.activation) {
        case Activation::relu:
            clampBelow(output_.data(), output_.data(), 0.0F, count);
            return;
        case Activation::elu:
            elu(output_.data(), scratch_.data(), count);
            return;
        case Activation::sigmoid:
            sigmoid(output_.data(), scratch_.data(), count);
            return;
        default:
            return;
    }
}

ChainNetwork::ChainNetwork(const ReferenceNetwork& network, TransposedSums sums)
    : network_(network), frame_(network.layers.front().inSize()), outputs_(network.layers.size()) {
    layers_.reserve(network.layers.size());
    for (const ReferenceLayer& layer : network.layers) {
        layers_.emplace_back(layer, sums);
    }
}

void ChainNetwork::run(const float* frame) {
    copySamples(frame, frame_.data(), lengthOf(frame_));
    const AlignedFloats* values = &frame_;
    for (std::size_t i = 0; i < layers_.size(); ++i) {
        if (network_.layers[i].joined) {
            join(network_.layers[i], *values);
            values = &joined_;
        }
        values = &layers_[i].run(*values);
        outputs_[i] = values;
    }
}

void ChainNetwork::join(const ReferenceLayer& layer, const AlignedFloats& first) {
    const AlignedFloats& second = *outputs_[*layer.joined];
    joined_.resize(layer.inSize());
    const std::int32_t firstChannels = lengthOf(first) / layer.inBins;
    const std::int32_t secondChannels = lengthOf(second) / layer.inBins;
    float* out = joined_.data();
    for (std::int32_t bin = 0; bin < layer.inBins; ++bin) {
        copySamples(first.data() + bin * firstChannels, out, firstChannels);
        copySamples(second.data() + bin * secondChannels, out + firstChannels, secondChannels);
        out += layer.inChannels;
    }
}

}  // namespace vorun::benchmarks
