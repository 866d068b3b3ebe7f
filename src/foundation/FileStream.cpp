#include "foundation/FileStream.h"

#include <stdexcept>

namespace vorun {

namespace {

std::uint32_t platformAccess(std::int32_t accessMode) {
    switch (accessMode) {
        case 0:
            return platform::accessRead;
        case 1:
            return platform::accessWrite;
        case 2:
            return platform::accessRead | platform::accessWrite;
        default:
            return 0;
    }
}

std::uint32_t platformDisposition(std::int32_t disposition) {
    switch (disposition) {
        case 0:
            return platform::openExisting;
        case 1:
            return platform::openAlways;
        case 2:
            return platform::createNew;
        default:
            return 0;
    }
}

}  // namespace

FileStream::~FileStream() {
    FileStream::Close();
}

// By value, as the stream's users pass it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool FileStream::Open(std::string path, std::int32_t accessMode, std::int32_t disposition) {
    const platform::FileHandle before = handle;
    handle = platform::createFile(path.c_str(), platformAccess(accessMode),
                                  platformDisposition(disposition));
    if (before != platform::noFile) {
        platform::closeHandle(before);
    }
    return handle != platform::invalidFile;
}

std::uint32_t FileStream::Read(void* buffer, std::uint32_t count) {
    std::uint32_t done = 0;
    return platform::readFile(handle, buffer, count, done) ? done : 0;
}

std::uint32_t FileStream::Write(const void* buffer, std::uint32_t count) {
    std::uint32_t done = 0;
    return platform::writeFile(handle, buffer, count, done) ? done : 0;
}

void FileStream::Flush() {
    platform::flushFileBuffers(handle);
}

bool FileStream::SetPosition(std::uint64_t position) {
    // A position above the largest signed one turns negative here, and the platform refuses that.
    std::int64_t reached = 0;
    return platform::setFilePointer(handle, static_cast<std::int64_t>(position),
                                    platform::Origin::start, reached);
}

std::int64_t FileStream::GetPosition() {
    std::int64_t position = 0;
    if (!platform::setFilePointer(handle, 0, platform::Origin::current, position)) {
        throw std::runtime_error("Unable to get file position from WIN32 API");
    }
    return position;
}

std::int64_t FileStream::GetSize() {
    std::int64_t size = 0;
    if (!platform::getFileSize(handle, size)) {
        throw std::runtime_error("Unable to get file size from WIN32 API");
    }
    return size;
}

void FileStream::Close() {
    if (handle != platform::noFile) {
        platform::closeHandle(handle);
    }
    handle = platform::noFile;
}

}  // namespace vorun
