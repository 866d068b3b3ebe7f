#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace vorun::restore {

/** One line of progress: percent, speed and time left. The total may be unknown (0 or below). */
std::string progressText(std::int64_t doneSamples, std::int64_t totalSamples, double sampleRate,
                         double elapsedSeconds);

/** Keeps one line on stderr up to date where that is a terminal, and writes nothing elsewhere. */
class Progress {
  public:
    Progress(std::int64_t totalSamples, double sampleRate);
    /** Clears the line. */
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::int64_t doneSamples);
    double elapsedSeconds() const;

  private:
    using Clock = std::chrono::steady_clock;

    std::int64_t totalSamples_;
    double sampleRate_;
    bool isTerminal_;
    Clock::time_point start_;
    Clock::time_point nextLine_;
};

}  // namespace vorun::restore
