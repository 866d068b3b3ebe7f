#pragma once

#include <cstdint>

// The file calls that FileStream needs, in the shape of the Win32 interface: one file implements
// them over that interface (PlatformFileWin32.cpp), one over POSIX (PlatformFilePosix.cpp). Nothing
// here raises; failures are results. Any handle value may be passed to any call.
namespace vorun::platform {

/// An open file, or one of the two values below.
using FileHandle = std::intptr_t;
inline constexpr FileHandle noFile = 0;
inline constexpr FileHandle invalidFile = -1;

/// Bits of the access that createFile asks for. None of them opens a file for questions only.
inline constexpr std::uint32_t accessRead = 0x80000000U;
inline constexpr std::uint32_t accessWrite = 0x40000000U;

/// What createFile does about a file that exists or is missing. Other values fail.
inline constexpr std::uint32_t createNew = 1;
inline constexpr std::uint32_t openExisting = 3;
inline constexpr std::uint32_t openAlways = 4;

enum class Origin { start, current };

/// Opens a file shared for reading and writing. invalidFile on failure; a directory or a pipe
/// by name is one.
FileHandle createFile(const char* path, std::uint32_t access, std::uint32_t disposition) noexcept;

/// Reads `count` bytes, fewer only at the end of the file, and stores how many came.
bool readFile(FileHandle handle, void* buffer, std::uint32_t count, std::uint32_t& done) noexcept;

bool writeFile(FileHandle handle, const void* buffer, std::uint32_t count,
               std::uint32_t& done) noexcept;

/// Moves by `distance` bytes from `origin` and stores the position reached, from the start.
bool setFilePointer(FileHandle handle, std::int64_t distance, Origin origin,
                    std::int64_t& position) noexcept;

bool getFileSize(FileHandle handle, std::int64_t& size) noexcept;

bool flushFileBuffers(FileHandle handle) noexcept;

/// Closing noFile or invalidFile has no effect on any file.
bool closeHandle(FileHandle handle) noexcept;

}  // namespace vorun::platform
