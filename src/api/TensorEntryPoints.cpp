#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "api/ModelHandle.h"
#include "foundation/vector/CheckedCall.h"
#include "neural/ModelFile.h"
#include "vorun/processor.h"
#include "vorun/tensor_model.h"

using vorun::Tensor;

namespace {

/** Frames that hold nothing cost the host nothing, but each costs the graph a tensor. */
constexpr int32_t mostEmptyFrames = 65536;

void requireBoundedFrames(const Tensor<float>& tensor) {
    if (tensor.rank() > 0 && tensor.volume() == 0 && tensor.dim(0) > mostEmptyFrames) {
        throw std::runtime_error("tensor has too many frames without elements");
    }
}

std::vector<int32_t> shapeFrom(int32_t rank, const int32_t* shape) {
    if (rank < 0) {
        throw std::length_error("vector too long");
    }
    return rank == 0 ? std::vector<int32_t>() : std::vector<int32_t>(shape, shape + rank);
}

}  // namespace

ModelHandle* vorunCreateModel(const char* path) {
    auto handle = std::make_unique<ModelHandle>();
    return vorun::loadModelFile(handle->model, path) ? handle.release() : nullptr;
}

void vorunDeleteModel(ModelHandle* model) {
    const std::unique_ptr<ModelHandle> owner(model);
}

void vorunAddTensor(ModelHandle* model, const float* data, int32_t rank, const int32_t* shape) {
    Tensor<float> tensor(shapeFrom(rank, shape));
    requireBoundedFrames(tensor);
    vorun::copySamples(data, tensor.data(), tensor.volume());
    model->model.input->AddTensor(tensor, nullptr);
    model->result = model->model.output->TakeResult();
}

bool vorunGetResultTensorShape(ModelHandle* model, int32_t rank, int32_t* shape) {
    const std::vector<int32_t>& result = model->result.shape();
    if (rank < 0 || static_cast<std::size_t>(rank) != result.size()) {
        return false;
    }
    std::copy(result.begin(), result.end(), shape);
    return true;
}

bool vorunGetTensor(ModelHandle* model, float* out) {
    if (model->result.volume() == 0) {
        return false;
    }
    vorun::copySamples(model->result.readData(), out, model->result.volume());
    return true;
}

void vorunResetModelState(ModelHandle* model) {
    model->model.Reset();
}

void vorunGetProcessorInfo(void* model, VorunModelInfo* info) {
    const auto& header = static_cast<ModelHandle*>(model)->model;
    *info = {};
    info->sampleRate = header.sampleRate;
    info->inputChannels = header.inputChannels;
    info->fftSize = header.fftSize;
    info->windowSize = header.windowSize;
    info->hopSize = header.hopSize;
    info->latency = header.latency;
}
