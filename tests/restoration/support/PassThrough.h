#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "neural/NeuralModel.h"

namespace vorun::test {

/** A network that passes features through, with one mask of that many channels. */
inline NeuralModel<float> passThrough(std::int32_t inputBins, std::int32_t complexInputBins,
                                      std::int32_t channels = 1) {
    NeuralModel<float> model;
    model.inputBins = inputBins;
    model.complexInputBins = complexInputBins;
    model.inputChannels = channels;
    model.outputChannels = channels;
    model.maskCount = 1;
    return model;
}

inline Tensor<float> tensorOf(const std::vector<std::int32_t>& shape,
                              const std::vector<float>& values) {
    Tensor<float> tensor(shape);
    std::copy(values.begin(), values.end(), tensor.data());
    return tensor;
}

}  // namespace vorun::test
