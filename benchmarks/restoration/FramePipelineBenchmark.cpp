#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchmarkFrames.h"
#include "restoration/VorunProcessor.h"

/*
 * The processor with small networks, frame by frame and hop by hop. Beside the mean time each row
 * reports
 *
 *   rtf         computing time over playing time of one hop, mean; below 1 keeps up
 *   median_us   time of one hop
 *   p999_us     99.9 % of hops take less
 *   worst_us    the slowest hop
 */
namespace vorun::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;

/** A prepared processor whose model file lives only until it is loaded. */
std::unique_ptr<VorunProcessor> processorWith(Network network, float sensitivity) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("vorun-benchmark-" + std::to_string(std::random_device{}()) + ".model");
    modelOf(network).writeFile(path.string());
    auto processor = std::make_unique<VorunProcessor>();
    const bool loaded = processor->loadModels({path.string()});
    std::filesystem::remove(path);
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = sampleRate;
    if (!loaded || !processor->prepare(layout, layout)) {
        throw std::runtime_error("The benchmark's model is refused");
    }
    for (std::int32_t bus = 0; bus < BusValues::count; ++bus) {
        processor->setBusSensitivity(bus, sensitivity);
    }
    return processor;
}

double quantile(const std::vector<double>& sorted, double share) {
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::ceil(share * last))];
}

void report(benchmark::State& state, std::vector<double> microseconds) {
    if (microseconds.empty()) {
        return;
    }
    double total = 0.0;
    for (const double time : microseconds) {
        total += time;
    }
    std::sort(microseconds.begin(), microseconds.end());
    const double playing = 1e6 * hopSize / sampleRate;
    state.counters["rtf"] = total / static_cast<double>(microseconds.size()) / playing;
    state.counters["median_us"] = quantile(microseconds, 0.5);
    state.counters["p999_us"] = quantile(microseconds, 0.999);
    state.counters["worst_us"] = microseconds.back();
    state.SetItemsProcessed(state.iterations() * hopSize);
}

/** Runs `step` once an iteration and reports its times; `step` takes the iteration's number. */
template <class Step>
void timeHops(benchmark::State& state, Step step) {
    std::vector<double> microseconds;
    std::size_t hop = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        step(hop++);
        const std::chrono::duration<double, std::micro> taken = Clock::now() - start;
        microseconds.push_back(taken.count());
    }
    report(state, std::move(microseconds));
}

void ProcessSpectrum(benchmark::State& state) {
    const auto processor =
        processorWith(static_cast<Network>(state.range(0)), static_cast<float>(state.range(1)));
    const ComplexSignal32 frame = randomSpectrum(1.0f);
    timeHops(state,
             [&](std::size_t) { benchmark::DoNotOptimize(processor->processSpectrum(frame)); });
}
BENCHMARK(ProcessSpectrum)
    ->ArgNames({"network", "sensitivity"})
    ->ArgsProduct({{0, 1, 2}, {0, 50}})
    ->Unit(benchmark::kMicrosecond);

/** Rows differ in material alone, so that what silence or denormals cost stands beside speech. */
void ProcessHop(benchmark::State& state) {
    constexpr std::int32_t loopHops = 500;
    const auto processor =
        processorWith(static_cast<Network>(state.range(0)), static_cast<float>(state.range(2)));
    // Speech first in every case: silence and denormals then meet histories that hold something.
    for (const Signal32& hop : hopsOf(Material::speech, loopHops)) {
        processor->process(hop);
    }
    const auto hops = hopsOf(static_cast<Material>(state.range(1)), loopHops);
    timeHops(state, [&](std::size_t hop) {
        benchmark::DoNotOptimize(processor->process(hops[hop % hops.size()]));
    });
}
BENCHMARK(ProcessHop)
    ->ArgNames({"network", "material", "sensitivity"})
    ->ArgsProduct({{0, 1, 2}, {0, 1, 2}, {0, 50}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vorun::benchmarks
