#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "support/SequenceLayers.h"

namespace vorun::sequence {
namespace {

double valueAt(const writer::TensorBlock& block, std::int32_t i) {
    return static_cast<double>(block.values.at(static_cast<std::size_t>(i)));
}

/** The weight at a time tap, a bin tap and the two channel positions. */
double weightAt(const writer::TensorBlock& block, std::int32_t kt, std::int32_t kb, std::int32_t i,
                std::int32_t j) {
    const auto& shape = block.shape;
    return valueAt(block, ((kt * shape[1] + kb) * shape[2] + i) * shape[3] + j);
}

void addBias(Sum& sum, const writer::TensorBlock& bias, std::int32_t i) {
    if (!bias.values.empty()) {
        sum.add(valueAt(bias, i));
    }
}

/** Where tap 0 over the bins lies; centred, the half bin cut towards zero. */
std::int32_t firstBin(std::int32_t kernelHeight, std::int32_t heightStride) {
    return -((kernelHeight - heightStride) / 2);
}

struct Position {
    std::int32_t t;
    std::int32_t bin;
    std::int32_t channel;
};

/** One output of a convolution; `at` is in input frames and output bins. */
Estimate convolutionAt(const writer::ConvRecord& record, const Frames& input, Position at) {
    const auto& kernel = record.weights.shape;
    const bool depthwise = kernel[2] == 1 && input.channels() != 1;
    const std::int32_t outputsOfChannel = depthwise ? kernel[3] / input.channels() : 1;
    const std::int32_t bin0 =
        firstBin(kernel[1], record.heightStride) + at.bin * record.heightStride;
    Sum sum;
    addBias(sum, record.bias, at.channel);
    for (std::int32_t kt = 0; kt < kernel[0]; ++kt) {
        const std::int32_t t = at.t - (kernel[0] - 1 - kt) * record.timeDilation;
        for (std::int32_t kb = 0; kb < kernel[1]; ++kb) {
            if (depthwise) {
                sum.add(weightAt(record.weights, kt, kb, 0, at.channel),
                        input.orZero(t, bin0 + kb, at.channel / outputsOfChannel));
                continue;
            }
            for (std::int32_t in = 0; in < kernel[2]; ++in) {
                sum.add(weightAt(record.weights, kt, kb, in, at.channel),
                        input.orZero(t, bin0 + kb, in));
            }
        }
    }
    return sum.result();
}

/** What input bin `bin` of frame `t` adds to an output channel through one tap. */
void addTransposed(Sum& sum, const writer::TransposedConvRecord& record, std::int32_t outChannels,
                   const Frames& input, Position at, std::int32_t kt, std::int32_t kb) {
    const auto& kernel = record.weights.shape;
    const bool depthwise = kernel[2] == 1 && outChannels != 1;
    if (depthwise) {
        if (at.channel < kernel[3]) {
            sum.add(weightAt(record.weights, kt, kb, 0, at.channel),
                    input.orZero(at.t, at.bin, at.channel));
        }
        return;
    }
    if (at.channel < kernel[2]) {  // Channels beyond the kernel's have a bias alone.
        for (std::int32_t in = 0; in < kernel[3]; ++in) {
            sum.add(weightAt(record.weights, kt, kb, at.channel, in),
                    input.orZero(at.t, at.bin, in));
        }
    }
}

/** One output of a transposed convolution; `at` is in output frames and output bins. */
Estimate transposedAt(const writer::TransposedConvRecord& record, std::int32_t outChannels,
                      const Frames& input, Position at) {
    const auto& kernel = record.weights.shape;
    Sum sum;
    addBias(sum, record.bias, at.channel);
    for (std::int32_t kt = 0; kt < kernel[0]; ++kt) {
        const std::int32_t time = at.t - kt;
        if (time < 0 || time % record.timeStride != 0) {
            continue;
        }
        for (std::int32_t kb = 0; kb < kernel[1]; ++kb) {
            const std::int32_t bin = at.bin - kb - firstBin(kernel[1], record.heightStride);
            if (bin >= 0 && bin % record.heightStride == 0) {
                const Position from = {time / record.timeStride, bin / record.heightStride,
                                       at.channel};
                addTransposed(sum, record, outChannels, input, from, kt, kb);
            }
        }
    }
    return sum.result();
}

template <class Compute>
Frames filled(std::int32_t frames, std::int32_t height, std::int32_t channels, Compute compute) {
    Frames output(frames, height, channels);
    for (std::int32_t t = 0; t < frames; ++t) {
        for (std::int32_t bin = 0; bin < height; ++bin) {
            for (std::int32_t channel = 0; channel < channels; ++channel) {
                output.at(t, bin, channel) = compute(Position{t, bin, channel});
            }
        }
    }
    return output;
}

}  // namespace

Frames convolution(const writer::ConvRecord& record, const Frames& input) {
    std::vector<std::int32_t> times;
    for (std::int32_t t = std::max<std::int32_t>(record.lookahead, 0); t < input.frames(); ++t) {
        if ((t - record.lookahead) % record.timeStride == 0) {
            times.push_back(t);
        }
    }
    return filled(static_cast<std::int32_t>(times.size()), input.height() / record.heightStride,
                  record.weights.shape.at(3), [&](Position at) {
                      at.t = times[static_cast<std::size_t>(at.t)];
                      return convolutionAt(record, input, at);
                  });
}

Frames transposedConvolution(const writer::TransposedConvRecord& record, std::int32_t outChannels,
                             const Frames& input) {
    const std::int32_t dropped = std::max<std::int32_t>(record.lookahead, 0);
    const std::int32_t frames = std::max(input.frames() * record.timeStride - dropped, 0);
    return filled(frames, input.height() * record.heightStride, outChannels, [&](Position at) {
        at.t += dropped;
        return transposedAt(record, outChannels, input, at);
    });
}

Frames separableConvolution(const TwoTensors& kernels, const Frames& input) {
    const std::int32_t timeTaps = kernels.first.shape.at(0);
    const std::int32_t heightTaps = kernels.second.shape.at(0);
    const std::int32_t centre = (heightTaps - 1) / 2;
    const std::int32_t swallowed = (timeTaps + 1) / 2 - 1;
    // Tap k weighs the frame k + 1 back, but the last tap weighs the current frame.
    const Frames smoothed =
        filled(input.frames(), input.height(), input.channels(), [&](Position at) {
            Sum sum;
            sum.add(valueAt(kernels.first, timeTaps - 1), input.orZero(at.t, at.bin, at.channel));
            for (std::int32_t k = 0; k + 1 < timeTaps; ++k) {
                sum.add(valueAt(kernels.first, k), input.orZero(at.t - 1 - k, at.bin, at.channel));
            }
            return sum.result();
        });
    return filled(std::max(input.frames() - swallowed, 0), input.height(), input.channels(),
                  [&](Position at) {
                      Sum sum;
                      for (std::int32_t j = 0; j < heightTaps; ++j) {
                          sum.add(
                              valueAt(kernels.second, j),
                              smoothed.orZero(at.t + swallowed, at.bin - (j - centre), at.channel));
                      }
                      return sum.result();
                  });
}

Frames attention(const writer::SelfAttentionRecord& record, const Frames& input) {
    const std::int32_t channels = input.channels();
    const auto& window = record.attentionWeights;
    const auto mixed = [&](Position at) {
        if (window.values.empty()) {
            return input.orZero(at.t, at.bin, at.channel);
        }
        Sum sum;
        const std::int32_t length = window.shape.at(0);
        for (std::int32_t j = 0; j < length; ++j) {
            sum.add(valueAt(window, j * channels + at.channel),
                    input.orZero(at.t - (length - 1 - j), at.bin, at.channel));
        }
        return sum.result();
    };
    return filled(std::max(input.frames() - record.lookahead, 0), input.height(), channels,
                  [&](Position at) {
                      Sum sum;
                      sum.add(valueAt(record.projectionBias, at.bin * channels + at.channel));
                      for (std::int32_t k = 0; k < channels; ++k) {
                          sum.add(valueAt(record.projection, k * channels + at.channel),
                                  mixed({at.t + record.lookahead, at.bin, k}));
                      }
                      return sum.result();
                  });
}

}  // namespace vorun::sequence
