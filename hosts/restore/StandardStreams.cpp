#include "restore/StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "restore/HostError.h"

namespace vorun::restore {

void prepareStandardStreams() {
    std::signal(SIGPIPE, SIG_IGN);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // Takes the lowest free number, and for reading only, so that a print is still an error.
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != stream) {
            return;
        }
    }
}

void checkPrinted() {
    const bool lostBefore = std::ferror(stdout) != 0;
    errno = 0;
    const bool sent = std::fflush(stdout) == 0;
    if (lostBefore || !sent) {
        const std::string text = "cannot write to the standard output";
        throw HostError(ExitStatus::writeFailed, errno == 0 ? text : withReason(text, errno));
    }
}

}  // namespace vorun::restore
