#include "support/ScratchFolder.h"

#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>

namespace vorun::test {
namespace {

std::filesystem::path newFolder() {
    const std::filesystem::path base = std::filesystem::temp_directory_path();
    std::random_device random;
    // A folder that is there already is another object's: the next number then.
    for (;;) {
        const auto folder = base / ("vorun-test-" + std::to_string(random()));
        if (std::filesystem::create_directory(folder)) {
            return folder;
        }
    }
}

}  // namespace

ScratchFolder::ScratchFolder() : folder_(newFolder()) {}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void ScratchFolder::write(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
    std::ofstream file(folder_ / name, std::ios::binary | std::ios::trunc);
    for (const std::uint8_t byte : bytes) {
        file.put(static_cast<char>(byte));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path(name));
    }
}

std::string ScratchFolder::save(const std::vector<std::uint8_t>& bytes) {
    const std::string name = std::to_string(files_++) + ".model";
    write(name, bytes);
    return path(name);
}

}  // namespace vorun::test
