#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "support/CoreLimits.h"

// What one core does at best: the peak of multiply-adds, and the rate at which each cache is read.

namespace vorun::benchmarks {
namespace {

void multiplyAdds(benchmark::State& state, InstructionSet set) {
    constexpr std::int64_t rounds = 10'000;
    double operations = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        operations += runMultiplyAdds(set, rounds);
    }
    state.counters["FLOPS"] = benchmark::Counter(operations, benchmark::Counter::kIsRate);
    state.counters["peak_FLOPS"] = peakFlops(set);
}

/** Bytes from the boundary of a page on, written once so that they exist. */
class Block {
  public:
    explicit Block(std::size_t count)
        : bytes_(static_cast<char*>(::operator new(count, boundary))) {
        std::memset(bytes_, 1, count);
    }
    ~Block() { ::operator delete(bytes_, boundary); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    const char* data() const { return bytes_; }

  private:
    static constexpr std::align_val_t boundary{4096};

    char* bytes_;
};

/** Argument: KiB of the block, which choose the cache that holds it. */
void readBandwidth(benchmark::State& state, InstructionSet set) {
    const auto count = static_cast<std::size_t>(state.range(0)) * 1024;
    const Block block(count);
    for ([[maybe_unused]] auto _ : state) {
        readBytes(set, block.data(), count);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * 1024);
}

const bool registered = [] {
    for (const InstructionSet set : instructionSets) {
        if (!isSupported(set)) {
            continue;
        }
        const std::string name = nameOf(set);
        benchmark::RegisterBenchmark(("limits/multiplyAdds/" + name).c_str(), multiplyAdds, set);
        benchmark::RegisterBenchmark(("limits/read/" + name).c_str(), readBandwidth, set)
            ->ArgName("KiB")
            ->Arg(16)
            ->Arg(256)
            ->Arg(768)
            ->Arg(4096)
            ->Arg(12288)
            ->Arg(131072);
    }
    return true;
}();

}  // namespace
}  // namespace vorun::benchmarks
