#pragma once

#include <stdexcept>
#include <string>

namespace vorun::restore {

/** What the program tells its caller; --help lists the same numbers. */
enum class ExitStatus : int {
    success = 0,
    engineFailed = 1,
    badUsage = 2,
    cannotReadInput = 3,
    notAudio = 4,
    modelRefused = 5,
    unknownBus = 6,
    sameFile = 7,
    cannotCreateOutput = 8,
    writeFailed = 9,
    severalModels = 10,
    interrupted = 130,
};

/** Ends the program with a status and one line for the user. */
class HostError : public std::runtime_error {
  public:
    /** Line breaks in the text become spaces. */
    HostError(ExitStatus status, const std::string& text);

    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

/** "text: reason of an errno value". */
std::string withReason(const std::string& text, int errorNumber);

}  // namespace vorun::restore
