#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** Writes model files of every format version, right ones and, for tests, wrong ones. */
namespace vorun::writer {

/** Numbers of the layer classes in a model file. */
enum class LayerType : std::int16_t {
    conv = 2,
    transposedConv = 3,
    relu = 4,
    elu = 5,
    sigmoid = 6,
    norm = 7,
    concat = 9,
    leakyRelu = 12,
    dense = 14,
    separableChannelConv = 15,
    preNorm = 16,
    softplus = 17,
    arithmetic = 18,
    selfAttention = 19,
    hardSigmoid = 20,
};

/** How the elements of a tensor block are stored from version 4105 on; older files ignore it. */
enum class ElementType : std::uint8_t { half = 0, single = 1, undefined = 2 };

/**
 * One tensor of a record. The number of values is not compared with the shape: a test may write a
 * block that lies.
 */
struct TensorBlock {
    std::vector<std::int32_t> shape = {};
    /** Values as numbers; stored as `elementType` says, rounded to half where asked. */
    std::vector<float> values = {};
    ElementType elementType = ElementType::single;
    /** If not empty, written in place of `values`, word for word, when elementType is half. */
    std::vector<std::uint16_t> halfWords = {};
};

/** Everything before the layers. Defaults make a mono mask model of 257 bins at 48 kHz. */
struct ModelHeader {
    std::string tag = "VORUN.model";
    std::int32_t version = 4105;
    std::int16_t modelId = 1;
    double sampleRate = 48000.0;
    std::int8_t inputChannels = 1;
    std::int8_t inputFormat = 0;
    /** The three bin counts: the first is written when inputFormat is not 2, the others when it is.
     */
    std::int16_t inputBins = 257;
    std::int16_t complexInputBins = 0;
    std::int16_t magnitudeInputBins = 257;
    std::int8_t pipelineMode = 0;
    std::int8_t outputChannels = 1;
    /** Written from version 4102 on, together with all of busNames, however many there are. */
    std::int8_t maskCount = 1;
    std::vector<std::string> busNames = {"Processed", "Residual"};
    std::int8_t outputFormat = 0;
    /** The skipped values behind outputFormat: the first alone, or both if outputFormat is 2. */
    std::int16_t skipped[2] = {257, 0};
    std::int16_t fftSize = 512;
    /** Written from version 4101 on. */
    std::int16_t windowSize = 512;
    std::int16_t hopSize = 256;
};

/** The record of a ConvLayer; weights are [frames, height, input channels, output channels]. */
struct ConvRecord {
    TensorBlock weights;
    TensorBlock bias;
    std::int8_t timeStride = 1;
    std::int8_t heightStride = 1;
    std::int8_t timeDilation = 1;
    std::int8_t reservedParameter = 1;
    std::int8_t lookahead = 0;
};

/** The record of a TransposedConvLayer; weights are [frames, height, output, input channels]. */
struct TransposedConvRecord {
    TensorBlock weights;
    TensorBlock bias;
    /** Written from version 4104 on. */
    std::int16_t outChannels = 1;
    std::int8_t timeStride = 1;
    std::int8_t heightStride = 1;
    std::int8_t timeDilation = 1;
    std::int8_t reservedParameter = 1;
    std::int8_t lookahead = 0;
};

/** The record of a SelfAttentionLayer; the last two fields are written from version 4103 on. */
struct SelfAttentionRecord {
    TensorBlock projection;
    TensorBlock projectionBias;
    std::int8_t lookahead = 0;
    TensorBlock attentionWeights;
};

/** Collects layer records in file order, then gives the bytes of the file. */
class ModelWriter {
  public:
    explicit ModelWriter(ModelHeader header = {});

    /** A layer with a single input and no record of its own: types 4, 5, 6, 17 and 20. */
    ModelWriter& addActivation(const std::string& name, const std::string& input, LayerType type);
    ModelWriter& addLeakyRelu(const std::string& name, const std::string& input, float slope);
    ModelWriter& addConv(const std::string& name, const std::string& input,
                         const ConvRecord& record);
    ModelWriter& addTransposedConv(const std::string& name, const std::string& input,
                                   const TransposedConvRecord& record);
    /** A layer with a single input and two tensors in file order: types 7, 14 and 15. */
    ModelWriter& addTwoTensors(const std::string& name, const std::string& input, LayerType type,
                               const TensorBlock& first, const TensorBlock& second);
    ModelWriter& addPreNorm(const std::string& name, const std::string& input,
                            const TensorBlock& weights);
    ModelWriter& addSelfAttention(const std::string& name, const std::string& input,
                                  const SelfAttentionRecord& record);
    ModelWriter& addConcat(const std::string& name, const std::vector<std::string>& inputs);
    ModelWriter& addArithmetic(const std::string& name, const std::vector<std::string>& inputs,
                               std::int8_t operation);
    /** Any type number, followed by bytes as they are. */
    ModelWriter& addRaw(const std::string& name, std::int16_t type,
                        const std::vector<std::uint8_t>& record);

    /** The layer that feeds the model's output; "input" unless set. */
    ModelWriter& setOutputSource(const std::string& name);
    /** Written in place of the true number of layers. */
    ModelWriter& setLayerCount(std::int32_t count);

    std::vector<std::uint8_t> bytes() const;
    /** Throws std::runtime_error when the file cannot be written. */
    void writeFile(const std::string& path) const;

  private:
    void beginLayer(const std::string& name, LayerType type);
    void appendTensor(const TensorBlock& block);

    ModelHeader header_;
    std::vector<std::uint8_t> layers_;
    std::int32_t layerCount_ = 0;
    bool layerCountIsSet_ = false;
    std::string outputSource_ = "input";
};

/** Nearest half-precision word, ties to even; values out of range give the largest magnitude. */
std::uint16_t toHalf(float value);

}  // namespace vorun::writer
