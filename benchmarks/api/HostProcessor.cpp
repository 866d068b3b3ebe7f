#include "HostProcessor.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include "BenchmarkModels.h"

namespace vorun::benchmarks {

const char* nameOf(Network network) {
    constexpr const char* names[] = {"identity", "four convolutions"};
    return names[static_cast<std::size_t>(network)];
}

HostProcessor::HostProcessor(Network network, int32_t channels) {
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

HostProcessor::~HostProcessor() {
    vorunDeleteProcessor(handle_);
}

void HostProcessor::runHop(const std::vector<float>& in, std::vector<float>& out) {
    vorunAddAudioInterleaved(handle_, in.data(), hopSamples);
    if (vorunGetNumOfPendingSamples(handle_) >= hopSamples) {
        vorunGetAudioInterleaved(handle_, out.data(), hopSamples);
    }
    benchmark::DoNotOptimize(out.data());
}

std::vector<float> hopOf(float level, int32_t channels) {
    std::mt19937 generator(7);
    std::normal_distribution<float> sample(0.0f, level);
    std::vector<float> block(static_cast<std::size_t>(hopSamples * channels));
    std::generate(block.begin(), block.end(), [&] { return sample(generator); });
    return block;
}

}  // namespace vorun::benchmarks
