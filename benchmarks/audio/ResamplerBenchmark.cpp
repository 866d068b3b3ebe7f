#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ResamplerPeers.h"
#include "SweepFit.h"

namespace vorun::benchmarks {
namespace {

struct Rates {
    int input = 0;
    int output = 0;

    std::string name() const { return std::to_string(input) + "_to_" + std::to_string(output); }
};

constexpr std::size_t kBlocksPerSecond = 100;

// Half the band, and 90 % of it, of the lower rate.
struct Quality {
    double halfBand = 0.0;
    double wideBand = 0.0;
};

double signalToNoise(const ResamplerKind& kind, const Rates& rates, double shareOfBand) {
    const Sweep sweep(shareOfBand * 0.5 * std::min(rates.input, rates.output));
    const std::vector<float> input = sweep.samples(rates.input);
    const auto resampler = kind.make(rates.input, rates.output);
    const std::size_t block = static_cast<std::size_t>(rates.input) / kBlocksPerSecond;
    std::vector<float> output;
    for (std::size_t start = 0; start + block <= input.size(); start += block) {
        resampler->process(input.data() + start, block, output);
    }
    return sweep.signalToNoise(output, rates.output);
}

// Measured once; the timer calls a benchmark several times.
const Quality& qualityOf(const ResamplerKind& kind, const Rates& rates) {
    static std::map<std::string, Quality> known;
    const auto [place, isNew] = known.try_emplace(kind.name + rates.name());
    if (isNew) {
        place->second = {signalToNoise(kind, rates, 0.5), signalToNoise(kind, rates, 0.9)};
    }
    return place->second;
}

// Speed of this engine's row, which is timed first, for the rows of the others.
double& ownSpeed(const Rates& rates) {
    static std::map<std::string, double> known;
    return known[rates.name()];
}

// 10 ms of one channel in each iteration.
void resample(benchmark::State& state, const ResamplerKind& kind, const Rates& rates) {
    const Quality& quality = qualityOf(kind, rates);
    const std::vector<float> input = Sweep(0.45 * rates.input).samples(rates.input);
    const std::size_t block = static_cast<std::size_t>(rates.input) / kBlocksPerSecond;
    const auto resampler = kind.make(rates.input, rates.output);
    std::vector<float> output;
    std::size_t start = 0;
    const std::clock_t begin = std::clock();
    for ([[maybe_unused]] auto _ : state) {
        output.clear();
        resampler->process(input.data() + start, block, output);
        benchmark::DoNotOptimize(output.data());
        start = (start + block) % static_cast<std::size_t>(rates.input);
    }
    // Computing time, which other programs on the core do not lengthen.
    const double taken = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    const double playing = static_cast<double>(state.iterations()) / kBlocksPerSecond;
    const double speed = playing / taken;
    if (kind.name == "vorun") {
        ownSpeed(rates) = speed;
    }
    state.counters["x_real_time"] = speed;
    if (ownSpeed(rates) > 0.0) {
        state.counters["x_vorun"] = speed / ownSpeed(rates);
    }
    state.counters["snr_half_dB"] = quality.halfBand;
    state.counters["snr_wide_dB"] = quality.wideBand;
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const Rates& rates :
         {Rates{48000, 44100}, Rates{44100, 48000}, Rates{48000, 16000}, Rates{16000, 48000}}) {
        for (const ResamplerKind& kind : resamplerKinds()) {
            benchmark::RegisterBenchmark(
                ("resample/" + rates.name() + "/" + kind.name).c_str(),
                [kind, rates](benchmark::State& state) { resample(state, kind, rates); });
        }
    }
    return true;
}();

}  // namespace
}  // namespace vorun::benchmarks
