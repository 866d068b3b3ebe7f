#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/PlatformFile.h"

namespace vorun::platform {

static_assert(sizeof(off_t) == sizeof(std::int64_t), "File positions have 64 bits");

namespace {

// A handle is the descriptor plus one, since descriptor 0 is a file and handle 0 is none. The two
// special handles turn into negative descriptors, which every call below refuses.
FileHandle handleOf(int descriptor) {
    return static_cast<FileHandle>(descriptor) + 1;
}
int descriptorOf(FileHandle handle) {
    return static_cast<int>(handle - 1);
}

int accessFlags(std::uint32_t access) {
    const bool reads = (access & accessRead) != 0;
    const bool writes = (access & accessWrite) != 0;
    if (reads && writes) {
        return O_RDWR;
    }
    if (reads) {
        return O_RDONLY;
    }
    // The mode beside the three standard ones is a descriptor that can be asked and positioned, but
    // neither read nor written; a system without it refuses the call.
    return writes ? O_WRONLY : O_ACCMODE;
}

// Negative for a disposition that does not exist.
int creationFlags(std::uint32_t disposition) {
    switch (disposition) {
        case createNew:
            return O_CREAT | O_EXCL;
        case openExisting:
            return 0;
        case openAlways:
            return O_CREAT;
        default:
            return -1;
    }
}

bool isDirectoryOrPipe(int descriptor) {
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 &&
           (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode));
}

// Repeats a read or write until all is done, the call moves nothing more, or it fails.
template <class Call>
bool transferAll(std::uint32_t count, std::uint32_t& done, Call call) {
    done = 0;
    do {
        const ssize_t moved = call(done, static_cast<std::size_t>(count - done));
        if (moved < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (moved == 0) {
            break;
        }
        done += static_cast<std::uint32_t>(moved);
    } while (done < count);
    return true;
}

}  // namespace

FileHandle createFile(const char* path, std::uint32_t access, std::uint32_t disposition) noexcept {
    const int creation = creationFlags(disposition);
    if (creation < 0) {
        return invalidFile;
    }
    const int flags = accessFlags(access) | creation | O_CLOEXEC | O_NONBLOCK;
    int descriptor = -1;
    do {
        // Without O_NONBLOCK a pipe by name would wait here for its other end.
        // The mode argument is variadic in the interface.
        descriptor = ::open(path, flags, 0666);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        return invalidFile;
    }
    if (isDirectoryOrPipe(descriptor)) {
        ::close(descriptor);
        return invalidFile;
    }
    return handleOf(descriptor);
}

bool readFile(FileHandle handle, void* buffer, std::uint32_t count, std::uint32_t& done) noexcept {
    return transferAll(count, done, [&](std::uint32_t offset, std::size_t rest) {
        return ::read(descriptorOf(handle), static_cast<std::byte*>(buffer) + offset, rest);
    });
}

bool writeFile(FileHandle handle, const void* buffer, std::uint32_t count,
               std::uint32_t& done) noexcept {
    return transferAll(count, done, [&](std::uint32_t offset, std::size_t rest) {
        return ::write(descriptorOf(handle), static_cast<const std::byte*>(buffer) + offset, rest);
    });
}

bool setFilePointer(FileHandle handle, std::int64_t distance, Origin origin,
                    std::int64_t& position) noexcept {
    const int whence = origin == Origin::start ? SEEK_SET : SEEK_CUR;
    position = ::lseek(descriptorOf(handle), distance, whence);
    return position >= 0;
}

bool getFileSize(FileHandle handle, std::int64_t& size) noexcept {
    struct stat status = {};
    if (::fstat(descriptorOf(handle), &status) != 0) {
        return false;
    }
    size = status.st_size;
    return true;
}

bool flushFileBuffers(FileHandle handle) noexcept {
    return ::fsync(descriptorOf(handle)) == 0;
}

bool closeHandle(FileHandle handle) noexcept {
    return ::close(descriptorOf(handle)) == 0;
}

}  // namespace vorun::platform
