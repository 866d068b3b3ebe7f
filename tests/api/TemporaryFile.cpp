#include "api/TemporaryFile.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>

namespace vorun::apitest {
namespace {

/** Test programs run side by side: a random part keeps the processes' names apart. */
std::string freshPath() {
    static const unsigned processPart = std::random_device{}();
    static std::atomic<int> counter{0};
    const std::string name =
        "vorun-api-test-" + std::to_string(processPart) + "-" + std::to_string(counter++);
    return (std::filesystem::temp_directory_path() / name).string();
}

}  // namespace

TemporaryFile::TemporaryFile(const std::vector<std::uint8_t>& bytes) : path_(freshPath()) {
    rewrite(bytes);
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void TemporaryFile::rewrite(const std::vector<std::uint8_t>& bytes) const {
    std::ofstream file(path_, std::ios::binary | std::ios::trunc);
    for (const std::uint8_t byte : bytes) {
        file.put(static_cast<char>(byte));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path_);
    }
}

}  // namespace vorun::apitest
