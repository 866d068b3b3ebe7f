#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "restore/FileFormat.h"
#include "restore/NumberText.h"

namespace vorun::restore {

/** What the user asked of the buses, not yet compared with the buses of a model. */
struct MixRequest {
    std::optional<float> residualDb;
    std::optional<float> sensitivity;
    std::vector<BusValue> gains;
    std::vector<BusValue> sensitivities;
    std::optional<std::string> soloBus;
};

/** The command line, understood and with every value inside its range. */
struct Options {
    std::string input;
    std::string output;
    /** Empty for the model that ships with the program. */
    std::vector<std::string> models;
    MixRequest mix;
    std::optional<SampleFormat> sampleFormat;
    std::int32_t blockSamples = 4096;
    bool listBuses = false;
    bool info = false;
};

/**
 * Reads the command line.
 *
 * @return nothing when --help or --version was given and has been answered on stdout.
 * @throws HostError badUsage.
 */
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace vorun::restore
