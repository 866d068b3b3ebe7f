#include <benchmark/benchmark.h>
#include <cstdint>
#include <memory>
#include <string>

#include "BenchmarkModel.h"
#include "support/PairedTimes.h"

// What a multiply-add costs in a convolution of any number of channels, in turns with one of 32 to
// 32: no count of channels may fall off a cliff. The layer alone, since what the two ends of a
// model take is the same for all of them.

namespace vorun::benchmarks {
namespace {

constexpr std::int32_t height = 256;
constexpr std::int32_t kernel = 3;
constexpr std::int32_t usualChannels = 32;

/** One convolution that hands its result to nobody. */
class LoneConvolution {
  public:
    LoneConvolution(std::int32_t in, std::int32_t out)
        : model_(modelOf(fileOf(in, out))),
          layer_(findLayer<float>(model_.layers, "layer")),
          frame_(randomTensor({1, height, in})),
          multiplyAdds_(1.0 * kernel * kernel * height * in * out) {
        layer_->consumers.clear();
    }

    void run() { benchmark::DoNotOptimize(layer_->AddTensor(frame_, nullptr)); }

    double multiplyAdds() const { return multiplyAdds_; }

  private:
    static writer::ModelWriter fileOf(std::int32_t in, std::int32_t out) {
        writer::ModelWriter file;
        file.addConv("layer", "input", randomConv({kernel, kernel, in, out}));
        file.setOutputSource("layer");
        return file;
    }

    NeuralModel<float> model_;
    std::shared_ptr<BaseLayer<float>> layer_;
    Tensor<float> frame_;
    double multiplyAdds_;
};

/** Arguments: channels in and out. */
void shapeSweep(benchmark::State& state) {
    LoneConvolution shape(static_cast<std::int32_t>(state.range(0)),
                          static_cast<std::int32_t>(state.range(1)));
    LoneConvolution usual(usualChannels, usualChannels);
    PairedTimes times;
    times.measure(
        state, [&] { shape.run(); }, [&] { usual.run(); });
    const double cost = times.measured() / shape.multiplyAdds();
    state.counters["median_us"] = times.measured() * 1e6;
    state.counters["GFLOP/s"] = 2e-9 / cost;
    state.counters["x_32to32"] = cost / (times.compared() / usual.multiplyAdds());
}

BENCHMARK(shapeSweep)
    ->ArgNames({"in", "out"})
    ->ArgsProduct({{1, 2, 3, 4, 5, 8, 12, 16, 20, 24, 32, 33, 48, 64},
                   {1, 2, 3, 4, 5, 8, 12, 16, 20, 24, 32, 33, 48, 64}})
    ->UseManualTime()
    ->Iterations(40)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vorun::benchmarks
