#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "BenchmarkModel.h"
#include "ChainNetwork.h"
#include "foundation/vector/VectorDispatch.h"
#include "support/CoreLimits.h"
#include "support/PairedTimes.h"
#include "support/PlainNetwork.h"
#include "support/ReferenceNetwork.h"

// The reference networks run by the engine's layers, in turns with the chain of single vector
// operations of the same variant.

namespace vorun::benchmarks {
namespace {

/** The layers of a model file, without the exported functions. */
class LayerNetwork : public FrameRunner {
  public:
    explicit LayerNetwork(const ReferenceNetwork& network)
        : model_(modelOf(modelFileOf(network))),
          frame_({1, network.layers.front().inBins, network.layers.front().inChannels}) {}

    void run(const float* frame) override {
        std::copy_n(frame, frame_.volume(), frame_.data());
        model_.input->AddTensor(frame_, nullptr);
        result_ = model_.output->TakeResult();
    }

    std::span<const float> result() const override {
        return {result_.readData(), static_cast<std::size_t>(result_.volume())};
    }

  private:
    NeuralModel<float> model_;
    Tensor<float> frame_;
    Tensor<float> result_;
};

/** Whether both give what the formulas give, once their histories are full. */
bool agree(const ReferenceNetwork& network, FrameRunner& first, FrameRunner& second) {
    PlainNetwork plain(network);
    std::vector<double> expected;
    for (std::int32_t i = 0; i < network.frames() + 2; ++i) {
        const std::vector<float> frame = inputFrame(network, static_cast<std::uint32_t>(i));
        expected = plain.run(frame);
        first.run(frame.data());
        second.run(frame.data());
    }
    return relativeError(expected, first.result().data()) < largestError &&
           relativeError(expected, second.result().data()) < largestError;
}

/** What the variant of `index` can do at best. */
InstructionSet instructionSetOf(int index) {
    constexpr InstructionSet sets[dispatch::indexCount] = {
        InstructionSet::sse2, InstructionSet::sse2, InstructionSet::sse2,
        InstructionSet::avx,  InstructionSet::avx2, InstructionSet::avx512};
    return sets[index];
}

void chain(benchmark::State& state, const ReferenceNetwork& network, TransposedSums sums,
           int index) {
    if (!dispatch::forceIndex(index)) {
        state.SkipWithError("this processor cannot run the index");
        return;
    }
    LayerNetwork layers(network);
    ChainNetwork chain(network, sums);
    const std::vector<float> frame = inputFrame(network, 0);
    if (agree(network, layers, chain)) {
        PairedTimes times;
        times.measure(
            state, [&] { layers.run(frame.data()); }, [&] { chain.run(frame.data()); });
        const double flops = network.flops() / times.measured();
        state.counters["GFLOP/s"] = flops / 1e9;
        state.counters["of_peak"] = flops / peakFlops(instructionSetOf(index));
        state.counters["chain_us"] = times.compared() * 1e6;
        state.counters["times_faster"] = times.compared() / times.measured();
        state.SetLabel(dispatch::variantName(index));
    } else {
        state.SkipWithError("the results differ");
    }
    dispatch::forceIndex(dispatch::undetectedIndex);
}

void registerChain(const std::string& name, const ReferenceNetwork& network, TransposedSums sums) {
    for (const int index : {0, 3, 4, 5}) {
        const std::string row = "chain/" + name + "/index:" + std::to_string(index);
        benchmark::RegisterBenchmark(row.c_str(), chain, network, sums, index)
            ->UseManualTime()
            ->Iterations(150)
            ->Unit(benchmark::kMicrosecond);
    }
}

const bool registered = [] {
    registerChain("A", networkA(), TransposedSums::terms);
    registerChain("B", networkB(), TransposedSums::terms);
    registerChain("B/dots", networkB(), TransposedSums::dots);
    return true;
}();

}  // namespace
}  // namespace vorun::benchmarks
