#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/SequenceModel.h"

namespace vorun::sequence {

/**
 * When frames leave a model, without their values: the protocol of calls and ticks between layers
 * in numbers of frames. A stream's values never depend on it, so that both can be checked apart.
 */
class Schedule {
  public:
    explicit Schedule(const Model& model);

    /** Number of frames that come out of one evaluation of so many frames. */
    std::int32_t feed(std::int32_t frames);
    /** Starts the stream anew. */
    void reset();
    /** Frames that transposed convolutions hold back for later ticks. */
    std::int32_t waiting() const;
    /** The model's look-ahead in frames. */
    std::int32_t latency() const { return stations_.front().latencyOfConsumers(*this, 1); }

  private:
    /** What a layer does with the frames that it is given. */
    enum class Kind { passes, strides, transposes, warmsUp, joins, collects };

    struct Station {
        Kind kind = Kind::passes;
        std::int32_t stride = 1;
        std::int32_t lookahead = 0;
        /** What it adds to the look-ahead whatever the rate: attention does so. */
        std::int32_t ownLatency = 0;
        std::vector<std::size_t> consumers;
        /** The stations that a join waits for, and how many frames of each are in its queues. */
        std::vector<std::size_t> sources;
        std::vector<std::int32_t> queued;
        std::int32_t seen = 0;
        std::int32_t pending = 0;

        std::int32_t latencyOfConsumers(const Schedule& schedule, std::int32_t scale) const;
    };

    static Station stationOf(const Node& node, std::int32_t version);
    std::int32_t latencyOf(std::size_t station, std::int32_t scale) const;

    /** True if a frame reached the output. */
    bool accept(std::size_t station, std::size_t source, std::int32_t frames);
    bool acceptOne(std::size_t station);
    bool handOn(std::size_t station, std::int32_t frames);
    bool join(std::size_t station, std::size_t source, std::int32_t frames);
    bool transpose(std::size_t station);
    bool deliver(std::size_t station);
    void tick(std::size_t station);
    void tickConsumers(std::size_t station);

    /** The input first, the output last. */
    std::vector<Station> stations_;
    std::int32_t collected_ = 0;
};

}  // namespace vorun::sequence
