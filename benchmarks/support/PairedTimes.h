#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <vector>

namespace vorun::benchmarks {

/**
 * The times of two ways to do the same, in turns, so that a core that speeds up or slows down does
 * so for both. A turn is a batch of calls: the caches are warm, as they are in a stream.
 */
class PairedTimes {
  public:
    /**
     * Each iteration is one turn of both. The benchmark needs UseManualTime() and a number of
     * Iterations(); its time is that of one call of `measured`.
     */
    template <class Measured, class Compared>
    void measure(benchmark::State& state, Measured measured, Compared compared) {
        const int measuredCalls = callsOfTurn(measured);
        const int comparedCalls = callsOfTurn(compared);
        for ([[maybe_unused]] auto _ : state) {
            compared_.push_back(secondsOfCall(compared, comparedCalls));
            measured_.push_back(secondsOfCall(measured, measuredCalls));
            state.SetIterationTime(measured_.back());
        }
    }

    /** Medians over the turns: seconds of one call. */
    double measured() const { return medianOf(measured_); }
    double compared() const { return medianOf(compared_); }

  private:
    using Clock = std::chrono::steady_clock;

    template <class Call>
    static double secondsOfCall(Call call, int calls) {
        call();
        const auto start = Clock::now();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        const std::chrono::duration<double> taken = Clock::now() - start;
        return taken.count() / calls;
    }

    /** As many as take about a millisecond. */
    template <class Call>
    static int callsOfTurn(Call call) {
        constexpr double turnSeconds = 1e-3;
        constexpr int trials = 50;
        call();
        return std::max(1, static_cast<int>(turnSeconds / secondsOfCall(call, trials)));
    }

    static double medianOf(std::vector<double> times) {
        const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        return *middle;
    }

    std::vector<double> measured_;
    std::vector<double> compared_;
};

}  // namespace vorun::benchmarks
