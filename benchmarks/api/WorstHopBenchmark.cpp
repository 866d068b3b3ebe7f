#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <string>
#include <vector>

#include "HostProcessor.h"
#include "support/WorstTimes.h"

/*
 * The slowest of many hops, and whose they are. Between two hops runs a stretch of arithmetic in
 * registers that takes as long as a hop: it uses no memory and no part of the engine, so what slows
 * it down is the machine, and the machine takes as much from the hops.
 */
namespace vorun::benchmarks {
namespace {

constexpr int32_t channels = 2;
constexpr std::size_t hops = 100'000;

/** Each step needs the one before it. */
void runInRegisters(std::int64_t steps) {
    std::uint64_t value = 1;
    for (std::int64_t i = 0; i < steps; ++i) {
        value = value * 6364136223846793005U + 1442695040888963407U;
    }
    benchmark::DoNotOptimize(value);
}

template <class Work>
double medianOf(Work work) {
    constexpr std::size_t runs = 2000;
    WorstTimes times(runs);
    for (std::size_t i = 0; i < runs; ++i) {
        times.time(work);
    }
    return times.median();
}

/** Steps that take that long. */
std::int64_t stepsFor(double microseconds) {
    std::int64_t steps = 10'000;
    for (int round = 0; round < 3; ++round) {
        const double taken = medianOf([&] { runInRegisters(steps); });
        steps = static_cast<std::int64_t>(static_cast<double>(steps) * microseconds / taken);
    }
    return steps;
}

/** Interrupts of this core's own timer since the system came up; 0 where no one tells. */
double timerInterrupts() {
    std::ifstream table("/proc/interrupts");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        double count = 0.0;
        for (int core = sched_getcpu(); name == "LOC:" && core >= 0; --core) {
            words >> count;
        }
        if (name == "LOC:") {
            return count;
        }
    }
    return 0.0;
}

void worstHop(benchmark::State& state) {
    const auto network = static_cast<Network>(state.range(0));
    HostProcessor processor(network, channels);
    const std::vector<float> in = hopOf(0.1f, channels);
    std::vector<float> out(in.size());
    const auto runHop = [&] { processor.runHop(in, out); };
    medianOf(runHop);
    const std::int64_t steps = stepsFor(medianOf(runHop));
    WorstTimes engine(hops);
    WorstTimes registers(hops);
    const double interruptsBefore = timerInterrupts();
    for ([[maybe_unused]] auto _ : state) {
        for (std::size_t i = 0; i < hops; ++i) {
            engine.time(runHop);
            registers.time([&] { runInRegisters(steps); });
        }
    }
    state.counters["timer_interrupts"] = timerInterrupts() - interruptsBefore;
    engine.report(state, "hop_");
    registers.report(state, "reg_");
    state.SetLabel(nameOf(network));
}

BENCHMARK(worstHop)
    ->ArgName("network")
    ->Arg(static_cast<std::int64_t>(Network::identity))
    ->Arg(static_cast<std::int64_t>(Network::convolution))
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vorun::benchmarks
