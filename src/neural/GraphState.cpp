#include "neural/GraphState.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace vorun {
namespace {

constexpr std::size_t maxLatencyQuestions = std::size_t{1} << 20;
constexpr std::int64_t leastJoinedChannels = 4096;

/** One level deeper in a walk, whichever way it is left. */
class WalkLevel {
  public:
    explicit WalkLevel(std::int32_t& depth) : depth_(depth) { ++depth_; }
    ~WalkLevel() { --depth_; }
    WalkLevel(const WalkLevel&) = delete;
    WalkLevel& operator=(const WalkLevel&) = delete;

  private:
    std::int32_t& depth_;
};

}  // namespace

std::int32_t GraphState::latencyOf(const void* layer, std::int32_t scale,
                                   const std::function<std::int32_t()>& compute) {
    if (walkDepth_ == 0) {
        latencies_.clear();
    }
    const auto known = latencies_.find({layer, scale});
    if (known != latencies_.end()) {
        return known->second;
    }
    if (latencies_.size() >= maxLatencyQuestions) {
        throw std::runtime_error("model graph has too many different latencies");
    }
    const WalkLevel level(walkDepth_);
    const std::int32_t latency = compute();
    latencies_[{layer, scale}] = latency;
    return latency;
}

void GraphState::addWaiting(std::int64_t elements) {
    if (elements > maxWaitingElements - waitingElements_) {
        throw std::length_error("list too long");
    }
    waitingElements_ += elements;
}

void GraphState::noteInputChannels(std::int32_t channels) {
    inputChannels_ = std::max<std::int64_t>(1, channels);
}

std::int64_t GraphState::maxJoinedChannels() const {
    constexpr std::int64_t mostChannels = std::numeric_limits<std::int32_t>::max();
    return std::min(std::clamp(fileSize_, leastJoinedChannels, mostChannels) * inputChannels_,
                    mostChannels);
}

}  // namespace vorun
