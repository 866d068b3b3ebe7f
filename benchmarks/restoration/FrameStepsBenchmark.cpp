#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <vector>

#include "BenchmarkFrames.h"
#include "restoration/ChannelMatching.h"
#include "restoration/MaskShaping.h"
#include "restoration/SpectrumCoding.h"

/*
 * The steps of one frame, each by itself. Items are bins of all channels. `level` is the power of
 * ten of the largest magnitude; -40 makes every value denormal.
 */
namespace vorun::benchmarks {
namespace {

float levelOf(std::int64_t powerOfTen) {
    return powerOfTen == 0 ? 1.0f : 1e-40f;
}

NeuralModel<float> passThrough() {
    NeuralModel<float> model;
    model.inputBins = bins;
    model.complexInputBins = complexBins;
    model.inputChannels = channels;
    model.outputChannels = channels;
    model.maskCount = 1;
    return model;
}

void countBins(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * channels * bins);
}

void SpectrumToTensor(benchmark::State& state) {
    const NeuralModel<float> model = passThrough();
    const std::vector<ComplexSignal32> frames = {randomSpectrum(levelOf(state.range(0)))};
    for (auto _ : state) {
        benchmark::DoNotOptimize(spectrumToTensor(model, frames));
    }
    countBins(state);
}
BENCHMARK(SpectrumToTensor)->ArgName("level")->Arg(0)->Arg(-40);

void TensorToSpectra(benchmark::State& state) {
    const NeuralModel<float> model = passThrough();
    const Tensor<float> tensor = spectrumToTensor(model, {randomSpectrum(levelOf(state.range(0)))});
    for (auto _ : state) {
        benchmark::DoNotOptimize(tensorToSpectra(model, tensor, bins));
    }
    countBins(state);
}
BENCHMARK(TensorToSpectra)->ArgName("level")->Arg(0)->Arg(-40);

void ReshapeMask(benchmark::State& state) {
    const ComplexSignal32 mask = randomSpectrum(levelOf(state.range(0)));
    const auto sensitivity = static_cast<float>(state.range(1));
    for (auto _ : state) {
        benchmark::DoNotOptimize(reshapeMask(mask, sensitivity, {channels, bins}));
    }
    countBins(state);
}
BENCHMARK(ReshapeMask)->ArgNames({"level", "sensitivity"})->ArgsProduct({{0, -40}, {-50, 0, 50}});

void ReshapePositiveMask(benchmark::State& state) {
    ComplexSignal32 mask = randomSpectrum(1.0f);
    for (std::int32_t c = 0; c < channels; ++c) {
        Ipp32fc* row = mask.channelData(c);
        std::transform(row, row + bins, row, [](Ipp32fc bin) {
            return Ipp32fc{std::abs(bin.re), 0.0f};
        });
    }
    const auto sensitivity = static_cast<float>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(reshapeMask(mask, sensitivity, {channels, bins}));
    }
    countBins(state);
}
BENCHMARK(ReshapePositiveMask)->ArgName("sensitivity")->Arg(-50)->Arg(0)->Arg(50);

void MatchChannels(benchmark::State& state) {
    const ComplexSignal32 signal = randomSpectrum(1.0f);
    const auto wanted = static_cast<std::int32_t>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(matchChannels(signal, wanted));
    }
    countBins(state);
}
BENCHMARK(MatchChannels)->ArgName("channels")->Arg(1)->Arg(2)->Arg(6);

}  // namespace
}  // namespace vorun::benchmarks
