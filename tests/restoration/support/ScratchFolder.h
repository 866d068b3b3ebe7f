#pragma once

#include <filesystem>
#include <string>

#include "support/ModelWriter.h"

namespace vorun::test {

/** A folder of its own for one test's files; gone with the object. */
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    /** Writes a model file and gives its path. */
    std::string save(const writer::ModelWriter& model);
    /** Writes any text and gives its path. */
    std::string saveText(const std::string& text);

  private:
    std::string nextPath();

    std::filesystem::path folder_;
    int files_ = 0;
};

}  // namespace vorun::test
