#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchmarkModels.h"
#include "support/HopTimes.h"
#include "vorun/vorun.h"

/* The whole path as a host drives it: one hop pushed, one hop pulled. Items are sample frames. */
namespace vorun::benchmarks {
namespace {

constexpr int32_t hop = 256;
constexpr double sampleRate = 48000.0;

enum class Network : std::int64_t { identity, convolution };
enum class Material : std::int64_t { noise, silenceAfterNoise, denormal };

/** A processor of one network whose model file lives only until it is loaded. */
class Processor {
  public:
    Processor(Network network, int32_t channels) {
        const auto path = std::filesystem::temp_directory_path() /
                          ("vorun-benchmark-" + std::to_string(std::random_device{}()) + ".vorun");
        const auto model = network == Network::identity ? identityModel() : convolutionModel();
        model.writeFile(path.string());
        handle_ = vorunCreateProcessor(path.string().c_str(), channels, sampleRate);
        std::filesystem::remove(path);
        if (handle_ == nullptr) {
            throw std::runtime_error("The benchmark's model is refused");
        }
    }
    ~Processor() { vorunDeleteProcessor(handle_); }
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;

    void runHop(const std::vector<float>& in, std::vector<float>& out) {
        vorunAddAudioInterleaved(handle_, in.data(), hop);
        if (vorunGetNumOfPendingSamples(handle_) >= hop) {
            vorunGetAudioInterleaved(handle_, out.data(), hop);
        }
        benchmark::DoNotOptimize(out.data());
    }

  private:
    ProcessorHandle handle_ = nullptr;
};

std::vector<float> hopOf(float level, int32_t channels) {
    std::mt19937 generator(7);
    std::normal_distribution<float> sample(0.0f, level);
    std::vector<float> block(static_cast<std::size_t>(hop * channels));
    std::generate(block.begin(), block.end(), [&] { return sample(generator); });
    return block;
}

std::string label(Network network, Material material) {
    constexpr const char* networks[] = {"identity", "four convolutions"};
    constexpr const char* materials[] = {"noise", "silence after noise", "denormal"};
    return std::string(networks[static_cast<std::size_t>(network)]) + ", " +
           materials[static_cast<std::size_t>(material)];
}

void hostPath(benchmark::State& state) {
    const auto network = static_cast<Network>(state.range(0));
    const auto channels = static_cast<int32_t>(state.range(1));
    const auto material = static_cast<Material>(state.range(2));
    Processor processor(network, channels);
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
    times.report(state, hop, sampleRate);
    state.SetLabel(label(network, material));
    state.SetItemsProcessed(state.iterations() * hop);
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
