#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <list>
#include <random>

#include "audio/BaseSpectralProcessor.h"
#include "support/HopTimes.h"

namespace vorun {
namespace {

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

// One frame in, one hop out for each call, as a host with blocks of a hop causes it.
void framing(benchmark::State& state) {
    const auto hop = static_cast<std::int32_t>(state.range(0));
    const auto channels = static_cast<std::int32_t>(state.range(1));
    IdentityProcessor processor(channels, hop);
    const Signal32 block = noiseBlock(channels, hop);
    for (int warmUp = 0; warmUp < 50; ++warmUp) {
        benchmark::DoNotOptimize(processor.process(block));
    }
    benchmarks::HopTimes times;
    times.measure(state, [&](std::size_t) { benchmark::DoNotOptimize(processor.process(block)); });
    times.report(state, hop, kSampleRate);
    state.SetItemsProcessed(state.iterations() * hop * channels);
}

BENCHMARK(framing)->ArgNames({"hop", "channels"})->ArgsProduct({{256, 512}, {1, 2}});

}  // namespace
}  // namespace vorun
