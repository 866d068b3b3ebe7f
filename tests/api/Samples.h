#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace vorun::apitest {

/** One vector of samples for each channel, all of one length. */
using Planar = std::vector<std::vector<float>>;
using PlanarDouble = std::vector<std::vector<double>>;

/** Evenly distributed noise in -level to level; the same seed gives the same samples everywhere. */
Planar whiteNoise(int channels, int samples, std::uint32_t seed, float level = 0.5F);

Planar silence(int channels, int samples);

int lengthOf(const Planar& audio);

void append(Planar& target, const Planar& more);
void append(PlanarDouble& target, const PlanarDouble& more);

PlanarDouble widened(const Planar& audio);

/** The first `samples` samples of every channel. */
Planar head(const Planar& audio, int samples);

/** Equal shape and equal bits, so that a NaN equals itself and 0.0 differs from -0.0. */
testing::AssertionResult sameBits(const Planar& actual, const Planar& expected);

/** Equal shape, and no sample further than `tolerance` from its expectation. */
testing::AssertionResult isNear(const Planar& actual, const PlanarDouble& expected,
                                double tolerance);

}  // namespace vorun::apitest
