#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace vorun::benchmarks {

/**
 * The times of single hops or frames. All have the same deadline, so the slowest ones matter beside
 * the mean.
 *
 *   median_us   half of the hops take less
 *   p999_us     99.9 % of hops take less
 *   worst_us    the slowest hop
 *   rtf         computing time over playing time, mean; below 1 keeps up
 */
class HopTimes {
  public:
    /** Runs `step` once an iteration; it takes the iteration's number, from 0. */
    template <class Step>
    void measure(benchmark::State& state, Step step) {
        std::size_t hop = 0;
        for ([[maybe_unused]] auto _ : state) {
            const auto start = Clock::now();
            step(hop++);
            const std::chrono::duration<double, std::micro> taken = Clock::now() - start;
            microseconds_.push_back(taken.count());
        }
        std::sort(microseconds_.begin(), microseconds_.end());
    }

    void report(benchmark::State& state) const {
        if (!microseconds_.empty()) {
            state.counters["median_us"] = quantile(0.5);
            state.counters["p999_us"] = quantile(0.999);
            state.counters["worst_us"] = microseconds_.back();
        }
    }

    /** As above, with the real-time factor of hops that play for `samples / samplesPerSecond`
     * seconds. */
    void report(benchmark::State& state, double samples, double samplesPerSecond) const {
        report(state);
        const double playing =
            1e6 * samples / samplesPerSecond * static_cast<double>(microseconds_.size());
        const double computing = std::accumulate(microseconds_.begin(), microseconds_.end(), 0.0);
        state.counters["rtf"] = computing / playing;
    }

  private:
    using Clock = std::chrono::steady_clock;

    double quantile(double share) const {
        const auto last = static_cast<double>(microseconds_.size() - 1);
        return microseconds_[static_cast<std::size_t>(std::ceil(share * last))];
    }

    std::vector<double> microseconds_;
};

}  // namespace vorun::benchmarks
