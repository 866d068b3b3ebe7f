#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "BenchmarkModel.h"
#include "support/PairedTimes.h"

// What a multiply-add costs in a convolution of any number of channels, in turns with one of the
// same form that is wide: no count of channels may fall off a cliff. The layer alone: the two ends
// of a model copy results, which says nothing about it.

namespace vorun::benchmarks {
namespace {

constexpr std::int32_t height = 256;
constexpr std::int32_t kernel = 3;
constexpr std::int32_t usualChannels = 32;

/** A layer that hands its result to nobody. */
class LoneLayer {
  public:
    LoneLayer(const writer::ModelWriter& file, const std::vector<std::int32_t>& shape,
              double multiplyAdds)
        : model_(modelOf(file)),
          layer_(findLayer<float>(model_.layers, "layer")),
          frame_(randomTensor(shape)),
          multiplyAdds_(multiplyAdds) {
        layer_->consumers.clear();
    }

    void run() { benchmark::DoNotOptimize(layer_->AddTensor(frame_, nullptr)); }

    double multiplyAdds() const { return multiplyAdds_; }

  private:
    NeuralModel<float> model_;
    std::shared_ptr<BaseLayer<float>> layer_;
    Tensor<float> frame_;
    double multiplyAdds_;
};

LoneLayer convolution(std::int32_t in, std::int32_t out) {
    writer::ModelWriter file;
    file.addConv("layer", "input", randomConv({kernel, kernel, in, out}));
    file.setOutputSource("layer");
    return {file, {1, height, in}, 1.0 * kernel * kernel * height * in * out};
}

/** Each channel by itself. */
LoneLayer depthwise(std::int32_t channels) {
    writer::ModelWriter file;
    file.addConv("layer", "input", randomConv({kernel, kernel, 1, channels}));
    file.setOutputSource("layer");
    return {file, {1, height, channels}, 1.0 * kernel * kernel * height * channels};
}

/** From half as many bins. */
LoneLayer transposed(std::int32_t in, std::int32_t out) {
    constexpr std::int32_t kernelHeight = 5;
    writer::TransposedConvRecord record;
    record.weights = randomBlock({kernel, kernelHeight, out, in});
    record.bias = randomBlock({out});
    record.outChannels = static_cast<std::int16_t>(out);
    record.heightStride = 2;
    writer::ModelWriter file;
    file.addTransposedConv("layer", "input", record);
    file.setOutputSource("layer");
    constexpr std::int32_t bins = height / 2;
    return {file, {1, bins, in}, 1.0 * kernel * kernelHeight * bins * in * out};
}

void compare(benchmark::State& state, LoneLayer shape, LoneLayer usual, const char* counter) {
    PairedTimes times;
    times.measure(
        state, [&] { shape.run(); }, [&] { usual.run(); });
    const double cost = times.measured() / shape.multiplyAdds();
    state.counters["median_us"] = times.measured() * 1e6;
    state.counters["GFLOP/s"] = 2e-9 / cost;
    state.counters[counter] = cost / (times.compared() / usual.multiplyAdds());
}

std::int32_t argument(const benchmark::State& state, std::size_t index) {
    return static_cast<std::int32_t>(state.range(index));
}

/** Arguments: channels in and out. */
void shapeSweep(benchmark::State& state) {
    compare(state, convolution(argument(state, 0), argument(state, 1)),
            convolution(usualChannels, usualChannels), "x_32to32");
}
void transposedSweep(benchmark::State& state) {
    compare(state, transposed(argument(state, 0), argument(state, 1)),
            transposed(usualChannels, usualChannels), "x_32to32");
}
/** Argument: channels. */
void depthwiseSweep(benchmark::State& state) {
    compare(state, depthwise(argument(state, 0)), depthwise(usualChannels), "x_32");
}

BENCHMARK(shapeSweep)
    ->ArgNames({"in", "out"})
    ->ArgsProduct({{1, 2, 3, 4, 5, 8, 12, 16, 20, 24, 32, 33, 48, 64},
                   {1, 2, 3, 4, 5, 8, 12, 16, 20, 24, 32, 33, 48, 64}})
    ->UseManualTime()
    ->Iterations(40)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(transposedSweep)
    ->ArgNames({"in", "out"})
    ->ArgsProduct({{1, 2, 4, 8, 12, 16, 32, 64}, {1, 2, 3, 4, 8, 12, 16, 20, 32, 64}})
    ->UseManualTime()
    ->Iterations(40)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(depthwiseSweep)
    ->ArgName("channels")
    ->ArgsProduct({{2, 3, 4, 5, 8, 12, 16, 20, 24, 32, 33, 48, 64}})
    ->UseManualTime()
    ->Iterations(40)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vorun::benchmarks
