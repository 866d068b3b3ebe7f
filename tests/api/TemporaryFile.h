#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorun::apitest {

/** A file of its own name in the system's folder for temporary files, deleted with the object. */
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::vector<std::uint8_t>& bytes);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /** Replaces the content; the name stays. */
    void rewrite(const std::vector<std::uint8_t>& bytes) const;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace vorun::apitest
