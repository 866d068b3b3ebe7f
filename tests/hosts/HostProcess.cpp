#include "hosts/HostProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hosts/AudioFiles.h"
#include "hosts/TemporaryFolder.h"

namespace vorun::test {
namespace {

int openForWriting(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

/** Both ends of a terminal that nobody sits at. */
struct Terminal {
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int slave = -1;

    Terminal() {
        std::array<char, 128> name{};
        if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
            ptsname_r(master, name.data(), name.size()) != 0) {
            throw std::runtime_error("no terminal");
        }
        slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }

    std::string readAll() {
        close(slave);
        std::string text;
        std::array<char, 4096> part{};
        ssize_t count = 0;
        // The end of a terminal reads as an error.
        while ((count = read(master, part.data(), part.size())) > 0) {
            text.append(part.data(), static_cast<std::size_t>(count));
        }
        close(master);
        return text;
    }
};

/** Runs in the child: only calls that are safe between fork and exec. */
[[noreturn]] void become(const std::vector<char*>& arguments, int out, int err, long sizeLimit) {
    if (sizeLimit >= 0) {
        const auto bytes = static_cast<rlim_t>(sizeLimit);
        const rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (out < 0) {
        close(STDOUT_FILENO);
    } else {
        dup2(out, STDOUT_FILENO);
    }
    dup2(err, STDERR_FILENO);
    execv(arguments.front(), arguments.data());
    _exit(127);
}

void waitFor(pid_t process, ProcessResult& result) {
    int status = 0;
    rusage usage{};
    while (wait4(process, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    result.peakMemory = usage.ru_maxrss;
}

/** Below 0 for a stdout that is closed. */
int openOut(ProcessSetup::Out kind, const std::string& file) {
    std::array<int, 2> ends{};
    switch (kind) {
        case ProcessSetup::Out::closed:
            return -1;
        case ProcessSetup::Out::fullDevice:
            return open("/dev/full", O_WRONLY | O_CLOEXEC);
        case ProcessSetup::Out::closedPipe:
            if (pipe2(ends.data(), O_CLOEXEC) != 0) {
                throw std::runtime_error("no pipe");
            }
            close(ends[0]);
            return ends[1];
        default:
            return openForWriting(file);
    }
}

}  // namespace

ProcessResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProcessSetup& setup) {
    const TemporaryFolder folder;
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    const int out = openOut(setup.out, folder.file("out"));
    const int errFile = openForWriting(folder.file("err"));
    std::unique_ptr<Terminal> terminal;
    if (setup.errorsToTerminal) {
        terminal = std::make_unique<Terminal>();
    }
    const int err = terminal ? terminal->slave : errFile;
    const pid_t process = fork();
    if (process < 0) {
        throw std::runtime_error("no process");
    }
    if (process == 0) {
        become(pointers, out, err, setup.fileSizeLimit);
    }
    if (out >= 0) {
        close(out);
    }
    close(errFile);
    if (setup.whileRunning) {
        setup.whileRunning(process);
    }
    ProcessResult result;
    if (terminal) {
        result.err = terminal->readAll();
    }
    waitFor(process, result);
    result.out = readBytes(folder.file("out"));
    if (!terminal) {
        result.err = readBytes(folder.file("err"));
    }
    return result;
}

ProcessResult runRestore(const std::vector<std::string>& arguments, const ProcessSetup& setup) {
    return runProgram(VORUN_RESTORE_PROGRAM, arguments, setup);
}

bool isOneLine(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

}  // namespace vorun::test
