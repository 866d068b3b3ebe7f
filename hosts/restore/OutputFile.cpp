#include "restore/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

namespace fs = std::filesystem;

HostError cannotCreate(const std::string& name, const std::string& reason) {
    return {ExitStatus::cannotCreateOutput, "cannot create '" + name + "': " + reason};
}

/**
 * The place behind links, of a file that need not exist yet. Each link is followed by hand, since
 * one that leads to a missing file is no existing path to the system.
 */
fs::path behindLinks(const std::string& target) {
    // As many as the system follows before it takes them for a circle.
    constexpr int mostLinks = 40;
    std::error_code error;
    fs::path place = target;
    for (int links = 0; fs::is_symlink(fs::symlink_status(place, error)); ++links) {
        if (links == mostLinks) {
            throw HostError(ExitStatus::cannotCreateOutput,
                            withReason("cannot create '" + target + "'", ELOOP));
        }
        // An absolute link takes the place of the path as a whole.
        place = place.parent_path() / fs::read_symlink(place, error);
    }
    const fs::path folder = place.has_parent_path() ? place.parent_path() : fs::path(".");
    const fs::path real = fs::canonical(folder, error);
    if (error) {
        throw cannotCreate(target, error.message());
    }
    return real / place.filename();
}

mode_t modeOfNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return static_cast<mode_t>(0666) & ~mask;
}

/** The mode of the file that is replaced, or that of any new file. */
mode_t modeFor(const std::string& place, const std::string& shownName) {
    struct stat status {};
    if (stat(place.c_str(), &status) != 0) {
        return modeOfNewFiles();
    }
    if (!S_ISREG(status.st_mode)) {
        throw cannotCreate(shownName, "something other than a file has that name");
    }
    return status.st_mode & static_cast<mode_t>(0777);
}

}  // namespace

bool isSameFile(const std::string& first, const std::string& second) {
    struct stat a {};
    struct stat b {};
    return stat(first.c_str(), &a) == 0 && stat(second.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

OutputFile::OutputFile(const std::string& target) : shownName_(target) {
    target_ = behindLinks(target).string();
    const mode_t mode = modeFor(target_, shownName_);
    create();
    // Some file systems have no modes; the file is as good without.
    if (fchmod(file_, mode) != 0) {
        errno = 0;
    }
}

void OutputFile::create() {
    const fs::path place(target_);
    const std::string pattern =
        (place.parent_path() / ("." + place.filename().string().substr(0, 200) + ".XXXXXX"))
            .string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    file_ = mkostemp(name.data(), O_CLOEXEC);
    if (file_ < 0) {
        throw HostError(ExitStatus::cannotCreateOutput,
                        withReason("cannot create '" + shownName_ + "'", errno));
    }
    temporary_ = name.data();
}

OutputFile::~OutputFile() {
    if (file_ >= 0) {
        close(file_);
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

void OutputFile::write(const void* bytes, std::int64_t count) {
    const auto* from = static_cast<const std::byte*>(bytes);
    std::int64_t written = 0;
    while (written < count && writeError_ == 0) {
        const ssize_t step =
            ::write(file_, from + written, static_cast<std::size_t>(count - written));
        if (step > 0) {
            written += step;
        } else if (step == 0 || errno != EINTR) {
            writeError_ = step == 0 ? ENOSPC : errno;
        }
    }
}

std::int64_t OutputFile::read(void* bytes, std::int64_t count) {
    ssize_t step = -1;
    do {
        step = ::read(file_, bytes, static_cast<std::size_t>(count));
    } while (step < 0 && errno == EINTR);
    return step < 0 ? 0 : step;
}

std::int64_t OutputFile::seek(std::int64_t offset, int origin) {
    return lseek(file_, offset, origin);
}

std::int64_t OutputFile::length() {
    struct stat status {};
    return fstat(file_, &status) == 0 ? status.st_size : 0;
}

void OutputFile::checkWritten() const {
    if (writeError_ != 0) {
        throw HostError(ExitStatus::writeFailed,
                        withReason("cannot write '" + shownName_ + "'", writeError_));
    }
}

void OutputFile::commit() {
    checkWritten();
    const bool isOnDisk = fsync(file_) == 0 || errno == EINVAL || errno == ENOSYS;
    if (!isOnDisk) {
        writeError_ = errno;
    }
    const int file = file_;
    file_ = -1;
    if (close(file) != 0 && writeError_ == 0) {
        writeError_ = errno;
    }
    if (writeError_ == 0 && std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        writeError_ = errno;
    }
    checkWritten();
    temporary_.clear();
}

}  // namespace vorun::restore
