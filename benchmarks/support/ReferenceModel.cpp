#include "support/ReferenceNetwork.h"

// The reference networks as model files.

namespace vorun::benchmarks {
namespace {

writer::TensorBlock biasBlock(const ReferenceLayer& layer) {
    return {{layer.outChannels}, layer.bias};
}

writer::ConvRecord convRecord(const ReferenceLayer& layer) {
    writer::ConvRecord record;
    record.weights = {{ReferenceLayer::rows, layer.kernelBins, layer.inChannels, layer.outChannels},
                      layer.weights};
    record.bias = biasBlock(layer);
    record.heightStride = static_cast<std::int8_t>(layer.heightStride);
    record.timeDilation = static_cast<std::int8_t>(layer.timeDilation);
    return record;
}

/** Its first tap belongs to the newest row, and its input channels are the fastest. */
writer::TransposedConvRecord transposedRecord(const ReferenceLayer& layer) {
    writer::TransposedConvRecord record;
    record.weights.shape = {ReferenceLayer::rows, layer.kernelBins, layer.outChannels,
                            layer.inChannels};
    for (std::int32_t row = ReferenceLayer::rows - 1; row >= 0; --row) {
        for (std::int32_t bin = 0; bin < layer.kernelBins; ++bin) {
            for (std::int32_t out = 0; out < layer.outChannels; ++out) {
                for (std::int32_t in = 0; in < layer.inChannels; ++in) {
                    record.weights.values.push_back(
                        layer.weights[layer.weightIndex(row, bin, in, out)]);
                }
            }
        }
    }
    record.bias = biasBlock(layer);
    record.outChannels = static_cast<std::int16_t>(layer.outChannels);
    record.heightStride = static_cast<std::int8_t>(layer.heightStride);
    return record;
}

writer::LayerType typeOf(Activation activation) {
    switch (activation) {
        case Activation::relu:
            return writer::LayerType::relu;
        case Activation::elu:
            return writer::LayerType::elu;
        default:
            return writer::LayerType::sigmoid;
    }
}

writer::ModelHeader headerOf(const ReferenceNetwork& network) {
    writer::ModelHeader header;
    header.inputBins = static_cast<std::int16_t>(network.layers.front().inBins);
    header.inputChannels = static_cast<std::int8_t>(network.layers.front().inChannels);
    header.outputChannels = static_cast<std::int8_t>(network.layers.back().outChannels);
    return header;
}

/** Adds the layer at `index`; returns the name by which its output goes. */
std::string addLayer(writer::ModelWriter& model, const ReferenceLayer& layer, std::size_t index,
                     const std::string& input) {
    const std::string name = "conv " + std::to_string(index);
    if (layer.transposed) {
        model.addTransposedConv(name, input, transposedRecord(layer));
    } else {
        model.addConv(name, input, convRecord(layer));
    }
    if (layer.activation == Activation::none) {
        return name;
    }
    const std::string activated = "activation " + std::to_string(index);
    model.addActivation(activated, name, typeOf(layer.activation));
    return activated;
}

}  // namespace

writer::ModelWriter modelFileOf(const ReferenceNetwork& network) {
    writer::ModelWriter model(headerOf(network));
    std::vector<std::string> outputs;
    std::string input = "input";
    for (const ReferenceLayer& layer : network.layers) {
        if (layer.joined) {
            model.addConcat("join", {input, outputs[*layer.joined]});
            input = "join";
        }
        input = addLayer(model, layer, outputs.size(), input);
        outputs.push_back(input);
    }
    model.setOutputSource(input);
    return model;
}

}  // namespace vorun::benchmarks
