#pragma once

#include <cstdint>

#include "neural/ModelReader.h"
#include "neural/Tensor.h"

namespace vorun {

/**
 * Reads one tensor block. The result has the shape of the file, whatever it says, and storage for
 * the wrapped 32-bit product of the dimensions if that is above 0.
 *
 * An element type other than 0 (16 bits) and 1 (32 bits) stores no values: the block loads with
 * zeros. Throws std::length_error "vector too long" for a negative rank.
 */
template <class T>
Tensor<T> ReadTensor(ModelReader& reader, std::int32_t version);

extern template Tensor<float> ReadTensor<float>(ModelReader& reader, std::int32_t version);

}  // namespace vorun
