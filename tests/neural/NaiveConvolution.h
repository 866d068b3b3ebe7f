#pragma once

#include <cstdint>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun::test {

/** What a convolution is made of, and the stream that it runs over. */
struct NaiveConvolution {
    std::int32_t kernelFrames = 1;
    std::int32_t kernelHeight = 1;
    std::int32_t kernelIn = 1;
    std::int32_t kernelOut = 1;
    /** [kernelFrames][kernelHeight][kernelIn][kernelOut] */
    std::vector<float> weights;
    /** kernelOut values or none. */
    std::vector<float> bias;
    std::int32_t timeStride = 1;
    std::int32_t heightStride = 1;
    std::int32_t timeDilation = 1;
    std::int32_t lookahead = 0;
    std::int32_t height = 1;
    std::int32_t channels = 1;
    /** [frames][height][channels] */
    std::vector<float> stream;

    bool depthwise() const { return kernelIn == 1 && channels != 1; }
    std::int32_t frames() const;
    std::int32_t outHeight() const { return height / heightStride; }
    /** Whether input frame `t` gives output. */
    bool givesOutput(std::int32_t t) const;
};

/** A model of the layer "conv" alone. */
NeuralModel<float> modelOf(const NaiveConvolution& conv);
FloatTensor framesOf(const NaiveConvolution& conv, std::int32_t first, std::int32_t count);

/** A sum in double, with the sum of the magnitudes of its terms and their number. */
struct BoundedSum {
    double value = 0.0;
    double magnitude = 0.0;
    std::int32_t terms = 0;

    void add(double term);
    /**
     * Largest error of the same sum in single precision, products and sums each rounded once, in
     * whatever order: n / (1 - n u) * u * magnitude with u = 2^-24 and n one above the terms.
     */
    double singleErrorBound() const;
};

/** Output channel `c` of output bin `o` for input frame `t`, from the definition. */
BoundedSum naiveOutput(const NaiveConvolution& conv, std::int32_t t, std::int32_t o,
                       std::int32_t c);

}  // namespace vorun::test
