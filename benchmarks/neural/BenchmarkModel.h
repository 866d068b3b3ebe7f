#pragma once

#include <benchmark/benchmark.h>
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

/** A tensor block of random weights. */
writer::TensorBlock randomBlock(const std::vector<std::int32_t>& shape);

/**
 * Runs the file's layer named "layer", one frame a call and `ticks` after each, and reports its
 * multiply-adds beside the frames. The figure includes what TakeResult() costs: one small block and
 * a copy.
 */
void runFrames(benchmark::State& state, writer::ModelWriter& file, const Tensor<float>& frame,
               std::int64_t multiplyAdds, std::int32_t ticks = 0);

}  // namespace vorun::benchmarks
