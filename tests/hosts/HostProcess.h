#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace vorun::test {

struct ProcessSetup {
    /** Makes stderr a terminal. */
    bool errorsToTerminal = false;
    /** Largest file that the process may write, in bytes; no limit if below 0. */
    long fileSizeLimit = -1;
    /** What stdout is instead of a file whose text the result holds. */
    enum class Out { text, fullDevice, closedPipe, closed } out = Out::text;
    /** Called with the process's id while it runs. */
    std::function<void(pid_t)> whileRunning;
};

struct ProcessResult {
    /** As the shell counts: 128 + signal for a process that a signal ended. */
    int status = -1;
    std::string out;
    std::string err;
    /** The most memory that the process had at once, in KiB. */
    long peakMemory = 0;
};

/** Runs a program to its end. */
ProcessResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProcessSetup& setup = {});

/** Runs vorun-restore to its end. */
ProcessResult runRestore(const std::vector<std::string>& arguments, const ProcessSetup& setup = {});

/** Whether a text is exactly one line, with its end. */
bool isOneLine(const std::string& text);

}  // namespace vorun::test
