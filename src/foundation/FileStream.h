#pragma once

#include <cstdint>
#include <string>

#include "foundation/BinaryStream.h"
#include "foundation/PlatformFile.h"

namespace vorun {

/// A file of the platform as a stream of bytes. Other streams may have the same file open. The
/// position is the platform's own; nothing is buffered here.
class FileStream : public InputStream, public OutputStream {
  public:
    FileStream() = default;
    ~FileStream() override;

    /// Opens `path`, a narrow string of the platform. `accessMode`: 0 read, 1 write, 2 both.
    /// `disposition`: 0 the file must exist, 1 it is made if missing, 2 it must not exist yet.
    /// Other values ask the platform for nothing (0) and get what it makes of that. Returns whether
    /// a file is open now, which is the only sign of failure. A file opened before is closed.
    bool Open(std::string path, std::int32_t accessMode, std::int32_t disposition);

    std::uint32_t Read(void* buffer, std::uint32_t count) override;
    std::uint32_t Write(const void* buffer, std::uint32_t count) override;
    void Flush() override;
    bool SetPosition(std::uint64_t position) override;
    std::int64_t GetPosition() override;
    std::int64_t GetSize() override;
    /// Raises nothing, and does nothing the second time.
    void Close() override;

    // Both sides answer true, also after a failed Open.
    using InputStream::IsValid;

  private:
    // Null while closed. After a failed Open it holds the invalid value, which closing ignores.
    platform::FileHandle handle = platform::noFile;
};

}  // namespace vorun
