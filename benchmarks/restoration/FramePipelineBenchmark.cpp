#include <benchmark/benchmark.h>
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
#include "support/HopTimes.h"

/*
 * The processor with small networks, frame by frame and hop by hop. Items are bins of one frame, or
 * sample frames of one hop.
 */
namespace vorun::benchmarks {
namespace {

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

std::string nameOf(Network network) {
    constexpr const char* names[] = {"pass-through", "gate", "four stems"};
    return names[static_cast<std::size_t>(network)];
}

std::string nameOf(Material material) {
    constexpr const char* names[] = {"speech", "silence after speech", "denormal"};
    return names[static_cast<std::size_t>(material)];
}

/** The mask is reshaped at any sensitivity but 0. */
std::string nameOf(float sensitivity) {
    return sensitivity == 0.0f ? "mask as it is" : "mask reshaped";
}

/** Times `step` hop by hop; items are what one hop holds of each channel. */
template <class Step>
void timeHops(benchmark::State& state, std::int32_t items, Step step) {
    HopTimes times;
    times.measure(state, step);
    times.report(state, hopSize, sampleRate);
    state.SetItemsProcessed(state.iterations() * items);
}

void ProcessSpectrum(benchmark::State& state) {
    const auto network = static_cast<Network>(state.range(0));
    const auto sensitivity = static_cast<float>(state.range(1));
    const auto processor = processorWith(network, sensitivity);
    const ComplexSignal32 frame = randomSpectrum(1.0f);
    state.SetLabel(nameOf(network) + ", " + nameOf(sensitivity));
    timeHops(state, bins,
             [&](std::size_t) { benchmark::DoNotOptimize(processor->processSpectrum(frame)); });
}
BENCHMARK(ProcessSpectrum)
    ->ArgNames({"network", "sensitivity"})
    ->ArgsProduct({{0, 1, 2}, {0, 50}})
    ->Unit(benchmark::kMicrosecond);

/** Rows differ in material alone, so that what silence or denormals cost stands beside speech. */
void ProcessHop(benchmark::State& state) {
    constexpr std::int32_t loopHops = 500;
    const auto network = static_cast<Network>(state.range(0));
    const auto material = static_cast<Material>(state.range(1));
    const auto sensitivity = static_cast<float>(state.range(2));
    const auto processor = processorWith(network, sensitivity);
    // Speech first in every case: silence and denormals then meet histories that hold something.
    for (const Signal32& hop : hopsOf(Material::speech, loopHops)) {
        processor->process(hop);
    }
    const auto hops = hopsOf(material, loopHops);
    state.SetLabel(nameOf(network) + ", " + nameOf(material) + ", " + nameOf(sensitivity));
    timeHops(state, hopSize, [&](std::size_t hop) {
        benchmark::DoNotOptimize(processor->process(hops[hop % hops.size()]));
    });
}
BENCHMARK(ProcessHop)
    ->ArgNames({"network", "material", "sensitivity"})
    ->ArgsProduct({{0, 1, 2}, {0, 1, 2}, {0, 50}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vorun::benchmarks
