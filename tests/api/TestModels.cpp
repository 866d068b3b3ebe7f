#include "api/TestModels.h"

#include <string>

#include "api/Samples.h"

namespace vorun::apitest {
namespace {

writer::TensorBlock block(const std::vector<std::int32_t>& shape, std::vector<float> values) {
    writer::TensorBlock result;
    result.shape = shape;
    result.values = std::move(values);
    return result;
}

}  // namespace

std::vector<std::uint8_t> TestModel::bytes() const {
    writer::ModelWriter file(header);
    std::string last = "input";
    for (const Stage& stage : network) {
        std::string name = last + "'";
        if (const auto* conv = std::get_if<writer::ConvRecord>(&stage)) {
            file.addConv(name, last, *conv);
        } else {
            file.addActivation(name, last, std::get<writer::LayerType>(stage));
        }
        last = std::move(name);
    }
    return file.setOutputSource(last).bytes();
}

writer::ModelHeader frameHeader(int fftSize, int windowSize, int hopSize, int inputChannels,
                                int outputChannels, int maskCount) {
    writer::ModelHeader header;
    header.fftSize = static_cast<std::int16_t>(fftSize);
    header.windowSize = static_cast<std::int16_t>(windowSize);
    header.hopSize = static_cast<std::int16_t>(hopSize);
    header.inputChannels = static_cast<std::int8_t>(inputChannels);
    header.outputChannels = static_cast<std::int8_t>(outputChannels);
    header.maskCount = static_cast<std::int8_t>(maskCount);
    header.inputBins = static_cast<std::int16_t>(fftSize / 2 + 1);
    header.busNames.clear();
    for (int bus = 0; bus < maskCount; ++bus) {
        header.busNames.push_back("Bus " + std::to_string(bus));
    }
    header.busNames.push_back("Residual");
    return header;
}

writer::ModelHeader complexHeader(writer::ModelHeader header, int complexBins) {
    header.inputFormat = 2;
    header.complexInputBins = static_cast<std::int16_t>(complexBins);
    header.magnitudeInputBins = static_cast<std::int16_t>(header.inputBins - complexBins);
    return header;
}

int featureRows(const writer::ModelHeader& header) {
    if (header.inputFormat == 2) {
        return header.magnitudeInputBins + 4 * header.complexInputBins;
    }
    return header.inputBins;
}

int resultChannels(const writer::ModelHeader& header) {
    return header.maskCount * header.outputChannels;
}

writer::ConvRecord constantStage(int inputChannels, const std::vector<float>& values) {
    const auto outputs = static_cast<std::int32_t>(values.size());
    writer::ConvRecord record;
    record.weights = block({1, 1, inputChannels, outputs},
                           std::vector<float>(values.size() * inputChannels, 0.0F));
    record.bias = block({outputs}, values);
    return record;
}

writer::ConvRecord copyStage(int inputChannels, int outputChannels, float gain) {
    std::vector<float> weights(inputChannels * outputChannels, 0.0F);
    for (int out = 0; out < outputChannels; ++out) {
        weights[(out % inputChannels) * outputChannels + out] = gain;
    }
    writer::ConvRecord record;
    record.weights = block({1, 1, inputChannels, outputChannels}, std::move(weights));
    record.bias = block({0}, {});
    return record;
}

writer::ConvRecord randomStage(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                               int timeDilation, int lookahead) {
    const int volume = shape[0] * shape[1] * shape[2] * shape[3];
    writer::ConvRecord record;
    record.weights = block(shape, whiteNoise(1, volume, seed, 0.15F).front());
    record.bias = block({shape[3]}, whiteNoise(1, shape[3], seed + 1, 0.5F).front());
    record.timeDilation = static_cast<std::int8_t>(timeDilation);
    record.lookahead = static_cast<std::int8_t>(lookahead);
    return record;
}

TestModel constantMasks(const writer::ModelHeader& header, const std::vector<float>& values) {
    std::vector<float> outputs(resultChannels(header));
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outputs[i] = values[i % values.size()];
    }
    return {header, {constantStage(header.inputChannels, outputs)}};
}

TestModel livelyMasks(const writer::ModelHeader& header, std::uint32_t seed, int lookahead) {
    constexpr int inner = 4;
    const int first = lookahead / 2;
    return {
        header,
        {randomStage({3, 3, header.inputChannels, inner}, seed, 2, first), writer::LayerType::relu,
         randomStage({2, 1, inner, resultChannels(header)}, seed + 7, 1, lookahead - first),
         writer::LayerType::sigmoid}};
}

int latencyFrames(const Network& network) {
    int scale = 1;
    int frames = 0;
    for (const Stage& stage : network) {
        if (const auto* conv = std::get_if<writer::ConvRecord>(&stage)) {
            frames += scale * conv->lookahead;
            scale *= conv->timeStride;
        }
    }
    return frames;
}

}  // namespace vorun::apitest
