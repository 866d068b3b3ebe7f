#pragma once

#include <filesystem>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <system_error>
#include <vector>

namespace vorun::test {

/** A folder of its own for one test, gone with the object. */
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "vorun-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }

    /** Names of all that lies in the folder, hidden files included. */
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace vorun::test
