// The fused forms, once for each dispatch index of the processor: products by their share of what
// the instruction set can do at best, activations by their values.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "foundation/vector/VectorDispatch.h"
#include "support/CoreLimits.h"

namespace vorun::benchmarks {
namespace {

std::vector<float> levels(std::int64_t count) {
    std::vector<float> values(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = 0.001F * static_cast<float>(static_cast<int>(i * 37 % 2003) - 1000);
    }
    return values;
}

/** Rows of a convolution of 3 frames by 3 bins over `bins` whole bins. */
struct Convolution {
    static constexpr std::int32_t taps = 3;
    static constexpr std::int32_t kernelBins = 3;

    Convolution(std::int32_t inputs, std::int32_t outputs, std::int32_t outBins)
        : in(inputs),
          out(outputs),
          bins(outBins),
          input(levels(std::int64_t{bins + kernelBins - 1} * in)),
          weights(levels(std::int64_t{taps} * kernelBins * in * out)),
          sums(levels(std::int64_t{bins} * out)),
          start(levels(out)) {}

    double flops() const { return 2.0 * taps * kernelBins * in * out * bins; }

    std::int32_t in;
    std::int32_t out;
    std::int32_t bins;
    std::vector<float> input;
    std::vector<float> weights;
    std::vector<float> sums;
    std::vector<float> start;
};

class ByChannel {
  public:
    explicit ByChannel(Convolution& c) : rows_(Convolution::taps, c.input.data()) {
        product_.rows = rows_.data();
        product_.weights = c.weights.data();
        product_.tapStride = std::int64_t{Convolution::kernelBins} * c.in * c.out;
        product_.weightStride = c.out;
        product_.binStride = c.in;
        product_.outStride = c.out;
        product_.out = c.sums.data();
        product_.start = c.start.data();
        product_.taps = Convolution::taps;
        product_.run = Convolution::kernelBins * c.in;
        product_.bins = c.bins;
        product_.channels = c.out;
    }
    IppStatus run() const { return addRunProducts(product_); }

  private:
    std::vector<const float*> rows_;
    RunProducts product_{};
};

/** The same sums by column; all time taps meet one frame, as they do in a stream. */
class ByColumn {
  public:
    explicit ByColumn(Convolution& c)
        : input_(levels(std::int64_t{c.in} * (c.bins + 17))),
          column_(input_.data()),
          entered_(Convolution::kernelBins, BinRange{0, c.bins}) {
        const std::int32_t channels = Convolution::taps * c.out;
        sums_ = levels(std::int64_t{channels} * c.bins);
        for (std::int64_t i = 0; i < channels; ++i) {
            rows_.push_back(sums_.data() + i * c.bins);
        }
        product_.columns = &column_;
        product_.pitch = c.bins + 17;
        product_.weights = c.weights.data();
        product_.weightStride = channels;
        product_.sums = rows_.data();
        product_.out = rows_.data();
        product_.outStride = 1;
        product_.entered = entered_.data();
        product_.taps = 1;
        product_.columnCount = c.in;
        product_.groups = Convolution::kernelBins;
        product_.group = c.in;
        product_.bins = c.bins;
        product_.channels = channels;
    }
    IppStatus run() const { return addColumnProducts(product_); }

