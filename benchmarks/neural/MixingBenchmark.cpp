#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "BenchmarkModel.h"

// The layers that mix bins, channels or past frames, one between a model's input and its output,
// one frame a call.

namespace vorun::benchmarks {
namespace {

/** Arguments: channels, height. */
void dense(benchmark::State& state) {
    const auto channels = static_cast<std::int32_t>(state.range(0));
    const auto height = static_cast<std::int32_t>(state.range(1));
    writer::ModelWriter file;
    file.addTwoTensors("layer", "input", writer::LayerType::dense,
                       randomBlock({height, height, channels}), randomBlock({height, channels}));
    runFrames(state, file, randomTensor({1, height, channels}),
              state.range(1) * state.range(1) * state.range(0));
}

BENCHMARK(dense)
    ->ArgNames({"channels", "height"})
    ->Args({1, 64})
    ->Args({1, 257})
    ->Args({8, 64})
    ->Args({16, 64})
    ->Args({64, 32});

/** Arguments: channels, height. */
void norm(benchmark::State& state) {
    const auto channels = static_cast<std::int32_t>(state.range(0));
    const auto height = static_cast<std::int32_t>(state.range(1));
    writer::ModelWriter file;
    file.addTwoTensors("layer", "input", writer::LayerType::norm, randomBlock({channels}),
                       randomBlock({channels}));
    runFrames(state, file, randomTensor({1, height, channels}), state.range(0) * state.range(1));
}

BENCHMARK(norm)->ArgNames({"channels", "height"})->Args({1, 257})->Args({8, 128})->Args({64, 64});

/** Arguments: frames of the window, elements of the frame. */
void preNorm(benchmark::State& state) {
    const auto window = static_cast<std::int32_t>(state.range(0));
    const auto elements = static_cast<std::int32_t>(state.range(1));
    writer::ModelWriter file;
    // All the same, and positive: random ones could cancel each other.
    file.addPreNorm("layer", "input",
                    {{window}, std::vector<float>(static_cast<std::size_t>(window), 0.1F)});
    runFrames(state, file, randomTensor({1, elements, 1}), 2 * state.range(1) + state.range(0));
}

BENCHMARK(preNorm)
    ->ArgNames({"window", "elements"})
    ->Args({8, 257})
    ->Args({200, 257})
    ->Args({8, 4096});

/** Arguments: frames of the window or 0 for none, channels, height. */
void selfAttention(benchmark::State& state) {
    const auto window = static_cast<std::int32_t>(state.range(0));
    const auto channels = static_cast<std::int32_t>(state.range(1));
    const auto height = static_cast<std::int32_t>(state.range(2));
    writer::SelfAttentionRecord record;
    record.projection = randomBlock({channels, channels});
    record.projectionBias = randomBlock({height, channels});
    record.attentionWeights = randomBlock({window, channels});
    writer::ModelWriter file;
    file.addSelfAttention("layer", "input", record);
    runFrames(state, file, randomTensor({1, height, channels}),
              (state.range(0) + state.range(1)) * state.range(1) * state.range(2));
}

BENCHMARK(selfAttention)
    ->ArgNames({"window", "channels", "height"})
    ->Args({0, 32, 64})
    ->Args({16, 8, 128})
    ->Args({16, 32, 64})
    ->Args({64, 64, 32});

}  // namespace
}  // namespace vorun::benchmarks
