#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "restoration/VorunProcessor.h"
#include "support/ModelWriter.h"

namespace vorun::test {

/*
 * Small models whose outputs are known exactly. All bins are complex, so that what leaves a network
 * of linear layers is a linear form of the very spectrum that went in: a pass-through network gives
 * the frame itself as the mask.
 */

inline constexpr std::int32_t smallFft = 16;
inline constexpr std::int32_t smallHop = 8;
inline constexpr std::int32_t smallBins = smallFft / 2 + 1;
inline constexpr double modelRate = 48000.0;

/** Frames of 16 samples, hop 8, 9 complex bins; buses "Bus 0" ... and "Residual". */
writer::ModelHeader smallHeader(std::int32_t inputChannels = 1, std::int32_t outputChannels = 1,
                                std::int32_t maskCount = 1);

/** The same header with all bins as magnitudes. */
writer::ModelHeader magnitudeHeader(std::int32_t bins = smallBins);

/** out[c] = sum over i of weights[i][c] * in[i], frame by frame and row by row. */
writer::ConvRecord channelMix(const std::vector<std::vector<float>>& weights);

/** Each channel as it was `frames` frames ago; nothing comes out before that. */
writer::ConvRecord delayLine(std::int32_t channels, std::int8_t frames);

/** Drops the first `frames` frames and passes the others on, each as it is. */
writer::ConvRecord lateStart(std::int32_t channels, std::int8_t frames);

/** A model that is one convolution. */
writer::ModelWriter convModel(const writer::ModelHeader& header, const writer::ConvRecord& record);

/** Mask k is factors[k] times the frame; mono. */
writer::ModelWriter scaledCopies(const std::vector<float>& factors, std::int8_t pipelineMode = 0);

ChannelLayout layoutOf(std::int32_t channels, double sampleRate = modelRate);

/** Loads, and prepares for equal channels and rate on both sides. */
bool makeReady(VorunProcessor& processor, const std::vector<std::string>& paths,
               std::int32_t hostChannels = 1, double hostRate = modelRate);

/**
 * A processor's model for writing. The processor shows its models for reading only; tests reach in
 * to build graphs and header values that no file of the existing layers gives.
 */
NeuralModel<float>& modelOf(VorunProcessor& processor, std::size_t index);

}  // namespace vorun::test
