#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "foundation/PlatformFile.h"

namespace vorun::platform {

static_assert(accessRead == GENERIC_READ && accessWrite == GENERIC_WRITE);
static_assert(createNew == CREATE_NEW && openExisting == OPEN_EXISTING &&
              openAlways == OPEN_ALWAYS);

namespace {

// A handle of this interface is the platform's, as a number.
HANDLE platformHandle(FileHandle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

FileHandle createFile(const char* path, std::uint32_t access, std::uint32_t disposition) noexcept {
    return reinterpret_cast<FileHandle>(::CreateFileA(path, access,
                                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                      disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool readFile(FileHandle handle, void* buffer, std::uint32_t count, std::uint32_t& done) noexcept {
    DWORD moved = 0;
    const bool succeeded =
        ::ReadFile(platformHandle(handle), buffer, count, &moved, nullptr) != FALSE;
    done = moved;
    return succeeded;
}

bool writeFile(FileHandle handle, const void* buffer, std::uint32_t count,
               std::uint32_t& done) noexcept {
    DWORD moved = 0;
    const bool succeeded =
        ::WriteFile(platformHandle(handle), buffer, count, &moved, nullptr) != FALSE;
    done = moved;
    return succeeded;
}

bool setFilePointer(FileHandle handle, std::int64_t distance, Origin origin,
                    std::int64_t& position) noexcept {
    LARGE_INTEGER move;
    move.QuadPart = distance;
    LARGE_INTEGER reached;
    reached.QuadPart = 0;
    const DWORD method = origin == Origin::start ? FILE_BEGIN : FILE_CURRENT;
    const bool succeeded =
        ::SetFilePointerEx(platformHandle(handle), move, &reached, method) != FALSE;
    position = reached.QuadPart;
    return succeeded;
}

bool getFileSize(FileHandle handle, std::int64_t& size) noexcept {
    LARGE_INTEGER bytes;
    bytes.QuadPart = 0;
    const bool succeeded = ::GetFileSizeEx(platformHandle(handle), &bytes) != FALSE;
    size = bytes.QuadPart;
    return succeeded;
}

bool flushFileBuffers(FileHandle handle) noexcept {
    return ::FlushFileBuffers(platformHandle(handle)) != FALSE;
}

bool closeHandle(FileHandle handle) noexcept {
    return ::CloseHandle(platformHandle(handle)) != FALSE;
}

}  // namespace vorun::platform
