#include <benchmark/benchmark.h>
#include <cstdint>

#include "BenchmarkModel.h"

// The joins, of the model's input with itself behind a copy, one frame a call. Each queued frame
// takes a block, which the figure includes.

namespace vorun::benchmarks {
namespace {

Tensor<float> frameOf(const benchmark::State& state) {
    return randomTensor(
        {1, static_cast<std::int32_t>(state.range(1)), static_cast<std::int32_t>(state.range(0))});
}

/** Arguments: channels of each input, height. */
void concat(benchmark::State& state) {
    writer::ModelWriter file;
    file.addActivation("copy", "input", writer::LayerType::relu)
        .addConcat("layer", {"input", "copy"});
    runFrames(state, file, frameOf(state), 0);
}

BENCHMARK(concat)->ArgNames({"channels", "height"})->Args({1, 257})->Args({8, 128})->Args({32, 64});

/** Arguments: channels, height. The operation adds. */
void arithmetic(benchmark::State& state) {
    writer::ModelWriter file;
    file.addActivation("copy", "input", writer::LayerType::relu)
        .addArithmetic("layer", {"input", "copy"}, 2);
    runFrames(state, file, frameOf(state), state.range(0) * state.range(1));
}

BENCHMARK(arithmetic)
    ->ArgNames({"channels", "height"})
    ->Args({1, 257})
    ->Args({8, 128})
    ->Args({32, 64});

}  // namespace
}  // namespace vorun::benchmarks
