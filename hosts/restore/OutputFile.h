#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vorun::restore {

/**
 * A file that appears under its name only when it is complete.
 *
 * It grows beside its target under a hidden name of its own. commit() renames it into place, which
 * replaces an older file in one step; without a commit the destructor removes it and the target is
 * as it was. Where the target is a symbolic link, the file behind the link is made or
 * replaced.
 */
class OutputFile {
  public:
    /** @throws HostError cannotCreateOutput. */
    explicit OutputFile(const std::string& target);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /** Does nothing after a failure, which is kept for checkWritten(). */
    void write(const void* bytes, std::int64_t count);
    std::int64_t read(void* bytes, std::int64_t count);
    /** @param origin as in lseek. @return the new place, below 0 on failure. */
    std::int64_t seek(std::int64_t offset, int origin);
    std::int64_t length();

    /** @throws HostError writeFailed if any write so far has failed. */
    void checkWritten() const;
    /** Sends everything to the disk and gives the file its name. @throws HostError writeFailed. */
    void commit();

  private:
    void create();

    std::string shownName_;
    std::string target_;
    std::string temporary_;
    int file_ = -1;
    int writeError_ = 0;
};

/** Whether both paths lead to one file, through links of either kind. False if one is missing. */
bool isSameFile(const std::string& first, const std::string& second);

}  // namespace vorun::restore
