#include "restore/ReadableFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorun::restore {

void checkReadable(const std::string& path, const std::string& failure, ExitStatus status) {
    // A pipe that nobody writes would hold up a plain open for ever.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        throw HostError(status, withReason(failure, errno));
    }
    struct stat about {};
    const bool known = fstat(file, &about) == 0;
    close(file);
    if (known && S_ISDIR(about.st_mode)) {
        throw HostError(status, withReason(failure, EISDIR));
    }
    if (known && !S_ISREG(about.st_mode)) {
        throw HostError(status, failure + ": not a file");
    }
}

}  // namespace vorun::restore
