#include "support/ModelWriter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace vorun::writer {
namespace {

using Bytes = std::vector<std::uint8_t>;

/** Lowest byte first whatever the machine's own order. */
template <class Integer>
void appendInteger(Bytes& out, Integer value) {
    auto word = static_cast<std::make_unsigned_t<Integer>>(value);
    for (std::size_t i = 0; i < sizeof(Integer); ++i) {
        out.push_back(static_cast<std::uint8_t>((word >> (8 * i)) & 0xFFU));
    }
}

void appendFloat(Bytes& out, float value) {
    appendInteger(out, std::bit_cast<std::uint32_t>(value));
}

void appendDouble(Bytes& out, double value) {
    appendInteger(out, std::bit_cast<std::uint64_t>(value));
}

void appendString(Bytes& out, const std::string& text) {
    appendInteger(out, static_cast<std::int32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

void appendNames(Bytes& out, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        appendString(out, name);
    }
}

void appendHalves(Bytes& out, const TensorBlock& block) {
    if (!block.halfWords.empty()) {
        for (const std::uint16_t word : block.halfWords) {
            appendInteger(out, word);
        }
        return;
    }
    for (const float value : block.values) {
        appendInteger(out, toHalf(value));
    }
}

void appendBinCounts(Bytes& out, const ModelHeader& header) {
    if (header.inputFormat == 2) {
        appendInteger(out, header.complexInputBins);
        appendInteger(out, header.magnitudeInputBins);
    } else {
        appendInteger(out, header.inputBins);
    }
}

void appendOutputFormat(Bytes& out, const ModelHeader& header) {
    appendInteger(out, header.outputFormat);
    appendInteger(out, header.skipped[0]);
    if (header.outputFormat == 2) {
        appendInteger(out, header.skipped[1]);
    }
}

void appendHeader(Bytes& out, const ModelHeader& header) {
    appendString(out, header.tag);
    appendInteger(out, header.version);
    appendInteger(out, header.modelId);
    appendDouble(out, header.sampleRate);
    appendInteger(out, header.inputChannels);
    appendInteger(out, header.inputFormat);
    appendBinCounts(out, header);
    appendInteger(out, header.pipelineMode);
    appendInteger(out, header.outputChannels);
    if (header.version >= 4102) {
        appendInteger(out, header.maskCount);
        appendNames(out, header.busNames);
    }
    appendOutputFormat(out, header);
    appendInteger(out, header.fftSize);
    if (header.version >= 4101) {
        appendInteger(out, header.windowSize);
    }
    appendInteger(out, header.hopSize);
}

}  // namespace

ModelWriter::ModelWriter(ModelHeader header) : header_(std::move(header)) {}

ModelWriter& ModelWriter::addActivation(const std::string& name, const std::string& input,
                                        LayerType type) {
    beginLayer(name, type);
    appendString(layers_, input);
    return *this;
}

ModelWriter& ModelWriter::addLeakyRelu(const std::string& name, const std::string& input,
                                       float slope) {
    beginLayer(name, LayerType::leakyRelu);
    appendString(layers_, input);
    appendFloat(layers_, slope);
    return *this;
}

ModelWriter& ModelWriter::addConv(const std::string& name, const std::string& input,
                                  const ConvRecord& record) {
    beginLayer(name, LayerType::conv);
    appendString(layers_, input);
    appendTensor(record.weights);
    appendTensor(record.bias);
    for (const std::int8_t value : {record.timeStride, record.heightStride, record.timeDilation,
                                    record.reservedParameter, record.lookahead}) {
        appendInteger(layers_, value);
    }
    return *this;
}

ModelWriter& ModelWriter::addTransposedConv(const std::string& name, const std::string& input,
                                            const TransposedConvRecord& record) {
    beginLayer(name, LayerType::transposedConv);
    appendString(layers_, input);
    appendTensor(record.weights);
    appendTensor(record.bias);
    if (header_.version >= 4104) {
        appendInteger(layers_, record.outChannels);
    }
    for (const std::int8_t value : {record.timeStride, record.heightStride, record.timeDilation,
                                    record.reservedParameter, record.lookahead}) {
        appendInteger(layers_, value);
    }
    return *this;
}

ModelWriter& ModelWriter::addTwoTensors(const std::string& name, const std::string& input,
                                        LayerType type, const TensorBlock& first,
                                        const TensorBlock& second) {
    beginLayer(name, type);
    appendString(layers_, input);
    appendTensor(first);
    appendTensor(second);
    return *this;
}

ModelWriter& ModelWriter::addPreNorm(const std::string& name, const std::string& input,
                                     const TensorBlock& weights) {
    beginLayer(name, LayerType::preNorm);
    appendString(layers_, input);
    appendTensor(weights);
    return *this;
}

ModelWriter& ModelWriter::addSelfAttention(const std::string& name, const std::string& input,
                                           const SelfAttentionRecord& record) {
    beginLayer(name, LayerType::selfAttention);
    appendString(layers_, input);
    appendTensor(record.projection);
    appendTensor(record.projectionBias);
    if (header_.version >= 4103) {
        appendInteger(layers_, record.lookahead);
        appendTensor(record.attentionWeights);
    }
    return *this;
}

ModelWriter& ModelWriter::addConcat(const std::string& name,
                                    const std::vector<std::string>& inputs) {
    beginLayer(name, LayerType::concat);
    appendInteger(layers_, static_cast<std::int16_t>(inputs.size()));
    appendNames(layers_, inputs);
    return *this;
}

ModelWriter& ModelWriter::addArithmetic(const std::string& name,
                                        const std::vector<std::string>& inputs,
                                        std::int8_t operation) {
    beginLayer(name, LayerType::arithmetic);
    appendInteger(layers_, static_cast<std::int16_t>(inputs.size()));
    appendNames(layers_, inputs);
    appendInteger(layers_, operation);
    return *this;
}

ModelWriter& ModelWriter::addRaw(const std::string& name, std::int16_t type,
                                 const std::vector<std::uint8_t>& record) {
    beginLayer(name, static_cast<LayerType>(type));
    layers_.insert(layers_.end(), record.begin(), record.end());
    return *this;
}

ModelWriter& ModelWriter::setOutputSource(const std::string& name) {
    outputSource_ = name;
    return *this;
}

ModelWriter& ModelWriter::setLayerCount(std::int32_t count) {
    layerCount_ = count;
    layerCountIsSet_ = true;
    return *this;
}

std::vector<std::uint8_t> ModelWriter::bytes() const {
    Bytes out;
    appendHeader(out, header_);
    appendInteger(out, layerCount_);
    out.insert(out.end(), layers_.begin(), layers_.end());
    appendString(out, outputSource_);
    return out;
}

void ModelWriter::writeFile(const std::string& path) const {
    const Bytes content = bytes();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    for (const std::uint8_t byte : content) {
        file.put(static_cast<char>(byte));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write the model file " + path);
    }
}

void ModelWriter::beginLayer(const std::string& name, LayerType type) {
    if (!layerCountIsSet_) {
        ++layerCount_;
    }
    appendString(layers_, name);
    appendInteger(layers_, static_cast<std::int16_t>(type));
}

// An undefined element type has no form for its values, so none are written.
void ModelWriter::appendTensor(const TensorBlock& block) {
    const bool statesElementType = header_.version >= 4105;
    const ElementType elementType = statesElementType ? block.elementType : ElementType::single;
    if (statesElementType) {
        appendInteger(layers_, static_cast<std::uint8_t>(elementType));
    }
    appendInteger(layers_, static_cast<std::int8_t>(block.shape.size()));
    for (const std::int32_t dimension : block.shape) {
        appendInteger(layers_, dimension);
    }
    if (elementType == ElementType::half) {
        appendHalves(layers_, block);
    } else if (elementType == ElementType::single) {
        for (const float value : block.values) {
            appendFloat(layers_, value);
        }
    }
}

std::uint16_t toHalf(float value) {
    constexpr double largest = 131008.0;  // Exponent 31 is an ordinary one in this format.
    constexpr double smallestNormal = 1.0 / 16384.0;
    constexpr std::int32_t largestWord = 0x7FFF;

    const std::int32_t sign = std::signbit(value) ? 0x8000 : 0;
    const double magnitude = std::fabs(static_cast<double>(value));
    std::int32_t word = largestWord;
    if (magnitude < smallestNormal) {
        word = static_cast<std::int32_t>(std::nearbyint(std::ldexp(magnitude, 24)));
    } else if (magnitude < largest) {
        const int exponent = std::ilogb(magnitude);
        const auto mantissa =
            static_cast<std::int32_t>(std::nearbyint(std::ldexp(magnitude, 10 - exponent)));
        // A mantissa that rounds up to 2048 carries into the exponent by itself.
        word = std::min(((exponent + 15) << 10) + mantissa - 1024, largestWord);
    }
    return static_cast<std::uint16_t>(sign | word);
}

}  // namespace vorun::writer
