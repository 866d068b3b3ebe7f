#pragma once

#include "support/ModelWriter.h"

/** Networks of known cost for timing. All are mono mask models of 513 bins at 48 kHz, hop 256. */
namespace vorun::benchmarks {

/** A mask of 1 everywhere: what remains is framing, coding and mixing. */
writer::ModelWriter identityModel();

/** Four causal convolutions 1-16-16-16-1, kernel 3 x 3, dilations 1, 2, 4, 8, and a sigmoid. */
writer::ModelWriter convolutionModel();

}  // namespace vorun::benchmarks
