#include "ReferenceEngine.h"

#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

namespace vorun::benchmarks {

ReferenceEngine::ReferenceEngine(const ReferenceNetwork& network)
    : inShape_{1, network.layers.front().inBins, network.layers.front().inChannels},
      result_(network.layers.back().outSize()) {
    // The file lives only until it is loaded.
    const auto path = std::filesystem::temp_directory_path() /
                      ("vorun-benchmark-" + std::to_string(std::random_device{}()) + ".vorun");
    modelFileOf(network).writeFile(path.string());
    model_ = vorunCreateModel(path.string().c_str());
    std::filesystem::remove(path);
    if (model_ == nullptr) {
        throw std::runtime_error("the benchmark's model is refused");
    }
}

ReferenceEngine::~ReferenceEngine() {
    vorunDeleteModel(model_);
}

void ReferenceEngine::run(const float* frame) {
    vorunAddTensor(model_, frame, 3, inShape_);
    std::int32_t shape[3] = {};
    if (!vorunGetResultTensorShape(model_, 3, shape) ||
        static_cast<std::size_t>(shape[0] * shape[1] * shape[2]) != result_.size() ||
        !vorunGetTensor(model_, result_.data())) {
        throw std::runtime_error("the benchmark's model gives another result than it should");
    }
}

}  // namespace vorun::benchmarks
