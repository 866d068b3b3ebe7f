#pragma once

#include <optional>
#include <string>

namespace vorun::inspect {

/** The command line, understood. */
struct Options {
    std::string model;
    bool dot = false;
};

/**
 * Reads the command line.
 *
 * @return nothing when --help or --version was given and has been answered on stdout.
 * @throws restore::HostError badUsage.
 */
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace vorun::inspect
