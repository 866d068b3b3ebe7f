#pragma once

#include <cstdint>

#include "support/ModelWriter.h"

namespace vorun::apitest {

/** Frame sizes of a processor at its host's rate, and what follows from them. */
struct HostFrame {
    int fftSize = 0;
    int windowSize = 0;
    int hopSize = 0;
    /** 1 when the window reaches three hops and the short synthesis window is used, else 0. */
    int synthesisShift = 0;
    int latencyFrames = 0;

    /** What the info record must state as latency. */
    int reportedLatency() const;

    /**
     * Samples that have become ready in all once `pushed` samples went in.
     *
     *     frames analysed   f = pushed / hop - shift, the primer standing in for the rest
     *     frames decoded    d = f - latencyFrames
     *     hops summed       d - 1, as each needs its frame and the next one
     */
    std::int64_t readyAfter(std::int64_t pushed) const;
};

HostFrame hostFrame(const writer::ModelHeader& header, double hostRate, int latencyFrames = 0);

}  // namespace vorun::apitest
