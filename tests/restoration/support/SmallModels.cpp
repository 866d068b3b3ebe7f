#include "restoration/support/SmallModels.h"

#include <utility>

namespace vorun::test {
namespace {

std::vector<float> identity(std::int32_t channels, float value) {
    std::vector<float> matrix(static_cast<std::size_t>(channels * channels), 0.0f);
    for (std::int32_t c = 0; c < channels; ++c) {
        matrix[static_cast<std::size_t>(c * channels + c)] = value;
    }
    return matrix;
}

}  // namespace

writer::ModelHeader smallHeader(std::int32_t inputChannels, std::int32_t outputChannels,
                                std::int32_t maskCount) {
    writer::ModelHeader header;
    header.sampleRate = modelRate;
    header.inputChannels = static_cast<std::int8_t>(inputChannels);
    header.outputChannels = static_cast<std::int8_t>(outputChannels);
    header.maskCount = static_cast<std::int8_t>(maskCount);
    header.busNames.clear();
    for (std::int32_t k = 0; k < maskCount; ++k) {
        header.busNames.push_back("Bus " + std::to_string(k));
    }
    header.busNames.emplace_back("Residual");
    header.inputFormat = 2;
    header.complexInputBins = smallBins;
    header.magnitudeInputBins = 0;
    header.fftSize = smallFft;
    header.windowSize = smallFft;
    header.hopSize = smallHop;
    return header;
}

writer::ModelHeader magnitudeHeader(std::int32_t bins) {
    writer::ModelHeader header = smallHeader();
    header.inputFormat = 0;
    header.complexInputBins = 0;
    header.inputBins = static_cast<std::int16_t>(bins);
    return header;
}

writer::ConvRecord channelMix(const std::vector<std::vector<float>>& weights) {
    const auto inputs = static_cast<std::int32_t>(weights.size());
    const auto outputs = static_cast<std::int32_t>(weights.front().size());
    writer::ConvRecord record;
    record.weights.shape = {1, 1, inputs, outputs};
    for (const auto& row : weights) {
        record.weights.values.insert(record.weights.values.end(), row.begin(), row.end());
    }
    return record;
}

writer::ConvRecord delayLine(std::int32_t channels, std::int8_t frames) {
    writer::ConvRecord record = lateStart(channels, frames);
    record.weights.shape[0] = frames + 1;
    record.weights.values.resize(static_cast<std::size_t>((frames + 1) * channels * channels),
                                 0.0f);
    return record;
}

writer::ConvRecord lateStart(std::int32_t channels, std::int8_t frames) {
    writer::ConvRecord record;
    record.weights.shape = {1, 1, channels, channels};
    record.weights.values = identity(channels, 1.0f);
    record.lookahead = frames;
    return record;
}

writer::ModelWriter convModel(const writer::ModelHeader& header, const writer::ConvRecord& record) {
    writer::ModelWriter model(header);
    model.addConv("conv", "input", record).setOutputSource("conv");
    return model;
}

writer::ModelWriter scaledCopies(const std::vector<float>& factors, std::int8_t pipelineMode) {
    writer::ModelHeader header = smallHeader(1, 1, static_cast<std::int32_t>(factors.size()));
    header.pipelineMode = pipelineMode;
    return convModel(header, channelMix({factors}));
}

ChannelLayout layoutOf(std::int32_t channels, double sampleRate) {
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = sampleRate;
    return layout;
}

bool makeReady(VorunProcessor& processor, const std::vector<std::string>& paths,
               std::int32_t hostChannels, double hostRate) {
    const ChannelLayout layout = layoutOf(hostChannels, hostRate);
    return processor.loadModels(paths) && processor.prepare(layout, layout);
}

NeuralModel<float>& modelOf(VorunProcessor& processor, std::size_t index) {
    // The models themselves are not const, so that writing through the cast is defined.
    return const_cast<NeuralModel<float>&>(processor.models().at(index));
}

}  // namespace vorun::test
