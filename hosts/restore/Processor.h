#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vorun/vorun.h"

namespace vorun::restore {

/** Header values of a model, without a stream. @throws HostError modelRefused. */
VorunModelInfo readModelInfo(const std::string& modelPath);

/**
 * Owns one processor of the engine. Samples are interleaved. Exceptions of the engine pass through
 * every call.
 */
class Processor {
  public:
    /** @throws HostError modelRefused, telling a missing file, a wrong one and a wrong rate apart.
     */
    Processor(const std::string& modelPath, std::int32_t channels, double sampleRate);

    std::int32_t channels() const { return channels_; }
    /** The most samples by which output trails input. */
    std::int32_t latency() const;

    /** Names of all buses; the last is the residual. */
    std::vector<std::string> busNames() const;
    void setBusGain(std::size_t bus, float gain);
    void setBusSensitivity(std::size_t bus, float sensitivity);

    /** @param samples a whole number of frames of all channels. */
    void push(const std::vector<float>& samples);
    std::int32_t pending() const;
    /** Takes `count` samples of each channel, at most pending() and at least 1. */
    std::vector<float> pull(std::int32_t count);

  private:
    struct Deleter {
        void operator()(ProcessorState* handle) const { vorunDeleteProcessor(handle); }
    };

    std::unique_ptr<ProcessorState, Deleter> handle_;
    std::int32_t channels_;
};

}  // namespace vorun::restore
