#include "api/LayerFiles.h"

#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

using writer::LayerType;
using writer::ModelWriter;

ModelWriter smallFile(std::int32_t version = 4105) {
    writer::ModelHeader header = smallHeader();
    header.version = version;
    return ModelWriter(header);
}

std::vector<std::uint8_t> finished(ModelWriter& file, const char* outputSource = "l") {
    return file.setOutputSource(outputSource).bytes();
}

std::vector<std::uint8_t> twoTensors(LayerType type, const std::vector<std::int32_t>& first,
                                     const std::vector<std::int32_t>& second) {
    ModelWriter file = smallFile();
    file.addTwoTensors("l", "input", type, evenBlock(first), evenBlock(second));
    return finished(file);
}

std::vector<std::uint8_t> decoder() {
    writer::ConvRecord encoder = constantStage(1, {0.25f, 0.5f});
    encoder.timeStride = 2;
    encoder.heightStride = 3;
    ModelWriter file = smallFile();
    file.addConv("e", "input", encoder)
        .addTransposedConv("l", "e", decoderRecord(3, 3, 2, 1, 2, 3));
    return finished(file);
}

std::vector<std::uint8_t> transposed() {
    writer::TransposedConvRecord record = decoderRecord(2, 3, 1, 1, 1, 1);
    record.lookahead = 1;
    ModelWriter file = smallFile();
    file.addTransposedConv("l", "input", record);
    return finished(file);
}

std::vector<std::uint8_t> preNorm() {
    ModelWriter file = smallFile();
    file.addPreNorm("l", "input", evenBlock({4}));
    return finished(file);
}

std::vector<std::uint8_t> attention() {
    ModelWriter file = smallFile();
    file.addSelfAttention("l", "input", {evenBlock({1, 1}), evenBlock({9}), 1, evenBlock({3, 1})});
    return finished(file);
}

std::vector<std::uint8_t> concatenation() {
    ModelWriter file = smallFile();
    file.addActivation("r", "input", LayerType::relu)
        .addConcat("j", {"input", "r"})
        .addConv("l", "j", copyStage(2, 1));
    return finished(file);
}

std::vector<std::uint8_t> arithmetic() {
    ModelWriter file = smallFile();
    file.addActivation("r", "input", LayerType::relu)
        .addConv("c", "input", randomStage({2, 1, 1, 1}, 2, 1, 1))
        .addArithmetic("l", {"input", "r", "c"}, 1);
    return finished(file);
}

std::vector<std::uint8_t> beforeOutChannels() {
    ModelWriter file = smallFile(4103);
    file.addTransposedConv("l", "input", decoderRecord(1, 2, 1, 1, 1, 1));
    return finished(file);
}

std::vector<std::uint8_t> beforeAttentionWeights() {
    ModelWriter file = smallFile(4102);
    file.addSelfAttention("l", "input", {evenBlock({1, 1}), evenBlock({9}), 0, {}});
    return finished(file);
}

}  // namespace

std::vector<LayerFile> layerFiles() {
    return {
        {"Transposed", transposed()},
        {"Decoder", decoder()},
        {"Separable", twoTensors(LayerType::separableChannelConv, {3}, {3})},
        {"Norm", twoTensors(LayerType::norm, {1}, {1})},
        {"Dense", twoTensors(LayerType::dense, {9, 9, 1}, {9})},
        {"PreNorm", preNorm()},
        {"Attention", attention()},
        {"Concat", concatenation()},
        {"Arithmetic", arithmetic()},
        {"TransposedOfOldVersion", beforeOutChannels()},
        {"AttentionOfOldVersion", beforeAttentionWeights()},
    };
}

writer::ModelHeader smallHeader() {
    return frameHeader(16, 16, 8);
}

std::size_t layersBegin(const writer::ModelHeader& header) {
    // Behind the last layer stand the length and the letters of "input".
    return ModelWriter(header).bytes().size() - 9;
}

writer::TensorBlock evenBlock(const std::vector<std::int32_t>& shape) {
    std::size_t volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= static_cast<std::size_t>(dimension);
    }
    return {shape, std::vector<float>(volume, 0.5f), writer::ElementType::half};
}

writer::TransposedConvRecord decoderRecord(std::int32_t frames, std::int32_t height,
                                           std::int32_t inputs, std::int32_t outputs,
                                           std::int32_t timeStride, std::int32_t heightStride) {
    writer::TransposedConvRecord record;
    record.weights = evenBlock({frames, height, outputs, inputs});
    record.bias = evenBlock({outputs});
    record.outChannels = static_cast<std::int16_t>(outputs);
    record.timeStride = static_cast<std::int8_t>(timeStride);
    record.heightStride = static_cast<std::int8_t>(heightStride);
    return record;
}

}  // namespace vorun::apitest
