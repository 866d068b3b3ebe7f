#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <list>
#include <random>
#include <vector>

#include "audio/BaseSpectralProcessor.h"

namespace vorun {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kSampleRate = 48000.0;
constexpr std::int32_t kFrame = 1024;

class IdentityProcessor : public BaseSpectralProcessor {
  public:
    IdentityProcessor(std::int32_t channels, std::int32_t hop) {
        ChannelLayout layout = ChannelLayout::forChannelCount(channels);
        layout.sampleRate = kSampleRate;
        prepare(layout, layout);
        setFrameSizes(kFrame, kFrame, hop);
    }

    std::list<ComplexSignal32> processSpectrum(const ComplexSignal32& spectrum) override {
        return {spectrum};
    }
};

Signal32 noiseBlock(std::int32_t channels, std::int32_t length) {
    std::mt19937 generator(7);
    std::normal_distribution<float> level(0.0F, 0.1F);
    Signal32 block(channels, length);
    for (std::int32_t c = 0; c < channels; ++c) {
        std::generate_n(block.channelData(c), length, [&] { return level(generator); });
    }
    return block;
}

double quantile(const std::vector<double>& sorted, double share) {
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::ceil(share * last))];
}

// One frame in, one hop out for each call, as a host with blocks of a hop causes it.
void framing(benchmark::State& state) {
    const auto hop = static_cast<std::int32_t>(state.range(0));
    const auto channels = static_cast<std::int32_t>(state.range(1));
    IdentityProcessor processor(channels, hop);
    const Signal32 block = noiseBlock(channels, hop);
    for (int warmUp = 0; warmUp < 50; ++warmUp) {
        benchmark::DoNotOptimize(processor.process(block));
    }
    std::vector<double> microseconds;
    for ([[maybe_unused]] auto _ : state) {
        const auto start = Clock::now();
        benchmark::DoNotOptimize(processor.process(block));
        const std::chrono::duration<double, std::micro> time = Clock::now() - start;
        microseconds.push_back(time.count());
    }
    std::sort(microseconds.begin(), microseconds.end());
    double total = 0.0;
    for (const double time : microseconds) {
        total += time;
    }
    const double hopMicroseconds = 1e6 * hop / kSampleRate;
    state.counters["rtf"] = total / static_cast<double>(microseconds.size()) / hopMicroseconds;
    state.counters["median_us"] = quantile(microseconds, 0.5);
    state.counters["p999_us"] = quantile(microseconds, 0.999);
    state.counters["worst_us"] = microseconds.back();
    state.SetItemsProcessed(state.iterations() * hop * channels);
}

BENCHMARK(framing)->ArgNames({"hop", "channels"})->ArgsProduct({{256, 512}, {1, 2}});

}  // namespace
}  // namespace vorun
