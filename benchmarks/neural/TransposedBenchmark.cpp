#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "BenchmarkModel.h"

// The layers that multiply and smooth frames, one between a model's input and its output, one frame
// a call.

namespace vorun::benchmarks {
namespace {

/** Arguments: frames and height of the kernel, input channels, output channels, height, stride of
 * both time and height. */
void transposedConvolution(benchmark::State& state) {
    const auto argument = [&](std::size_t i) { return static_cast<std::int32_t>(state.range(i)); };
    writer::TransposedConvRecord record;
    record.weights = randomBlock({argument(0), argument(1), argument(3), argument(2)});
    record.bias = randomBlock({argument(3)});
    record.outChannels = static_cast<std::int16_t>(argument(3));
    record.timeStride = static_cast<std::int8_t>(argument(5));
    record.heightStride = static_cast<std::int8_t>(argument(5));
    writer::ModelWriter file;
    file.addTransposedConv("layer", "input", record);
    runFrames(state, file, randomTensor({1, argument(4), argument(2)}),
              state.range(0) * state.range(1) * state.range(2) * state.range(3) * state.range(4),
              argument(5) - 1);
}

BENCHMARK(transposedConvolution)
    ->ArgNames({"frames", "kernel", "in", "out", "height", "stride"})
    ->Args({1, 3, 8, 1, 257, 1})
    ->Args({3, 3, 8, 8, 128, 1})
    ->Args({3, 4, 16, 16, 64, 2})
    ->Args({3, 3, 32, 32, 64, 1})
    ->Args({1, 2, 64, 32, 64, 2});

/** Arguments: channels, height. The kernel is 3 frames by 3 bins. */
void depthwiseTransposedConvolution(benchmark::State& state) {
    const auto channels = static_cast<std::int32_t>(state.range(0));
    const auto height = static_cast<std::int32_t>(state.range(1));
    writer::TransposedConvRecord record;
    record.weights = randomBlock({3, 3, 1, channels});
    record.outChannels = static_cast<std::int16_t>(channels);
    writer::ModelWriter file;
    file.addTransposedConv("layer", "input", record);
    runFrames(state, file, randomTensor({1, height, channels}),
              9 * state.range(0) * state.range(1));
}

BENCHMARK(depthwiseTransposedConvolution)
    ->ArgNames({"channels", "height"})
    ->Args({8, 128})
    ->Args({32, 64})
    ->Args({64, 64});

/** Arguments: time taps, height taps, channels, height. */
void separableConvolution(benchmark::State& state) {
    const auto argument = [&](std::size_t i) { return static_cast<std::int32_t>(state.range(i)); };
    writer::ModelWriter file;
    file.addTwoTensors("layer", "input", writer::LayerType::separableChannelConv,
                       randomBlock({argument(0)}), randomBlock({argument(1)}));
    runFrames(state, file, randomTensor({1, argument(3), argument(2)}),
              (state.range(0) + state.range(1)) * state.range(2) * state.range(3));
}

BENCHMARK(separableConvolution)
    ->ArgNames({"timeTaps", "heightTaps", "channels", "height"})
    ->Args({3, 3, 1, 257})
    ->Args({5, 5, 8, 128})
    ->Args({9, 9, 2, 257});

}  // namespace
}  // namespace vorun::benchmarks
