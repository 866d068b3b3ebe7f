#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/ModelWriter.h"

namespace vorun::apitest {

/** A small file around one class of layers, for tests that damage it. */
struct LayerFile {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

/** One file for each layer that is neither a convolution nor an activation, and some old ones. */
std::vector<LayerFile> layerFiles();

/** The header of those files: frames of 16 samples, 9 bins, one channel. */
writer::ModelHeader smallHeader();

/** Where the layers of a file with that header begin. */
std::size_t layersBegin(const writer::ModelHeader& header);

/** Values of 0.5, stored in half precision. */
writer::TensorBlock evenBlock(const std::vector<std::int32_t>& shape);

/** A transposed convolution from `inputs` to `outputs` channels, with a bias. */
writer::TransposedConvRecord decoderRecord(std::int32_t frames, std::int32_t height,
                                           std::int32_t inputs, std::int32_t outputs,
                                           std::int32_t timeStride, std::int32_t heightStride);

}  // namespace vorun::apitest
