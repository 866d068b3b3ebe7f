#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "api/Samples.h"
#include "vorun/vorun.h"

namespace vorun::apitest {

/** Parameter ids of the buses. */
constexpr std::int32_t gainOf(int bus) {
    return 256 + bus;
}
constexpr std::int32_t sensitivityOf(int bus) {
    return 512 + bus;
}
constexpr std::int32_t residualLevelId = 1;
constexpr std::int32_t sensitivityId = 2;
constexpr std::int32_t tailFillOffId = 3;

/** How samples cross the interface. */
enum class Layout { planar, interleaved };

/** Owns a processor handle, which may be null, and speaks in vectors. */
class ApiProcessor {
  public:
    ApiProcessor(const std::string& modelPath, std::int32_t channels, double sampleRate);
    /** A stem separator. */
    ApiProcessor(const std::vector<std::string>& modelPaths, std::int32_t channels,
                 double sampleRate);
    ~ApiProcessor();
    ApiProcessor(const ApiProcessor&) = delete;
    ApiProcessor& operator=(const ApiProcessor&) = delete;

    bool created() const { return handle_ != nullptr; }
    ProcessorHandle handle() const { return handle_; }

    /** Pushes `count` samples from sample `begin` on; all of them by default. */
    void push(const Planar& audio, int begin, int count, Layout layout = Layout::planar);
    void push(const Planar& audio) { push(audio, 0, lengthOf(audio)); }

    /** Pulls into `target`, which must hold at least `count` samples a channel. */
    bool tryPull(Planar& target, int count, Layout layout = Layout::planar);
    /** Pulls what is known to be there; raises std::logic_error if the engine says otherwise. */
    Planar pull(int count, Layout layout = Layout::planar);
    Planar pullAll(Layout layout = Layout::planar) { return pull(pending(), layout); }

    std::int32_t pending() const { return vorunGetNumOfPendingSamples(handle_); }
    std::int32_t busCount() const { return vorunGetNumOfOutputBusses(handle_); }
    std::string busName(std::int32_t index) const;
    VorunProcessorInfo info() const;
    float get(std::int32_t id) const { return vorunGetParameterValue(handle_, id); }
    void set(std::int32_t id, float value) { vorunSetParameterValue(handle_, id, value); }
    void reset() { vorunResetProcessorState(handle_); }

  private:
    ProcessorHandle handle_;
    std::int32_t channels_;
};

}  // namespace vorun::apitest
