#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/FileContents.h"

namespace vorun::inspect {

/** How the header's sizes cut a stream at the model's own rate. */
struct Framing {
    /** A long analysis and a short synthesis window, rather than two alike. */
    bool isLowLatency = false;
    /** What framing alone holds back from a host with blocks of any length. */
    std::int64_t hops = 0;
    /** Framing and look-ahead, in samples. */
    std::int64_t latencySamples = 0;
};

Framing framingOf(const FileContents& contents, std::int32_t lookaheadFrames);

/** What keeps the header's values from being run, in sentences. */
std::vector<std::string> headerWarnings(const FileContents& contents);

/** Samples at the model's rate in milliseconds; 0 without a rate. */
double milliseconds(const FileContents& contents, std::int64_t samples);

}  // namespace vorun::inspect
