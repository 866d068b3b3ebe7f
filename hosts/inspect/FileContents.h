#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorun::inspect {

/** How a file holds the values of a tensor. */
enum class StoredAs { single, half, nothing };

/** What a file says of one tensor, without the values. */
struct StoredTensor {
    std::string role;
    std::vector<std::int32_t> shape;
    StoredAs storedAs = StoredAs::single;
    std::int64_t values = 0;
    /** Values that are infinite or no number. */
    std::int64_t nonFinite = 0;

    /** One dimension; 0 where the shape has none. */
    std::int64_t dim(std::size_t index) const { return index < shape.size() ? shape[index] : 0; }
};

/** The feeder number of the model's own input. */
inline constexpr int modelInput = -1;

/** One layer's record. A type reads only the fields that it has; the others keep their defaults. */
struct LayerRecord {
    std::string name;
    std::int32_t type = 0;
    std::vector<std::string> inputs;
    /** What the names in `inputs` stand for: places in the list of layers, or modelInput. */
    std::vector<int> feeders;
    std::vector<StoredTensor> tensors;
    std::int32_t timeStride = 1;
    std::int32_t heightStride = 1;
    std::int32_t timeDilation = 1;
    std::int32_t lookahead = 0;
    std::int32_t outChannels = 0;
    std::int32_t operation = 0;
    float slope = 0.0F;
};

/** A model file in the order of its bytes. */
struct FileContents {
    std::string tag;
    std::int32_t version = 0;
    std::int32_t modelId = 0;
    /** Hz. */
    double sampleRate = 0.0;
    std::int32_t inputChannels = 0;
    std::int32_t inputFormat = 0;
    std::int32_t complexInputBins = 0;
    /** All bins, complex ones included. */
    std::int32_t inputBins = 0;
    std::int32_t pipelineMode = 0;
    std::int32_t outputChannels = 0;
    std::int32_t maskCount = 0;
    std::vector<std::string> busNames;
    std::int32_t outputFormat = 0;
    /** Samples at sampleRate, like the next two. */
    std::int32_t fftSize = 0;
    std::int32_t windowSize = 0;
    std::int32_t hopSize = 0;
    std::vector<LayerRecord> layers;
    std::string outputSource;
    int outputFeeder = modelInput;
    /** Size of the file, and how much of it was read. */
    std::int64_t fileBytes = 0;
    std::int64_t readBytes = 0;

    /** Rows of the model's input and output: a complex bin has four, another bin one. */
    std::int64_t featureRows() const {
        return std::int64_t{inputBins} + 3 * std::int64_t{complexInputBins};
    }
    /** Channels that the header promises of the model's output. */
    std::int64_t promisedChannels() const { return std::int64_t{maskCount} * outputChannels; }
};

}  // namespace vorun::inspect
