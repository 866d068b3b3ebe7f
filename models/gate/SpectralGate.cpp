#include "gate/SpectralGate.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "gate/LogarithmBank.h"

namespace vorun::gate {
namespace {

using writer::ConvRecord;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

// Framing. One frame is 256 samples, 5.3 ms at 48 kHz.
constexpr std::int16_t fftSize = 1024;
constexpr std::int16_t hopSize = 256;
// Up to 16 kHz. The engine carries the mask of the top bins on above.
constexpr std::int16_t bins = 342;

// Levels are averaged over 5 frames, 2 of them ahead of the one that is masked.
constexpr int levelFrames = 5;
constexpr std::int8_t lookaheadFrames = 2;

// Where the logarithm starts, as a magnitude of the unscaled transform: a bin of white noise at
// -86 dB of full scale. The last corner stands 79 dB above.
constexpr double lowestLevel = 1e-3;
constexpr double cornerFactor = 3.0;
constexpr int levelCorners = 10;
constexpr int floorCorners = 10;

// The floor is averaged over 3 x 5 x 6 taps, 270 frames or 1.4 s: each stage takes its taps where
// the one before ends, and the first skips frames that the level mean has joined.
struct AveragingStage {
    int taps;
    std::int8_t dilation;
};
constexpr AveragingStage averaging[] = {{3, 3}, {5, 9}, {6, 45}};

// While the history of the floor is not filled yet, its mean lacks frames: the first slope makes up
// for them, the second holds the gate open until a fifth of the history is there.
constexpr float fillSlope = 1.65F;
constexpr float openBelowFill = 0.2F;
constexpr float openSlope = 37.5F;

// Evidence is the excess over the floor in nepers, of the bin and of the bins around it, both with
// the same weight.
constexpr int spreadBins = 7;
constexpr float ownWeight = 4.0F;
constexpr float spreadWeight = 4.0F;
constexpr float threshold = -6.12F;

constexpr float lowestMask = 0.08F;

std::int32_t asDimension(std::size_t count) {
    return static_cast<std::int32_t>(count);
}

/** A convolution of the shape [frames, height, in, out], with one bias for each output or none. */
ConvRecord convolution(const std::vector<std::int32_t>& shape, std::vector<float> weights,
                       std::vector<float> bias = {}) {
    ConvRecord record;
    record.weights.shape = shape;
    record.weights.values = std::move(weights);
    record.bias.shape = {asDimension(bias.size())};
    record.bias.values = std::move(bias);
    return record;
}

ConvRecord levelMean() {
    ConvRecord record =
        convolution({levelFrames, 1, 1, 1}, std::vector<float>(levelFrames, 1.0F / levelFrames));
    record.lookahead = lookaheadFrames;
    return record;
}

/** One channel for each corner of the logarithm: x - corner. */
ConvRecord levelBank(const LineBank& bank) {
    std::vector<float> bias;
    for (const float corner : bank.corner) {
        bias.push_back(-corner);
    }
    const std::size_t count = bias.size();
    return convolution({1, 1, 1, asDimension(count)}, std::vector<float>(count, 1.0F), bias);
}

/** The sum of the bank twice: the level L, never below 0, and -L for the exponential. */
ConvRecord levelAndNegative(const LineBank& bank) {
    std::vector<float> weights;
    for (const float weight : bank.weight) {
        weights.insert(weights.end(), {weight, -weight});
    }
    return convolution({1, 1, asDimension(bank.weight.size()), 2}, weights);
}

/**
 * From (L, exp(-L) - 1) to (L, exp(-L), 1). An empty history holds zeros, so the means of the
 * second and third channel both lack the same frames, and the third tells how many there are.
 */
ConvRecord inverseAndPresence() {
    return convolution({1, 1, 2, 3}, {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F}, {0.0F, 1.0F, 1.0F});
}

/** Averages the second and third channel over time; the first passes as it is now. */
ConvRecord floorMean(const AveragingStage& stage) {
    std::vector<float> weights;
    for (int tap = 0; tap < stage.taps; ++tap) {
        const float now = tap == stage.taps - 1 ? 1.0F : 0.0F;
        const float mean = 1.0F / static_cast<float>(stage.taps);
        weights.insert(weights.end(), {now, mean, mean});
    }
    ConvRecord record = convolution({stage.taps, 1, 1, 3}, weights);
    record.timeDilation = stage.dilation;
    return record;
}

/** L, corner - mean for each corner, and two channels for the part of the history not yet filled.
 */
ConvRecord floorBank(const LineBank& bank) {
    const std::size_t count = bank.corner.size() + 3;
    std::vector<float> weights(3 * count, 0.0F);
    std::vector<float> bias(count, 0.0F);
    weights[0] = 1.0F;
    for (std::size_t i = 0; i < bank.corner.size(); ++i) {
        weights[count + 1 + i] = -1.0F;
        bias[1 + i] = bank.corner[i];
    }
    weights[3 * count - 2] = -1.0F;
    bias[count - 2] = 1.0F;
    weights[3 * count - 1] = -1.0F;
    bias[count - 1] = openBelowFill;
    return convolution({1, 1, 3, asDimension(count)}, weights, bias);
}

/** Level less floor, with what the unfilled history calls for. */
ConvRecord excess(const LineBank& bank) {
    std::vector<float> weights = {1.0F};
    for (const float weight : bank.weight) {
        weights.push_back(-weight);
    }
    weights.insert(weights.end(), {fillSlope, openSlope});
    const std::int32_t count = asDimension(weights.size());
    return convolution({1, 1, count, 1}, weights);
}

ConvRecord evidence() {
    std::vector<float> weights(spreadBins, spreadWeight / spreadBins);
    weights[spreadBins / 2] += ownWeight;
    return convolution({1, spreadBins, 1, 1}, weights, {threshold});
}

ConvRecord maskRange() {
    return convolution({1, 1, 1, 1}, {1.0F - lowestMask}, {lowestMask});
}

ModelHeader gateHeader() {
    ModelHeader header;
    header.sampleRate = 48000.0;
    header.inputBins = bins;
    header.skipped[0] = bins;
    header.fftSize = fftSize;
    header.windowSize = fftSize;
    header.hopSize = hopSize;
    return header;
}

}  // namespace

writer::ModelWriter spectralGate() {
    const LineBank levels = risingLogarithm(lowestLevel, cornerFactor, levelCorners);
    const LineBank floors = fallingLogarithm(cornerFactor, floorCorners);

    ModelWriter model(gateHeader());
    model.addConv("level mean", "input", levelMean());
    model.addConv("level bank", "level mean", levelBank(levels));
    model.addActivation("level lines", "level bank", LayerType::relu);
    model.addConv("level", "level lines", levelAndNegative(levels));
    model.addActivation("inverse", "level", LayerType::elu);
    model.addConv("presence", "inverse", inverseAndPresence());
    model.addConv("floor mean 1", "presence", floorMean(averaging[0]));
    model.addConv("floor mean 2", "floor mean 1", floorMean(averaging[1]));
    model.addConv("floor mean 3", "floor mean 2", floorMean(averaging[2]));
    model.addConv("floor bank", "floor mean 3", floorBank(floors));
    model.addActivation("floor lines", "floor bank", LayerType::relu);
    model.addConv("excess", "floor lines", excess(floors));
    model.addConv("evidence", "excess", evidence());
    model.addActivation("gate", "evidence", LayerType::sigmoid);
    model.addConv("mask", "gate", maskRange());
    model.setOutputSource("mask");
    return model;
}

}  // namespace vorun::gate
