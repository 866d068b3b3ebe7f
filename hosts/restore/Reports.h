#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "restore/Processor.h"

namespace vorun::restore {

/** Prints one bus a line: index, tab, name. */
void printBuses(const std::vector<std::string>& names);

/** Prints what a model is and how it runs on a stream of this rate and channels. */
void printModel(const std::string& path, const VorunModelInfo& model, const Processor& processor,
                double sampleRate);

/** What the last lines of a run tell. */
struct RunFigures {
    std::string output;
    std::int64_t samples = 0;
    double sampleRate = 0.0;
    double elapsedSeconds = 0.0;
    std::int32_t latency = 0;
    std::int64_t clippedSamples = 0;
    std::int64_t nonFiniteSamples = 0;
    /** Sample formats in libsndfile's numbers. */
    int wishedSubtype = 0;
    int writtenSubtype = 0;
};

void printRun(const RunFigures& figures);

}  // namespace vorun::restore
