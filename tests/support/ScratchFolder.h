#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/ModelWriter.h"

namespace vorun::test {

/**
 * A folder of its own for one test's files, gone with the object. Test programs run side by side,
 * also two of the same build: no two objects ever share a folder.
 */
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path() const { return folder_.string(); }
    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    /** Writes a file, or replaces its content; throws std::runtime_error if that fails. */
    void write(const std::string& name, const std::vector<std::uint8_t>& bytes) const;

    /** Writes a file under a name not used before and gives its path. */
    std::string save(const std::vector<std::uint8_t>& bytes);
    std::string save(const writer::ModelWriter& model) { return save(model.bytes()); }

  private:
    std::filesystem::path folder_;
    int files_ = 0;
};

}  // namespace vorun::test
