#include "restore/Progress.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "restore/NumberText.h"

namespace vorun::restore {
namespace {

constexpr std::chrono::milliseconds betweenLines(100);
constexpr const char* clearLine = "\r\033[K";

}  // namespace

std::string progressText(std::int64_t doneSamples, std::int64_t totalSamples, double sampleRate,
                         double elapsedSeconds) {
    const double doneSeconds = static_cast<double>(doneSamples) / sampleRate;
    const double speed = elapsedSeconds > 0.0 ? doneSeconds / elapsedSeconds : 0.0;
    const std::string speedText = fixedText(speed, 1) + " x real time";
    if (totalSamples <= 0) {
        return clockText(doneSeconds) + "  " + speedText;
    }
    const std::int64_t left = std::max<std::int64_t>(totalSamples - doneSamples, 0);
    const double percent =
        100.0 * static_cast<double>(totalSamples - left) / static_cast<double>(totalSamples);
    std::string text = fixedText(percent, 0) + " %  " + speedText;
    if (speed > 0.0) {
        text += "  " + clockText(static_cast<double>(left) / sampleRate / speed) + " left";
    }
    return text;
}

Progress::Progress(std::int64_t totalSamples, double sampleRate)
    : totalSamples_(totalSamples),
      sampleRate_(sampleRate),
      isTerminal_(isatty(STDERR_FILENO) == 1),
      start_(Clock::now()),
      nextLine_(start_) {}

Progress::~Progress() {
    if (isTerminal_) {
        std::fputs(clearLine, stderr);
    }
}

void Progress::show(std::int64_t doneSamples) {
    const Clock::time_point now = Clock::now();
    if (!isTerminal_ || now < nextLine_) {
        return;
    }
    nextLine_ = now + betweenLines;
    const std::string text =
        progressText(doneSamples, totalSamples_, sampleRate_, elapsedSeconds());
    std::fprintf(stderr, "%s%s", clearLine, text.c_str());
    std::fflush(stderr);
}

double Progress::elapsedSeconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

}  // namespace vorun::restore
