#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "foundation/BinaryStream.h"
#include "neural/BaseLayer.h"
#include "neural/InputLayer.h"
#include "neural/LayerSlot.h"
#include "neural/LoadReport.h"
#include "neural/OutputLayer.h"

namespace vorun {

class ModelReader;

/** Layers between input and output along one path; a longer chain in a file is refused. */
inline constexpr std::int32_t maxGraphDepth = 1024;

/**
 * One network: its layers by name, the two fixed ends of the graph, and the framing values of its
 * file. To evaluate it: input->AddTensor(tensor, nullptr), ignore the bool, output->TakeResult().
 * Successive evaluations are one stream; its state is inside the layers.
 *
 * A copy is shallow: it runs the very same layers with the same histories, and serves a growing
 * vector of models only. One thread at a time per network.
 */
template <class T>
class NeuralModel {
  public:
    /** The smallest valid model: passes tensors through. */
    NeuralModel();
    virtual ~NeuralModel() = default;
    NeuralModel(const NeuralModel&) = default;
    NeuralModel& operator=(const NeuralModel&) = default;

    /**
     * Reads a model file from its first byte, whatever the stream's position. Call once, on a model
     * that nothing has evaluated; weights live in memory afterwards and the stream is released.
     *
     * @return false for any reason why the file cannot be read, with no text; no failure passes
     *         out. Such a model is to be destroyed; if it is run all the same, nothing comes out.
     */
    bool Load(std::shared_ptr<BinaryInputStream> stream);
    /** The same, and tells why the file was refused. */
    bool Load(std::shared_ptr<BinaryInputStream> stream, LoadReport& report);

    /** Resets every layer, in ascending byte order of their names. */
    void Reset();

    LayerMap<T> layers;
    std::shared_ptr<InputLayer<T>> input;
    std::shared_ptr<OutputLayer<T>> output;
    std::int32_t modelId = 0;
    /** Hz, the rate that the network was trained for. */
    double sampleRate = 0.0;
    std::int32_t inputChannels = 0;
    /** 2 when the lowest complexInputBins bins go in as four feature rows each. */
    std::int32_t inputFormat = 0;
    std::int32_t outputChannels = 0;
    /** Steers only the reader. */
    std::int32_t outputFormat = 0;
    std::int32_t maskCount = 0;
    /** maskCount + 1 of them after a load. */
    std::list<std::string> busNames;
    std::int32_t pipelineMode = 0;
    /** Samples at sampleRate, like the next two. */
    std::int32_t fftSize = 0;
    std::int32_t windowSize = 0;
    std::int32_t hopSize = 0;
    /** All bins, complex ones included; the feature rows are inputBins + 3 * complexInputBins. */
    std::int32_t inputBins = 0;
    std::int32_t complexInputBins = 0;
    /** Total look-ahead of the graph in frames. */
    std::int32_t latency = 0;
    /** The only field written after a load: by the processor, before every frame. */
    bool enabled = true;

  private:
    void StartGraph();
    void ReadModel(ModelReader& reader);
    void ReadHeader(ModelReader& reader, std::int32_t version);
    void ReadBusNames(ModelReader& reader, std::int32_t version);
    void ReadLayers(ModelReader& reader, std::int32_t version);
    /** Refuses what would leave a layer that nothing owns, or a graph too deep to walk. */
    void EnterLayer(const std::string& name, std::shared_ptr<BaseLayer<T>> layer);
    void ReadOutput(ModelReader& reader);
};

extern template class NeuralModel<float>;

}  // namespace vorun
