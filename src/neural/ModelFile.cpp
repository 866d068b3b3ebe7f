#include "neural/ModelFile.h"

#include <memory>
#include <utility>

#include "foundation/FileStream.h"

namespace vorun {

namespace {

constexpr std::int32_t readAccess = 0;
constexpr std::int32_t openExisting = 0;

}  // namespace

bool loadModelFile(NeuralModel<float>& model, const std::string& path) {
    auto stream = std::make_shared<FileStream>();
    return stream->Open(path, readAccess, openExisting) && model.Load(std::move(stream));
}

}  // namespace vorun
