#include "restoration/support/ScratchFolder.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <system_error>

namespace vorun::test {
namespace {

std::filesystem::path uniqueFolder() {
    static std::atomic<int> made{0};
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    const auto base = std::filesystem::temp_directory_path();
    // Another program may have picked the same name in the same tick.
    for (;;) {
        const std::string name =
            "vorun-restoration-" + std::to_string(now) + "-" + std::to_string(made++);
        if (std::filesystem::create_directory(base / name)) {
            return base / name;
        }
    }
}

}  // namespace

ScratchFolder::ScratchFolder() : folder_(uniqueFolder()) {}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string ScratchFolder::save(const writer::ModelWriter& model) {
    const std::string target = nextPath();
    model.writeFile(target);
    return target;
}

std::string ScratchFolder::saveText(const std::string& text) {
    const std::string target = nextPath();
    std::ofstream(target, std::ios::binary) << text;
    return target;
}

std::string ScratchFolder::nextPath() {
    return path(std::to_string(files_++) + ".model");
}

}  // namespace vorun::test
