#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "ReferenceEngine.h"
#include "ReferencePeers.h"
#include "support/CoreLimits.h"
#include "support/HopTimes.h"
#include "support/PairedTimes.h"
#include "support/PlainNetwork.h"

// The reference networks run by the engine, and by other libraries in turns with it. Nothing is
// timed before its result agrees with that of the formulas and, for a peer, with the engine's.

namespace vorun::benchmarks {
namespace {

/** The stream on which the results are compared: as long as the network's memory, and then some. */
class Comparison {
  public:
    explicit Comparison(const ReferenceNetwork& network) : plain_(network) {
        for (std::int32_t i = 0; i < network.frames() + 2; ++i) {
            frames_.push_back(inputFrame(network, static_cast<std::uint32_t>(i)));
            expected_ = plain_.run(frames_.back());
        }
    }

    /** What a library that keeps no history is handed. */
    const PlainNetwork& history() const { return plain_; }
    const float* lastFrame() const { return frames_.back().data(); }

    bool engineAgrees(ReferenceEngine& engine) const {
        for (const std::vector<float>& frame : frames_) {
            engine.run(frame.data());
        }
        return relativeError(expected_, engine.result().data()) < largestError;
    }

    bool peerAgrees(FrameRunner& peer, const ReferenceEngine& engine) const {
        peer.run(lastFrame());
        const std::vector<double> ours(engine.result().begin(), engine.result().end());
        return relativeError(expected_, peer.result().data()) < largestError &&
               relativeError(ours, peer.result().data()) < 2 * largestError;
    }

  private:
    PlainNetwork plain_;
    std::vector<std::vector<float>> frames_;
    std::vector<double> expected_;
};

void reportSpeed(benchmark::State& state, const ReferenceNetwork& network, double seconds) {
    const double flops = network.flops() / seconds;
    state.counters["GFLOP/s"] = flops / 1e9;
    state.counters["of_peak"] = flops / peakFlops(widestSet());
}

void runEngine(benchmark::State& state, const ReferenceNetwork& network) {
    const Comparison comparison(network);
    ReferenceEngine engine(network);
    if (!comparison.engineAgrees(engine)) {
        state.SkipWithError("the engine's result is wrong");
        return;
    }
    HopTimes times;
    times.measure(state, [&](std::size_t) { engine.run(comparison.lastFrame()); });
    times.report(state);
    reportSpeed(state, network, state.counters["median_us"].value * 1e-6);
    state.SetItemsProcessed(state.iterations());
}

void runPeer(benchmark::State& state, const ReferenceNetwork& network, const ReferencePeer& kind) {
    const Comparison comparison(network);
    ReferenceEngine engine(network);
    const auto peer = kind.make(network, comparison.history());
    if (!comparison.engineAgrees(engine) || !comparison.peerAgrees(*peer, engine)) {
        state.SkipWithError("the results differ");
        return;
    }
    PairedTimes times;
    times.measure(
        state, [&] { peer->run(comparison.lastFrame()); },
        [&] { engine.run(comparison.lastFrame()); });
    reportSpeed(state, network, times.measured());
    state.counters["median_us"] = times.measured() * 1e6;
    state.counters["x_peer"] = times.compared() / times.measured();
}

void registerNetwork(const ReferenceNetwork& network) {
    const std::string name = "reference/" + network.name + "/";
    benchmark::RegisterBenchmark((name + "vorun").c_str(), runEngine, network)
        ->Unit(benchmark::kMicrosecond);
    for (const ReferencePeer& peer : referencePeers()) {
        benchmark::RegisterBenchmark((name + peer.name).c_str(), runPeer, network, peer)
            ->UseManualTime()
            ->Iterations(400)
            ->Unit(benchmark::kMicrosecond);
    }
}

const bool registered = [] {
    registerNetwork(networkA());
    registerNetwork(networkB());
    return true;
}();

}  // namespace
}  // namespace vorun::benchmarks
