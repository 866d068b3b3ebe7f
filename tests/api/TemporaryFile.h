#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/ScratchFolder.h"

namespace vorun::apitest {

/** A file in a folder of its own, gone with the object. */
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::vector<std::uint8_t>& bytes) { rewrite(bytes); }

    /** Replaces the content; the name stays. */
    void rewrite(const std::vector<std::uint8_t>& bytes) const { folder_.write("file", bytes); }

    const std::string& path() const { return path_; }

  private:
    test::ScratchFolder folder_;
    std::string path_ = folder_.path("file");
};

}  // namespace vorun::apitest
