#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/ScratchFolder.h"

namespace vorun::apitest {

/** A file in a folder of its own, gone with the object. */
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::vector<std::uint8_t>& bytes) { rewrite(bytes); }

    /** Replaces the content; the name stays. */
    void rewrite(const std::vector<std::uint8_t>& bytes) const {
        // A file that is cut and written again goes to the disk at once on some systems; a new one
        // is gone before that.
        std::filesystem::remove(path_);
        folder_.write("file", bytes);
    }

    const std::string& path() const { return path_; }

  private:
    test::ScratchFolder folder_;
    std::string path_ = folder_.path("file");
};

}  // namespace vorun::apitest
