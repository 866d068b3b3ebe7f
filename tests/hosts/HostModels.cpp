#include "hosts/HostModels.h"

#include <cstdint>
#include <vector>

#include "support/ModelWriter.h"

namespace vorun::test {
namespace {

using writer::ConvRecord;
using writer::ModelHeader;
using writer::ModelWriter;

ConvRecord convolution(std::int32_t frames, std::int32_t height, std::int32_t in, float weight,
                       const std::vector<float>& bias) {
    const auto out = static_cast<std::int32_t>(bias.size());
    ConvRecord record;
    record.weights.shape = {frames, height, in, out};
    record.weights.values.assign(static_cast<std::size_t>(frames * height * in * out), weight);
    record.bias.shape = {out};
    record.bias.values = bias;
    return record;
}

void writeSingleLayer(const std::string& path, const ModelHeader& header,
                      const ConvRecord& record) {
    ModelWriter model(header);
    model.addConv("mask", "input", record);
    model.setOutputSource("mask");
    model.writeFile(path);
}

}  // namespace

void writeConstantMask(const std::string& path, float mask) {
    writeSingleLayer(path, {}, convolution(1, 1, 1, 0.0F, {mask}));
}

void writeTwoMasks(const std::string& path) {
    ModelHeader header;
    header.maskCount = 2;
    header.busNames = {"Voice", "Music", "Residual"};
    writeSingleLayer(path, header, convolution(1, 1, 1, 0.0F, {0.25F, 0.5F}));
}

void writeSlowModel(const std::string& path) {
    constexpr std::int32_t width = 64;
    ModelWriter model;
    model.addConv("wide", "input", convolution(1, 1, 1, 0.0F, std::vector<float>(width, 0.0F)));
    model.addConv("slow", "wide", convolution(5, 5, width, 0.0F, std::vector<float>(width, 0.0F)));
    model.addConv("mask", "slow", convolution(1, 1, width, 0.0F, {1.0F}));
    model.setOutputSource("mask");
    model.writeFile(path);
}

void writeFrameDropper(const std::string& path) {
    ConvRecord record = convolution(1, 1, 1, 0.0F, {1.0F});
    record.timeStride = 2;
    writeSingleLayer(path, {}, record);
}

void writeRowDropper(const std::string& path) {
    ConvRecord record = convolution(1, 1, 1, 0.0F, {1.0F});
    record.heightStride = 2;
    writeSingleLayer(path, {}, record);
}

}  // namespace vorun::test
