#include "BenchmarkModels.h"

#include <cstdint>

#include "support/RandomConv.h"

namespace vorun::benchmarks {

namespace {

constexpr std::int16_t bins = 513;

writer::ModelHeader header() {
    writer::ModelHeader header;
    header.inputBins = bins;
    header.fftSize = 1024;
    header.windowSize = 1024;
    header.hopSize = 256;
    return header;
}

writer::ConvRecord convolution(std::int32_t inputs, std::int32_t outputs, std::int8_t dilation) {
    writer::ConvRecord record = randomConv({3, 3, inputs, outputs}, 0.2f);
    record.timeDilation = dilation;
    return record;
}

}  // namespace

writer::ModelWriter identityModel() {
    writer::ConvRecord record;
    record.weights = {{1, 1, 1, 1}, {0.0f}};
    record.bias = {{1}, {1.0f}};
    writer::ModelWriter model(header());
    model.addConv("mask", "input", record).setOutputSource("mask");
    return model;
}

writer::ModelWriter convolutionModel() {
    writer::ModelWriter model(header());
    model.addConv("conv1", "input", convolution(1, 16, 1))
        .addActivation("relu1", "conv1", writer::LayerType::relu)
        .addConv("conv2", "relu1", convolution(16, 16, 2))
        .addActivation("relu2", "conv2", writer::LayerType::relu)
        .addConv("conv3", "relu2", convolution(16, 16, 4))
        .addActivation("relu3", "conv3", writer::LayerType::relu)
        .addConv("conv4", "relu3", convolution(16, 1, 8))
        .addActivation("mask", "conv4", writer::LayerType::sigmoid)
        .setOutputSource("mask");
    return model;
}

}  // namespace vorun::benchmarks
