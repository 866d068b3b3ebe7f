// The real transform in both directions, the building of its plan, and other libraries in turns
// with both.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "TransformPeers.h"
#include "foundation/vector/VectorDispatch.h"
#include "foundation/vector/VectorPrimitives.h"
#include "support/AlignedFloats.h"

namespace vorun {
namespace {

struct Release {
    void operator()(unsigned char* memory) const { ippsFree(memory); }
};
using Memory = std::unique_ptr<unsigned char, Release>;

// Plan, scratch and data of one length.
class Transform {
  public:
    explicit Transform(std::int32_t transformOrder) : order(transformOrder) {
        std::int32_t specSize = 0;
        std::int32_t initSize = 0;
        std::int32_t workSize = 0;
        ippsFFTGetSize_R_32f(order, ippFftDivideNeither, ippHintFast, &specSize, &initSize,
                             &workSize);
        specMemory.reset(ippsMalloc_8u(specSize));
        initMemory.reset(ippsMalloc_8u(initSize));
        work.reset(ippsMalloc_8u(workSize));
        build();
        const std::size_t length = std::size_t{1} << order;
        samples.resize(length);
        bins.resize(length + 2);
        for (std::size_t i = 0; i < length; ++i) {
            samples[i] = static_cast<float>(i % 97) - 48.0F;
        }
        forward();
    }

    IppStatus build() {
        return ippsFFTInit_R_32f(&spec, order, ippFftDivideNeither, ippHintFast, specMemory.get(),
                                 initMemory.get());
    }
    IppStatus forward() {
        return ippsFFTFwd_RToCCS_32f(samples.data(), bins.data(), spec, work.get());
    }
    IppStatus inverse() {
        return ippsFFTInv_CCSToR_32f(bins.data(), samples.data(), spec, work.get());
    }

    // The usual count for a radix-2 transform, by which transforms are compared.
    double operations() const {
        const auto length = static_cast<double>(std::int64_t{1} << order);
        return 2.5 * length * static_cast<double>(order);
    }

  private:
    std::int32_t order;
    Memory specMemory;
    Memory initMemory;
    Memory work;
    IppsFFTSpec_R_32f* spec = nullptr;
    // On 64-byte boundaries, as the engine's rows are.
    benchmarks::AlignedFloats samples;
    benchmarks::AlignedFloats bins;
};

double secondsOf(std::int32_t repeats, const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    for (std::int32_t i = 0; i < repeats; ++i) {
        run();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double medianOf(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// Our time over another's: both run in turns, so that a busy machine slows both.
double timeRatio(std::int32_t order, const std::function<void()>& ours,
                 const std::function<void()>& theirs, const std::function<void()>& afterTurn) {
    // The longest take seconds.
    const std::int32_t rounds = order < 24 ? 31 : 5;
    const std::int32_t repeats = std::max(1, (1 << 16) >> order);
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (std::int32_t i = 0; i < rounds; ++i) {
        ourTimes.push_back(secondsOf(repeats, ours));
        theirTimes.push_back(secondsOf(repeats, theirs));
        afterTurn();
    }
    return medianOf(ourTimes) / medianOf(theirTimes);
}

enum class Direction : std::int8_t { forward, inverse };

// One after the other: the plans of two long transforms would crowd the caches.
void compare(benchmark::State& state, Direction direction, Transform& transform,
             std::int32_t order) {
    for (const benchmarks::TransformPeerKind& kind : benchmarks::transformPeers()) {
        if (order > kind.largestOrder) {
            continue;
        }
        const auto peer = kind.make(order);
        const bool isForward = direction == Direction::forward;
        state.counters["x_" + kind.name] = timeRatio(
            order, [&] { isForward ? transform.forward() : transform.inverse(); },
            [&] { isForward ? peer->forward() : peer->inverse(); }, [&] { peer->refill(); });
    }
}

void report(benchmark::State& state, const Transform& transform) {
    state.SetLabel(dispatch::variantName(static_cast<int>(state.range(0))));
    state.SetItemsProcessed(state.iterations() << state.range(1));
    state.counters["FLOPS"] =
        benchmark::Counter(transform.operations(), benchmark::Counter::kIsIterationInvariantRate,
                           benchmark::Counter::kIs1000);
}

void runTransform(benchmark::State& state, Direction direction) {
    dispatch::forceIndex(static_cast<int>(state.range(0)));
    const auto order = static_cast<std::int32_t>(state.range(1));
    Transform transform(order);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(direction == Direction::forward ? transform.forward()
                                                                 : transform.inverse());
        benchmark::ClobberMemory();
    }
    report(state, transform);
    compare(state, direction, transform, order);
    dispatch::forceIndex(dispatch::undetectedIndex);
}

// Every order for each index that this processor runs.
void everyIndexAndOrder(benchmark::internal::Benchmark* rows) {
    rows->ArgNames({"index", "order"});
    for (int index = 0; index <= dispatch::largestIndex(); ++index) {
        for (std::int64_t order = 1; order <= 16; ++order) {
            rows->Args({index, order});
        }
    }
}
BENCHMARK_CAPTURE(runTransform, forward, Direction::forward)
    ->Name("transform/forward")
    ->Apply(everyIndexAndOrder);
BENCHMARK_CAPTURE(runTransform, inverse, Direction::inverse)
    ->Name("transform/inverse")
    ->Apply(everyIndexAndOrder);

// Those that another library's planner takes minutes for.
void everyIndexAndLongOrder(benchmark::internal::Benchmark* rows) {
    rows->ArgNames({"index", "order"})->Unit(benchmark::kMillisecond);
    for (int index = 0; index <= dispatch::largestIndex(); ++index) {
        for (std::int64_t order = 18; order <= 23; ++order) {
            rows->Args({index, order});
        }
    }
}
BENCHMARK_CAPTURE(runTransform, longForward, Direction::forward)
    ->Name("transform/long/forward")
    ->Apply(everyIndexAndLongOrder);
BENCHMARK_CAPTURE(runTransform, longInverse, Direction::inverse)
    ->Name("transform/long/inverse")
    ->Apply(everyIndexAndLongOrder);

// Those that FFTW's planner takes minutes to hours for, with the widest set alone to save some.
void widestIndexAndHugeOrder(benchmark::internal::Benchmark* rows) {
    rows->ArgNames({"index", "order"})->Unit(benchmark::kMillisecond);
    for (std::int64_t order = 24; order <= 29; ++order) {
        rows->Args({dispatch::largestIndex(), order});
    }
}
BENCHMARK_CAPTURE(runTransform, hugeForward, Direction::forward)
    ->Name("transform/huge/forward")
    ->Apply(widestIndexAndHugeOrder);
BENCHMARK_CAPTURE(runTransform, hugeInverse, Direction::inverse)
    ->Name("transform/huge/inverse")
    ->Apply(widestIndexAndHugeOrder);

// Building the plan of both directions, and the peers' plans of both in turns with it.
void transformSetUp(benchmark::State& state) {
    const auto order = static_cast<std::int32_t>(state.range(0));
    Transform transform(order);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.build());
        benchmark::ClobberMemory();
    }
    for (const benchmarks::TransformPeerKind& kind : benchmarks::transformPeers()) {
        const auto setUp = kind.setUp(order);
        constexpr std::int32_t once = 20;
        state.counters["x_" + kind.name] = timeRatio(
            once, [&] { transform.build(); }, setUp, [] {});
    }
}
BENCHMARK(transformSetUp)->Name("transform/setUp")->ArgName("order")->DenseRange(8, 20, 1);

}  // namespace
}  // namespace vorun
