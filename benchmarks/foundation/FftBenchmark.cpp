// The real transform in both directions, and the building of its plan.
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/vector/VectorPrimitives.h"

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
        const auto length = static_cast<double>(samples.size());
        return 2.5 * length * static_cast<double>(order);
    }

  private:
    std::int32_t order;
    Memory specMemory;
    Memory initMemory;
    Memory work;
    IppsFFTSpec_R_32f* spec = nullptr;
    std::vector<float> samples;
    std::vector<float> bins;
};

void report(benchmark::State& state, const Transform& transform) {
    state.SetItemsProcessed(state.iterations() << state.range(0));
    state.counters["FLOPS"] =
        benchmark::Counter(transform.operations(), benchmark::Counter::kIsIterationInvariantRate,
                           benchmark::Counter::kIs1000);
}

void transformForward(benchmark::State& state) {
    Transform transform(static_cast<std::int32_t>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.forward());
        benchmark::ClobberMemory();
    }
    report(state, transform);
}
BENCHMARK(transformForward)->Name("transform/forward")->ArgName("order")->DenseRange(5, 13);

void transformInverse(benchmark::State& state) {
    Transform transform(static_cast<std::int32_t>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.inverse());
        benchmark::ClobberMemory();
    }
    report(state, transform);
}
BENCHMARK(transformInverse)->Name("transform/inverse")->ArgName("order")->DenseRange(5, 13);

void transformPlan(benchmark::State& state) {
    Transform transform(static_cast<std::int32_t>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.build());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(transformPlan)->Name("transform/plan")->ArgName("order")->DenseRange(8, 14, 2);

}  // namespace
}  // namespace vorun