  private:
    std::vector<float> input_;
    const float* column_;
    std::vector<BinRange> entered_;
    std::vector<float> sums_;
    std::vector<float*> rows_;
    ColumnProducts product_{};
};

/** Runs with one index in force, if the processor has it. */
template <class Body>
void withIndex(benchmark::State& state, int index, Body body) {
    if (!dispatch::forceIndex(index)) {
        state.SkipWithError("this processor cannot run the index");
        return;
    }
    body();
    state.SetLabel(dispatch::variantName(index));
    dispatch::forceIndex(dispatch::undetectedIndex);
}

/** Arguments: channels in and out, bins. */
template <class Form>
void products(benchmark::State& state, int index, InstructionSet set) {
    withIndex(state, index, [&] {
        Convolution convolution(static_cast<std::int32_t>(state.range(0)),
                                static_cast<std::int32_t>(state.range(1)),
                                static_cast<std::int32_t>(state.range(2)));
        const Form form(convolution);
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(form.run());
            benchmark::ClobberMemory();
        }
        using Counter = benchmark::Counter;
        const double flops = convolution.flops();
        state.counters["FLOPS"] = Counter(flops, Counter::kIsIterationInvariantRate);
        state.counters["of_peak"] =
            Counter(flops / peakFlops(set), Counter::kIsIterationInvariantRate);
    });
}

using Activation = IppStatus (*)(const float*, float*, std::int32_t);

/** Argument: values. */
void activation(benchmark::State& state, Activation form, int index) {
    withIndex(state, index, [&] {
        const auto count = static_cast<std::int32_t>(state.range(0));
        const std::vector<float> in = levels(count);
        std::vector<float> out(in.size());
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(form(in.data(), out.data(), count));
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * count);
    });
}

/** Arguments: floats of a bin, bins, and by how many the columns lie further apart than that. */
void transposition(benchmark::State& state, int index) {
    withIndex(state, index, [&] {
        const auto width = static_cast<std::int32_t>(state.range(0));
        const auto bins = static_cast<std::int32_t>(state.range(1));
        const std::vector<float> in = levels(std::int64_t{width} * bins);
        const std::int64_t pitch = bins + state.range(2);
        std::vector<float> out = levels(width * pitch);
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(
                transposeBins(in.data(), width * bins, width, out.data(), pitch));
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * width * bins);
    });
}

struct Set {
    int index;
    InstructionSet limits;
};

void registerProducts(const std::string& suffix, const Set& set) {
    benchmark::RegisterBenchmark(("fused/products/channels" + suffix).c_str(), products<ByChannel>,
                                 set.index, set.limits)
        ->ArgNames({"in", "out", "bins"})
        ->ArgsProduct({{32, 64}, {16, 32, 64}, {64, 254}});
    benchmark::RegisterBenchmark(("fused/products/columns" + suffix).c_str(), products<ByColumn>,
                                 set.index, set.limits)
        ->ArgNames({"in", "out", "bins"})
        ->ArgsProduct({{8, 32, 64}, {1, 2, 4}, {128, 254}});
}

void registerRest(const std::string& suffix, int index) {
    struct Named {
        const char* name;
        Activation form;
    };
    for (const Named& named :
         {Named{"leakyRelu", [](const float*x, float*y,
                                std::int32_t n) { return activateLeakyRelu(x, y, n, 0.1F); }},
          Named{"elu", activateElu}, Named{"sigmoid", activateSigmoid},
          Named{"hardSigmoid", activateHardSigmoid}, Named{"softplus", activateSoftplus}}) {
        const std::string name = std::string("fused/") + named.name + suffix;
        benchmark::RegisterBenchmark(name.c_str(), activation, named.form, index)
            ->ArgName("length")
            ->Arg(256)
            ->Arg(4096);
    }
    benchmark::RegisterBenchmark(("fused/transposition" + suffix).c_str(), transposition, index)
        ->ArgNames({"width", "bins", "apart"})
        ->ArgsProduct({{2, 5, 8, 32, 64}, {128, 256}, {16}})
        // And back, into bins of just these values and into some of others.
        ->ArgsProduct({{256}, {2, 5, 8, 12}, {0, 16}});
}

const bool registered = [] {
    for (const Set& set : {Set{0, InstructionSet::sse2}, Set{3, InstructionSet::avx},
                           Set{4, InstructionSet::avx2}, Set{5, InstructionSet::avx512}}) {
        if (set.index <= dispatch::largestIndex()) {
            const std::string suffix = "/index:" + std::to_string(set.index);
            registerProducts(suffix, set);
            registerRest(suffix, set.index);
        }
    }
    return true;
}();

}  // namespace
}  // namespace vorun::benchmarks
