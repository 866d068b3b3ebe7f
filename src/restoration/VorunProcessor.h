#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/BaseSpectralProcessor.h"
#include "audio/ChannelLayout.h"
#include "audio/ComplexSignal32.h"
#include "audio/RealFft.h"
#include "foundation/ThreadPool.h"
#include "neural/NeuralModel.h"
#include "restoration/BusRows.h"
#include "restoration/BusValues.h"
#include "restoration/FrameSizes.h"

namespace vorun {

/**
 * Restores audio with one or more networks: every frame that the framing hands to
 * processSpectrum() is coded, run through the models, and mixed from their outputs.
 *
 * Calling order: loadModels(); prepare() with the host's layout; then process() and reset() in any
 * order. All of these on one thread at a time. The bus values alone may be touched by any thread at
 * any time.
 *
 * Where to read on: LoadModels.cpp, ProcessSpectrum.cpp (the main path), EvaluateModels.cpp,
 * BusMix.cpp, BusParameters.cpp.
 */
class VorunProcessor final : public BaseSpectralProcessor {
  public:
    VorunProcessor();
    ~VorunProcessor() override;
    VorunProcessor(const VorunProcessor&) = delete;
    VorunProcessor& operator=(const VorunProcessor&) = delete;

    /**
     * Loads one model from each path, in order, and makes the worker pool if there are several.
     *
     * @return false if a file cannot be opened or loaded, or the models disagree in window, hop,
     *         rate or channels. The processor is then only good for destruction.
     */
    bool loadModels(const std::vector<std::string>& paths);

    /**
     * Sets the host's stream, derives the frame sizes and starts afresh.
     *
     * @return false without models, and for anything that could not be framed safely: a layout
     *         without channels or rate, frame sizes out of range after scaling or beyond a block of
     *         memory, a model without masks or with complex bins that the host's frames do not
     * have, a single model with more buses than there are bus values.
     */
    bool prepare(const ChannelLayout& input, const ChannelLayout& output) override;

    /**
     * Whether prepare() could frame a stream, asked before a layout of many channels is built. Only
     * after loadModels().
     */
    bool canFrame(std::int32_t channels, double sampleRate) const;

    /** The framing's latency plus the longest look-ahead of the models, in samples at host rate. */
    std::int32_t getLatency(std::int32_t blockSize) const override;

    /** Drops all queued audio and all history of the networks. Bus values stay. */
    void reset() override;

    Signal32 process(const Signal32& input) override;

    /**
     * One analysed frame in, the mixed frames that are ready out, oldest first. The central routine
     * of the engine.
     *
     * @throws std::exception from a layer or a vector primitive; the processor must then be reset.
     */
    std::list<ComplexSignal32> processSpectrum(const ComplexSignal32& frame) override;

    const std::vector<NeuralModel<float>>& models() const { return models_; }

    /** The number of buses, the residual counted or not. */
    std::int32_t getOutputBusCount(bool includeResidual) const;

    /**
     * The name at an index of the circular list of names, in which one empty position lies between
     * the last and the first.
     */
    std::string getOutputBusName(std::int32_t index) const;

    /** Stores a gain, limited to 0 and up; indices outside 0 to 15 are ignored. Any thread. */
    void setBusGain(std::int32_t index, float value);
    float getBusGain(std::int32_t index) const { return busGain_.get(index); }

    /** Stores a sensitivity, limited to -100 to 100; indices as for gains. Any thread. */
    void setBusSensitivity(std::int32_t index, float value);
    float getBusSensitivity(std::int32_t index) const { return busSensitivity_.get(index); }

    /** Whether bins above the models' range are filled with the running level. */
    bool isTailFillOn() const { return tailFill_.load() != 0.0f; }

    std::int32_t frameScaleLog2() const { return frameScaleLog2_; }

  private:
    using FrameQueue = std::list<ComplexSignal32>;
    using ModelOutputs = std::vector<ComplexSignal32>;

    bool agreesInChannels(const NeuralModel<float>& model);
    /** Frames anew for a host that was set before the models; without models audio passes by. */
    bool reframe();
    bool modelsCanBeMixed(std::int32_t hostBins) const;
    std::optional<FrameSizes> hostFrameSizes(std::int32_t channels, double sampleRate) const;
    bool updateFrameParameters();
    std::int64_t lookaheadSamples(std::int32_t hop) const;
    void clearQueues();

    void evaluateInTurn(const ComplexSignal32& modelFrame);
    void evaluateOnPool(const ComplexSignal32& modelFrame);
    bool frameIsReady() const;

    void enqueueOutputs(std::int32_t& frameCounter, std::int32_t count,
                        const ModelOutputs& outputs);
    ComplexSignal32 mixFrame();
    std::vector<BusLevel> readLevels() const;
    std::vector<ComplexSignal32> takeBuses();
    std::int32_t hostChannels() const;
    bool isMaskMode() const;

    BusValues busSensitivity_{0.0f};
    BusValues busGain_{1.0f};
    std::atomic<float> tailFill_{1.0f};
    std::unique_ptr<ThreadPool> pool_;
    std::int32_t modelCount_ = 0;
    std::vector<NeuralModel<float>> models_;
    ChannelLayout modelInputLayout_;
    ChannelLayout modelOutputLayout_;
    std::list<std::string> busNames_;
    std::int32_t frameScaleLog2_ = 0;
    RealFft spareFftA_;
    RealFft spareFftB_;
    FrameQueue dryQueue_;
    std::vector<FrameQueue> busQueues_;
};

}  // namespace vorun
