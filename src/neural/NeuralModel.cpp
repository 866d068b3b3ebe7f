#include "neural/NeuralModel.h"

#include <stdexcept>
#include <utility>

#include "neural/LayerFactory.h"
#include "neural/ModelReader.h"

namespace vorun {
namespace {

constexpr const char* inputName = "input";
constexpr const char* outputName = "output";

/** The first version of each change of the file; everything newer reads as the newest. */
constexpr std::int32_t firstVersion = 4100;
constexpr std::int32_t firstVersionWithWindowSize = 4101;
constexpr std::int32_t firstVersionWithBusNames = 4102;

constexpr std::int32_t splitFormat = 2;

bool isModelTag(const std::string& tag) {
    return tag == "VORUN.model" || tag == "ZUTo.model";
}

/** Leaves the report as far as it got if there is not even memory for a text. */
void fillReport(LoadReport& report, const char* reason, BinaryInputStream* stream) noexcept {
    try {
        report.byte = stream ? stream->GetPosition() : 0;
        report.reason = reason;
    } catch (...) {
        return;
    }
}

}  // namespace

template <class T>
NeuralModel<T>::NeuralModel()
    : input(std::make_shared<InputLayer<T>>()), output(std::make_shared<OutputLayer<T>>()) {
    layers[inputName] = std::shared_ptr<BaseLayer<T>>(input);
    input->consumers.push_back(output.get());
    layers[outputName] = std::shared_ptr<BaseLayer<T>>(output);
}

template <class T>
bool NeuralModel<T>::Load(std::shared_ptr<BinaryInputStream> stream) {
    LoadReport unread;
    return Load(std::move(stream), unread);
}

template <class T>
bool NeuralModel<T>::Load(std::shared_ptr<BinaryInputStream> stream, LoadReport& report) {
    report = {};
    try {
        if (!stream) {
            throw std::invalid_argument("no stream to read from");
        }
        StartGraph();
        ModelReader reader(*stream);
        ReadModel(reader);
        return true;
    } catch (const std::exception& failure) {
        fillReport(report, failure.what(), stream.get());
    } catch (...) {  // Whatever went wrong, the caller hears one thing: this file does not load.
        fillReport(report, "unknown failure", stream.get());
    }
    // A layer whose construction failed may still stand among the consumers of its feeder.
    input->consumers.clear();
    layers.clear();
    return false;
}

template <class T>
void NeuralModel<T>::Reset() {
    for (const auto& [name, slot] : layers) {
        layerOf<T>(slot)->ResetState();
    }
}

template <class T>
void NeuralModel<T>::StartGraph() {
    pipelineMode = 0;
    layers.clear();
    input = std::make_shared<InputLayer<T>>();
    layers[inputName] = std::shared_ptr<BaseLayer<T>>(input);
}

template <class T>
void NeuralModel<T>::ReadModel(ModelReader& reader) {
    if (!isModelTag(reader.ReadString())) {
        throw std::runtime_error("not a model file");
    }
    const std::int32_t version = reader.ReadInt32();
    if (version < firstVersion) {
        throw std::runtime_error("model file version is below 4100");
    }
    input->TakeFileSize(reader.size());
    ReadHeader(reader, version);
    ReadLayers(reader, version);
    latency = input->GetLatency(1);
    input->PlanTicks();
    ReadOutput(reader);
}

template <class T>
void NeuralModel<T>::ReadHeader(ModelReader& reader, std::int32_t version) {
    modelId = reader.ReadInt16();
    sampleRate = reader.ReadDouble();
    inputChannels = reader.ReadInt8();
    inputFormat = reader.ReadInt8();
    complexInputBins = inputFormat == splitFormat ? reader.ReadInt16() : 0;
    inputBins = complexInputBins + reader.ReadInt16();
    pipelineMode = reader.ReadInt8();
    outputChannels = reader.ReadInt8();
    ReadBusNames(reader, version);
    outputFormat = reader.ReadInt8();
    // Band counts of the output, which has the coding of the input whatever they say.
    for (std::int32_t skipped = outputFormat == splitFormat ? 2 : 1; skipped > 0; --skipped) {
        reader.ReadInt16();
    }
    fftSize = reader.ReadInt16();
    windowSize = version >= firstVersionWithWindowSize ? reader.ReadInt16() : fftSize;
    hopSize = reader.ReadInt16();
}

template <class T>
void NeuralModel<T>::ReadBusNames(ModelReader& reader, std::int32_t version) {
    if (version < firstVersionWithBusNames) {
        maskCount = 1;
        busNames.emplace_back("Processed");
        busNames.emplace_back("Residual");
        return;
    }
    maskCount = reader.ReadInt8();
    for (std::int32_t i = 0; i <= maskCount; ++i) {
        busNames.push_back(reader.ReadString());
    }
}

template <class T>
void NeuralModel<T>::ReadLayers(ModelReader& reader, std::int32_t version) {
    const std::int32_t layerCount = reader.ReadInt32();
    for (std::int32_t i = 0; i < layerCount; ++i) {
        const std::string name = reader.ReadString();
        const std::int32_t type = reader.ReadInt16();
        std::shared_ptr<BaseLayer<T>> layer = MakeLayer<T>(type, layers, reader, version);
        if (!layer) {
            throw std::runtime_error("layer type is unknown");
        }
        EnterLayer(name, std::move(layer));
    }
}

template <class T>
void NeuralModel<T>::EnterLayer(const std::string& name, std::shared_ptr<BaseLayer<T>> layer) {
    // Every call goes down the whole path on the caller's stack.
    if (layer->depth() > maxGraphDepth) {
        throw std::runtime_error("model graph is too deep");
    }
    // The last step of a load gives this name to the model's own output.
    if (name == outputName) {
        throw std::runtime_error("layer has the name of the model's output");
    }
    // The feeder of an earlier layer still points to it. Only the model's input outlives its entry:
    // a record may take its name, once.
    const auto entry = layers.find(name);
    if (entry != layers.end() && layerOf<T>(entry->second) != input) {
        throw std::runtime_error("two layers have the same name");
    }
    layers[name] = std::move(layer);
}

template <class T>
void NeuralModel<T>::ReadOutput(ModelReader& reader) {
    output = std::make_shared<OutputLayer<T>>(layers, reader);
    layers[outputName] = std::shared_ptr<BaseLayer<T>>(output);
}

template class NeuralModel<float>;

}  // namespace vorun
