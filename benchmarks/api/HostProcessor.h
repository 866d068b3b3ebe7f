#pragma once

#include <cstdint>
#include <vector>

#include "vorun/vorun.h"

/** A processor as a host drives it, at 48 kHz in hops of 256 samples. */
namespace vorun::benchmarks {

inline constexpr int32_t hopSamples = 256;
inline constexpr double sampleRate = 48000.0;

enum class Network : std::int64_t { identity, convolution };

const char* nameOf(Network network);

/** A processor of one network whose model file lives only until it is loaded. */
class HostProcessor {
  public:
    HostProcessor(Network network, int32_t channels);
    ~HostProcessor();
    HostProcessor(const HostProcessor&) = delete;
    HostProcessor& operator=(const HostProcessor&) = delete;

    /** Pushes one hop of interleaved samples, and pulls one once there is one. */
    void runHop(const std::vector<float>& in, std::vector<float>& out);

  private:
    ProcessorHandle handle_ = nullptr;
};

/** One hop of noise, interleaved. */
std::vector<float> hopOf(float level, int32_t channels);

}  // namespace vorun::benchmarks
