#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>

#include "BenchmarkModel.h"
#include "support/HopTimes.h"

namespace vorun::benchmarks {
namespace {

constexpr std::int32_t bins = 257;

/** Four convolutions over 257 bins, one channel over eight to a mask. */
NeuralModel<float> smallNetwork() {
    using writer::LayerType;
    writer::ModelWriter file;
    file.addConv("conv 1", "input", randomConv({1, 5, 1, 8}))
        .addActivation("elu 1", "conv 1", LayerType::elu)
        .addConv("conv 2", "elu 1", randomConv({3, 3, 8, 8}))
        .addActivation("elu 2", "conv 2", LayerType::elu)
        .addConv("conv 3", "elu 2", randomConv({3, 3, 1, 8}))
        .addLeakyRelu("leaky", "conv 3", 0.1F)
        .addConv("conv 4", "leaky", randomConv({1, 1, 8, 1}))
        .addActivation("sigmoid", "conv 4", LayerType::sigmoid)
        .setOutputSource("sigmoid");
    return modelOf(file);
}

/** Items are frames. */
void network(benchmark::State& state) {
    NeuralModel<float> model = smallNetwork();
    const Tensor<float> frame = randomTensor({1, bins, 1});
    HopTimes times;
    times.measure(state, [&](std::size_t) {
        model.input->AddTensor(frame, nullptr);
        benchmark::DoNotOptimize(model.output->TakeResult());
    });
    times.report(state);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(network)->Unit(benchmark::kMicrosecond);

void loadNetwork(benchmark::State& state) {
    for (auto step : state) {
        benchmark::DoNotOptimize(smallNetwork());
    }
}

BENCHMARK(loadNetwork)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vorun::benchmarks
