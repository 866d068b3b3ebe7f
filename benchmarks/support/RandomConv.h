#pragma once

#include <cstdint>
#include <vector>

#include "support/ModelWriter.h"

namespace vorun::benchmarks {

/** Random numbers between -largest and largest, the same in every run. */
std::vector<float> randomValues(std::size_t count, float largest);

/**
 * A convolution of random weights and small random biases, the same in every run, so that every run
 * times the same arithmetic. The shape is kernel frames, kernel height, input channels (1 for a
 * depthwise one) and output channels.
 */
writer::ConvRecord randomConv(const std::vector<std::int32_t>& shape, float largestWeight = 0.1F);

}  // namespace vorun::benchmarks
