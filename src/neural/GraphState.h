#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace vorun {

/**
 * What all layers of one model share so that a small file cannot ask for endless work or memory:
 * every bound that no single layer can keep by looking at its own record. The model's input layer
 * makes it, and each connection hands it on.
 */
class GraphState {
  public:
    /** Elements in frames that wait in the layers of one model: 2 GiB of samples. */
    static constexpr std::int64_t maxWaitingElements = (std::int64_t{1} << 29) - 1;

    /**
     * The latency of a layer at a scale, computed once within a walk: along the paths of a graph
     * with many joins the same question comes up again and again, twice as often with each join.
     *
     * Throws std::runtime_error when one walk asks more than 2^20 different questions.
     */
    std::int32_t latencyOf(const void* layer, std::int32_t scale,
                           const std::function<std::int32_t()>& compute);

    /** Counts a frame that is to wait; throws std::length_error "list too long" if that is more
     * than the model may hold. */
    void addWaiting(std::int64_t elements);
    void removeWaiting(std::int64_t elements) { waitingElements_ -= elements; }

    /** Notes what the host feeds, which is what joins may multiply. */
    void noteInputChannels(std::int32_t channels);
    void setFileSize(std::int64_t bytes) { fileSize_ = bytes; }
    /**
     * Most channels that a concatenation may give. Each doubling takes a record, so that a file of
     * n bytes honestly asks for no more than n times what is fed in.
     */
    std::int64_t maxJoinedChannels() const;

  private:
    std::map<std::pair<const void*, std::int32_t>, std::int32_t> latencies_;
    std::int32_t walkDepth_ = 0;
    std::int64_t waitingElements_ = 0;
    std::int64_t inputChannels_ = 1;
    std::int64_t fileSize_ = 0;
};

}  // namespace vorun
