#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/ModelWriter.h"

/** The two networks by which the engine is measured, described once for all that run them. */
namespace vorun::benchmarks {

enum class Activation : std::int8_t { none, relu, elu, sigmoid };

/**
 * A causal convolution and its activation. Input row r of the kernel's three lies
 * (2 - r) * timeDilation frames back. With padding() as below, kernel bin k of output bin o meets
 * input bin o * heightStride - padding() + k; in a transposed layer, kernel bin k of input bin i
 * adds to output bin i * heightStride - padding() + k.
 */
struct ReferenceLayer {
    static constexpr std::int32_t rows = 3;

    std::int32_t kernelBins;
    std::int32_t inChannels;
    std::int32_t outChannels;
    std::int32_t inBins;
    std::int32_t outBins;
    std::int32_t heightStride = 1;
    std::int32_t timeDilation = 1;
    bool transposed = false;
    Activation activation = Activation::none;
    /** The layer whose output follows the preceding layer's in each bin of this one's input. */
    std::optional<std::size_t> joined = {};
    /** [row, kernel bin, input channel, output channel] */
    std::vector<float> weights = {};
    std::vector<float> bias = {};

    std::size_t inSize() const;
    std::size_t outSize() const;
    std::size_t weightIndex(std::int32_t row, std::int32_t bin, std::int32_t in,
                            std::int32_t out) const;
    /** Bins by which the kernel hangs over at the bottom, and at the top. */
    std::int32_t padding() const { return (kernelBins - heightStride) / 2; }
    std::int32_t paddingAbove() const;
    /** Two operations a multiply-add; what hangs over counts as if it were inside. */
    double flops() const;
};

struct ReferenceNetwork {
    std::string name;
    std::vector<ReferenceLayer> layers;

    double flops() const;
    /** Frames of input that the result depends on. */
    std::int32_t frames() const;
};

/** 256 bins, four convolutions 1-32-32-32-1, kernel 3 x 3, dilations 1, 2, 4, 8. */
ReferenceNetwork networkA();

/** 256 bins of 2 channels, two strided convolutions, two plain, two transposed, one join. */
ReferenceNetwork networkB();

/** The network as a model file. */
writer::ModelWriter modelFileOf(const ReferenceNetwork& network);

/** Random levels between -1 and 1, the same in every run and others in every frame. */
std::vector<float> inputFrame(const ReferenceNetwork& network, std::uint32_t number);

}  // namespace vorun::benchmarks
