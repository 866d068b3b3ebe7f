// The real transform in both directions, and the building of its plan.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>
#ifdef VORUN_HAVE_FFTW3F
#include <fftw3.h>
#endif

#include "foundation/vector/VectorDispatch.h"
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
        // On 64-byte boundaries, as the engine's rows are.
        sampleMemory.reset(ippsMalloc_8u(4 << order));
        binMemory.reset(ippsMalloc_8u((4 << order) + 8));
        samples = new (sampleMemory.get()) float[length];
        bins = new (binMemory.get()) float[length + 2];
        for (std::size_t i = 0; i < length; ++i) {
            samples[i] = static_cast<float>(i % 97) - 48.0F;
        }
        forward();
    }

    IppStatus build() {
        return ippsFFTInit_R_32f(&spec, order, ippFftDivideNeither, ippHintFast, specMemory.get(),
                                 initMemory.get());
    }
    IppStatus forward() { return ippsFFTFwd_RToCCS_32f(samples, bins, spec, work.get()); }
    IppStatus inverse() { return ippsFFTInv_CCSToR_32f(bins, samples, spec, work.get()); }

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
    Memory sampleMemory;
    Memory binMemory;
    float* samples = nullptr;
    float* bins = nullptr;
};

#ifdef VORUN_HAVE_FFTW3F
// FFTW at the same length, with plans that it measured itself.
class Peer {
  public:
    explicit Peer(std::int32_t order)
        : length(1 << order),
          samples(fftwf_alloc_real(static_cast<std::size_t>(length))),
          bins(fftwf_alloc_complex(static_cast<std::size_t>(length) / 2 + 1)),
          forwardPlan(fftwf_plan_dft_r2c_1d(length, samples, bins, FFTW_MEASURE)),
          inversePlan(fftwf_plan_dft_c2r_1d(length, bins, samples, FFTW_MEASURE)) {
        refill();
    }
    ~Peer() {
        fftwf_destroy_plan(forwardPlan);
        fftwf_destroy_plan(inversePlan);
        fftwf_free(samples);
        fftwf_free(bins);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void forward() { fftwf_execute(forwardPlan); }
    void inverse() { fftwf_execute(inversePlan); }

    // Repeated inverses overwrite their input with ever larger numbers.
    void refill() {
        std::fill(samples, samples + length, 1.0F);
        std::fill(&bins[0][0], &bins[length / 2][0], 1.0F);
    }

  private:
    int length;
    float* samples;
    fftwf_complex* bins;
    fftwf_plan forwardPlan;
    fftwf_plan inversePlan;
};

template <class Run>
double secondsOf(std::int32_t repeats, Run run) {
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

// Our time over FFTW's: both run in turns, so that a busy machine slows both.
template <class Ours, class Theirs>
double timeRatio(std::int32_t order, Peer& peer, Ours ours, Theirs theirs) {
    constexpr std::int32_t rounds = 31;
    const std::int32_t repeats = std::max(1, (1 << 16) >> order);
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (std::int32_t i = 0; i < rounds; ++i) {
        ourTimes.push_back(secondsOf(repeats, ours));
        theirTimes.push_back(secondsOf(repeats, theirs));
        peer.refill();
    }
    return medianOf(ourTimes) / medianOf(theirTimes);
}
#endif

void report(benchmark::State& state, const Transform& transform) {
    state.SetLabel(dispatch::variantName(static_cast<int>(state.range(0))));
    state.SetItemsProcessed(state.iterations() << state.range(1));
    state.counters["FLOPS"] =
        benchmark::Counter(transform.operations(), benchmark::Counter::kIsIterationInvariantRate,
                           benchmark::Counter::kIs1000);
}

void transformForward(benchmark::State& state) {
    dispatch::forceIndex(static_cast<int>(state.range(0)));
    const auto order = static_cast<std::int32_t>(state.range(1));
    Transform transform(order);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.forward());
        benchmark::ClobberMemory();
    }
    report(state, transform);
#ifdef VORUN_HAVE_FFTW3F
    Peer peer(order);
    state.counters["x_fftw"] = timeRatio(
        order, peer, [&] { transform.forward(); }, [&] { peer.forward(); });
#endif
    dispatch::forceIndex(dispatch::undetectedIndex);
}

void transformInverse(benchmark::State& state) {
    dispatch::forceIndex(static_cast<int>(state.range(0)));
    const auto order = static_cast<std::int32_t>(state.range(1));
    Transform transform(order);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(transform.inverse());
        benchmark::ClobberMemory();
    }
    report(state, transform);
#ifdef VORUN_HAVE_FFTW3F
    Peer peer(order);
    state.counters["x_fftw"] = timeRatio(
        order, peer, [&] { transform.inverse(); }, [&] { peer.inverse(); });
#endif
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
BENCHMARK(transformForward)->Name("transform/forward")->Apply(everyIndexAndOrder);
BENCHMARK(transformInverse)->Name("transform/inverse")->Apply(everyIndexAndOrder);

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
