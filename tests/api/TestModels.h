#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "api/TemporaryFile.h"
#include "support/ModelWriter.h"

namespace vorun::apitest {

/** One layer of a chain: a convolution, or an activation that has no record of its own. */
using Stage = std::variant<writer::ConvRecord, writer::LayerType>;
/** A chain of layers from "input" to the model's output. */
using Network = std::vector<Stage>;

/** A model that a file is written from and that a reference can compute on its own. */
struct TestModel {
    writer::ModelHeader header;
    Network network;

    std::vector<std::uint8_t> bytes() const;
};

/** A model file that exists as long as the object. */
class TemporaryModel : public TemporaryFile {
  public:
    explicit TemporaryModel(const TestModel& model) : TemporaryFile(model.bytes()) {}
};

/** Frame sizes, with magnitudes of all bins as input and names "Bus 0", "Bus 1", ... "Residual". */
writer::ModelHeader frameHeader(int fftSize, int windowSize, int hopSize, int inputChannels = 1,
                                int outputChannels = 1, int maskCount = 1);

/** As frameHeader(), with the lowest `complexBins` bins going in as four rows each. */
writer::ModelHeader complexHeader(writer::ModelHeader header, int complexBins);

/** Rows of the tensors that a header asks for. */
int featureRows(const writer::ModelHeader& header);

/** The number of channels of the result that a header promises. */
int resultChannels(const writer::ModelHeader& header);

/** A 1x1 convolution whose every row is `values`, whatever comes in. */
writer::ConvRecord constantStage(int inputChannels, const std::vector<float>& values);

/** A 1x1 convolution that hands channel c on, times `gain`, as output channel c modulo channels. */
writer::ConvRecord copyStage(int inputChannels, int outputChannels, float gain = 1.0F);

/** A convolution with small random weights, so that sigmoids behind it stay off their limits. */
writer::ConvRecord randomStage(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                               int timeDilation = 1, int lookahead = 0);

/** Masks with one fixed value for each bus, or for each channel of each bus in turn. */
TestModel constantMasks(const writer::ModelHeader& header, const std::vector<float>& values);

/**
 * A network with history over time and height, masks between 0 and 1 that follow the input, and
 * `lookahead` frames of delay spread over two layers.
 */
TestModel livelyMasks(const writer::ModelHeader& header, std::uint32_t seed, int lookahead = 0);

/** Delay in frames that a chain states: look-aheads, each times the strides before it. */
int latencyFrames(const Network& network);

}  // namespace vorun::apitest
