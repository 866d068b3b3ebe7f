#pragma once

#include <cstdint>
#include <vector>

#include "neural/NeuralModel.h"
#include "support/ModelWriter.h"
#include "support/RandomConv.h"

namespace vorun::benchmarks {

/** Loads the file that the writer describes; throws std::runtime_error if it is refused. */
NeuralModel<float> modelOf(const writer::ModelWriter& file);

/** A tensor of random numbers between -1 and 1, the same in every run. */
Tensor<float> randomTensor(const std::vector<std::int32_t>& shape);

}  // namespace vorun::benchmarks
