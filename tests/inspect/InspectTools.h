#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/FileContents.h"
#include "inspect/GraphFlow.h"
#include "inspect/Inspection.h"
#include "support/ModelWriter.h"

/** Small models, and what the program finds in them. */
namespace vorun::test {

using Bytes = std::vector<std::uint8_t>;

/** A mono or multichannel mask model of so many rows. */
writer::ModelHeader headerOf(std::int16_t rows, std::int8_t channels);

/** As many values as the shape says, all 0.5. */
writer::TensorBlock blockOf(const std::vector<std::int32_t>& shape,
                            writer::ElementType elementType = writer::ElementType::single);
/** A convolution without bias. */
writer::ConvRecord convOf(const std::vector<std::int32_t>& weights);
writer::TransposedConvRecord transposedOf(const std::vector<std::int32_t>& weights,
                                          std::int16_t outChannels);

/** Reads for display alone: the engine is not asked. Throws where reading stops. */
inspect::FileContents decoded(const Bytes& bytes);
inspect::GraphFlow followed(const writer::ModelWriter& model);
/** The one layer of a model, whose inputs are known. */
inspect::Flow flowOf(const writer::ModelWriter& model);
/** The engine's verdict and all that is told. */
inspect::Inspection inspected(const Bytes& bytes);

/** Every layer type once, with all its tensors, in a graph that runs. */
writer::ModelWriter everyLayer(const writer::ModelHeader& header = headerOf(4, 2));

}  // namespace vorun::test
