#pragma once

#include "support/ModelWriter.h"

namespace vorun::gate {

/**
 * The network of a spectral gate: it follows the noise floor of every bin over the last one and a
 * half seconds and passes what stands above it. models/README.md explains it layer by layer.
 *
 * Magnitudes in, one mask from about -22 dB to 0 dB out, mono, 48 kHz, window 1024, hop 256,
 * look-ahead of 2 frames.
 */
writer::ModelWriter spectralGate();

}  // namespace vorun::gate
