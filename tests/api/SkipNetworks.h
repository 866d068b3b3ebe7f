#pragma once

#include <cstdint>

#include "api/TemporaryFile.h"
#include "support/SequenceModel.h"

namespace vorun::apitest {

/**
 * A U of two levels: strided convolutions go down, transposed ones come up, and each level is
 * joined with what went down, the lower by arithmetic and the upper by concatenation. Rows of the
 * input must be a multiple of 4.
 *
 *     input - e0 - a0 ------------------------- concat - last - (sigmoid)
 *                   \ e1 - a1 ------- arithmetic /
 *                           \ e2 - a2 - d2 /    \ d1 - b1 /
 */
struct UShape {
    writer::ModelHeader header;
    /** Of e1 and d1. */
    int timeStride = 1;
    int encoderLookahead = 0;
    /** Frames that d1 drops. */
    int decoderLookahead = 0;
    int lastLookahead = 0;
    /** Of the lower join, the way down first and the way up second. */
    std::int8_t operation = 2;
    std::uint32_t seed = 1;
};

/** Masks in mask mode, plain values in spectrum mode. */
sequence::Model modelOf(const UShape& shape);

/** What the model's header promises, in frames: look-aheads, each times the strides before it. */
int latencyOf(const UShape& shape);

/** Frame sizes 32, 32 and 16 with an even number of rows, all magnitudes or some complex. */
writer::ModelHeader evenHeader(int inputChannels, int outputChannels, int maskCount,
                               int complexBins = 0);

/** Random values, reproducible. */
writer::TensorBlock randomBlock(const std::vector<std::int32_t>& shape, std::uint32_t seed,
                                float level);

/** A model file that exists as long as the object. */
class TemporaryGraph : public TemporaryFile {
  public:
    explicit TemporaryGraph(const sequence::Model& model)
        : TemporaryFile(sequence::fileOf(model).bytes()) {}
};

}  // namespace vorun::apitest
