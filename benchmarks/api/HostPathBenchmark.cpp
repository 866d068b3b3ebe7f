#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HostProcessor.h"
#include "support/HopTimes.h"

/* The whole path as a host drives it: one hop pushed, one hop pulled. Items are sample frames. */
namespace vorun::benchmarks {
namespace {

enum class Material : std::int64_t { noise, silenceAfterNoise, denormal };

std::string label(Network network, Material material) {
    constexpr const char* materials[] = {"noise", "silence after noise", "denormal"};
    return std::string(nameOf(network)) + ", " + materials[static_cast<std::size_t>(material)];
}

void hostPath(benchmark::State& state) {
    const auto network = static_cast<Network>(state.range(0));
    const auto channels = static_cast<int32_t>(state.range(1));
    const auto material = static_cast<Material>(state.range(2));
    HostProcessor processor(network, channels);
    const std::vector<float> noise = hopOf(0.1f, channels);
    std::vector<float> in = noise;
    std::vector<float> out(in.size());
    if (material == Material::denormal) {
        in = hopOf(1e-40f, channels);
    }
    for (int warmUp = 0; warmUp < 50; ++warmUp) {
        processor.runHop(material == Material::denormal ? in : noise, out);
    }
    if (material == Material::silenceAfterNoise) {
        std::fill(in.begin(), in.end(), 0.0f);
    }
    HopTimes times;
    times.measure(state, [&](std::size_t) { processor.runHop(in, out); });
    times.report(state, hopSamples, sampleRate);
    state.SetLabel(label(network, material));
    state.SetItemsProcessed(state.iterations() * hopSamples);
}

BENCHMARK(hostPath)
    ->ArgNames({"network", "channels", "material"})
    ->ArgsProduct({{static_cast<std::int64_t>(Network::identity),
                    static_cast<std::int64_t>(Network::convolution)},
                   {1, 2},
                   {static_cast<std::int64_t>(Material::noise),
                    static_cast<std::int64_t>(Material::silenceAfterNoise),
                    static_cast<std::int64_t>(Material::denormal)}})
    ->MinTime(2.0);

}  // namespace
}  // namespace vorun::benchmarks
