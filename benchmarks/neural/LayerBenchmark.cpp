#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

#include "BenchmarkModel.h"

// One layer between a model's input and its output, one frame a call. The figure includes what
// TakeResult() costs: one small block and a copy.

namespace vorun::benchmarks {
namespace {

/** Arguments: kernel frames, kernel height, input channels, output channels, height. */
void convolution(benchmark::State& state) {
    const auto argument = [&](std::size_t i) { return static_cast<std::int32_t>(state.range(i)); };
    const std::int32_t inChannels = argument(2);
    const std::int32_t height = argument(4);
    writer::ModelWriter file;
    file.addConv("layer", "input", randomConv({argument(0), argument(1), inChannels, argument(3)}));
    runFrames(state, file, randomTensor({1, height, inChannels}),
              state.range(0) * state.range(1) * state.range(2) * state.range(3) * state.range(4));
}

BENCHMARK(convolution)
    ->ArgNames({"frames", "kernel", "in", "out", "height"})
    ->Args({1, 3, 1, 8, 257})
    ->Args({3, 3, 8, 8, 128})
    ->Args({3, 3, 16, 16, 64})
    ->Args({3, 3, 32, 32, 64})
    ->Args({1, 1, 64, 64, 64});

/** Arguments: channels, height. The kernel is 3 frames by 3 bins. */
void depthwiseConvolution(benchmark::State& state) {
    const auto channels = static_cast<std::int32_t>(state.range(0));
    const auto height = static_cast<std::int32_t>(state.range(1));
    writer::ModelWriter file;
    file.addConv("layer", "input", randomConv({3, 3, 1, channels}));
    runFrames(state, file, randomTensor({1, height, channels}),
              9 * state.range(0) * state.range(1));
}

BENCHMARK(depthwiseConvolution)
    ->ArgNames({"channels", "height"})
    ->Args({8, 128})
    ->Args({32, 64})
    ->Args({64, 64});

/** Argument: elements of the frame. */
void activation(benchmark::State& state, writer::LayerType type) {
    const auto elements = static_cast<std::int32_t>(state.range(0));
    writer::ModelWriter file;
    if (type == writer::LayerType::leakyRelu) {
        file.addLeakyRelu("layer", "input", 0.1F);
    } else {
        file.addActivation("layer", "input", type);
    }
    runFrames(state, file, randomTensor({1, elements, 1}), 0);
    state.SetItemsProcessed(state.iterations() * elements);
}

BENCHMARK_CAPTURE(activation, relu, writer::LayerType::relu)->Arg(257)->Arg(4096);
BENCHMARK_CAPTURE(activation, leakyRelu, writer::LayerType::leakyRelu)->Arg(257)->Arg(4096);
BENCHMARK_CAPTURE(activation, elu, writer::LayerType::elu)->Arg(257)->Arg(4096);
BENCHMARK_CAPTURE(activation, sigmoid, writer::LayerType::sigmoid)->Arg(257)->Arg(4096);
BENCHMARK_CAPTURE(activation, hardSigmoid, writer::LayerType::hardSigmoid)->Arg(257)->Arg(4096);
BENCHMARK_CAPTURE(activation, softplus, writer::LayerType::softplus)->Arg(257)->Arg(4096);

}  // namespace
}  // namespace vorun::benchmarks
