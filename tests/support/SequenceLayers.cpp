#include "support/SequenceLayers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vorun::sequence {
namespace {

using writer::LayerType;

/**
 * Roundings that one exponential, logarithm or quotient may cost, a rounding being half a unit in
 * the last place or less: room for two units in the last place.
 */
constexpr double functionRoundings = 4.0;

double valueAt(const writer::TensorBlock& block, std::int32_t i) {
    return static_cast<double>(block.values.at(static_cast<std::size_t>(i)));
}

template <class Compute>
Frames mapped(const Frames& input, Compute compute) {
    Frames output(input.frames(), input.height(), input.channels());
    for (std::int32_t t = 0; t < input.frames(); ++t) {
        for (std::int32_t i = 0; i < input.frameVolume(); ++i) {
            output.flat(t, i) = compute(t, i);
        }
    }
    return output;
}

Estimate sum(const Estimate& a, const Estimate& b) {
    return rounded({a.value + b.value, a.error + b.error}, 1.0);
}

Estimate difference(const Estimate& a, const Estimate& b) {
    return rounded({a.value - b.value, a.error + b.error}, 1.0);
}

Estimate product(const Estimate& a, const Estimate& b) {
    const double error = std::fabs(a.value) * b.error + std::fabs(b.value) * a.error;
    return rounded({a.value * b.value, error + a.error * b.error}, 1.0);
}

/** Without bound where the divisor cannot be told from zero. */
Estimate quotient(const Estimate& a, const Estimate& b) {
    const double value = a.value / b.value;
    const double smallest = std::max(std::fabs(b.value) - b.error, 0.0);
    return rounded({value, (a.error + std::fabs(value) * b.error) / smallest}, functionRoundings);
}

Estimate relu(const Estimate& x) {
    return {std::max(x.value, 0.0), x.error};
}

Estimate leakyRelu(const Estimate& x, double slope) {
    const double value = std::max(x.value, 0.0) + slope * std::min(x.value, 0.0);
    return rounded({value, x.error * std::max(std::fabs(slope), 1.0)}, 2.0);
}

/** The steepest slope of the function is 1; the exponential is at most 1 before it is lowered. */
Estimate elu(const Estimate& x) {
    const double value = std::max(x.value, 0.0) + std::expm1(std::min(x.value, 0.0));
    const double exponential = functionRoundings * roundingUnit;
    return rounded({value, x.error + exponential}, 2.0);
}

/** The steepest slope is 1/4. */
Estimate sigmoid(const Estimate& x) {
    const double exponential = std::exp(std::clamp(x.value, -10.0, 10.0));
    return rounded({exponential / (1.0 + exponential), x.error / 4.0},
                   2.0 * functionRoundings + 1.0);
}

Estimate hardSigmoid(const Estimate& x) {
    constexpr double sixth = static_cast<double>(1.0F / 6.0F);
    const Estimate scaled = rounded({x.value * sixth, x.error * sixth}, 1.0);
    const Estimate line = sum(scaled, {0.5, 0.0});
    return {std::clamp(line.value, 0.0, 1.0), line.error};
}

/** The steepest slope is 1, and a relative error before the logarithm is an absolute one after. */
Estimate softplus(const Estimate& x) {
    const double value = std::log(1.0 + std::exp(x.value));
    const double exponential = (functionRoundings + 1.0) * roundingUnit;
    return rounded({value, x.error + exponential}, functionRoundings);
}

/** Root of the mean square of frame `t`. */
Estimate levelOf(const Frames& input, std::int32_t t) {
    const std::int32_t n = input.frameVolume();
    double squares = 0.0;
    double errors = 0.0;
    for (std::int32_t i = 0; i < n; ++i) {
        squares += input.flat(t, i).value * input.flat(t, i).value;
        errors += input.flat(t, i).error * input.flat(t, i).error;
    }
    return rounded({std::sqrt(squares / n), std::sqrt(errors / n)}, n + 4.0);
}

Estimate step(std::int8_t operation, const Estimate& result, const Estimate& next) {
    switch (operation) {
        case 0:
            return product(result, next);
        case 1:
            return quotient(next, result);
        case 2:
            return sum(result, next);
        case 3:
            return difference(next, result);
        default:
            return result;
    }
}

std::int32_t shortest(const std::vector<const Frames*>& inputs) {
    std::int32_t frames = inputs.at(0)->frames();
    for (const Frames* input : inputs) {
        frames = std::min(frames, input->frames());
    }
    return frames;
}

}  // namespace

Frames dense(const TwoTensors& tensors, const Frames& input) {
    const std::int32_t height = input.height();
    const std::int32_t channels = input.channels();
    return mapped(input, [&](std::int32_t t, std::int32_t i) {
        const std::int32_t bin = i / channels;
        const std::int32_t c = i % channels;
        Sum total;
        for (std::int32_t j = 0; j < height; ++j) {
            total.add(valueAt(tensors.first, (bin * height + j) * channels + c),
                      input.orZero(t, j, c));
        }
        if (!tensors.second.values.empty()) {
            total.add(valueAt(tensors.second, i));
        }
        return total.result();
    });
}

Frames norm(const TwoTensors& tensors, const Frames& input) {
    return mapped(input, [&](std::int32_t t, std::int32_t i) {
        Sum total;
        total.add(valueAt(tensors.second, i % input.channels()), input.flat(t, i));
        total.add(valueAt(tensors.first, i % input.channels()));
        return total.result();
    });
}

/**
 * Weight 0 meets the level of the current frame, weight k > 0 that of the frame as far back as the
 * weights from k on are many; before the stream its first frame counts.
 */
Frames preNorm(const writer::TensorBlock& weights, const Frames& input) {
    const std::int32_t length = weights.shape.at(0);
    std::vector<Estimate> levels;
    std::vector<Estimate> gains;
    for (std::int32_t t = 0; t < input.frames(); ++t) {
        levels.push_back(levelOf(input, t));
        Sum total;
        total.add(valueAt(weights, 0), levels.back());
        for (std::int32_t k = 1; k < length; ++k) {
            total.add(valueAt(weights, k),
                      levels[static_cast<std::size_t>(std::max(t - (length - k), 0))]);
        }
        gains.push_back(quotient({1.0, 0.0}, sum(total.result(), {1e-12, 0.0})));
    }
    return mapped(input, [&](std::int32_t t, std::int32_t i) {
        return product(input.flat(t, i), gains[static_cast<std::size_t>(t)]);
    });
}

Frames activation(LayerType type, float slope, const Frames& input) {
    return mapped(input, [&](std::int32_t t, std::int32_t i) {
        const Estimate& x = input.flat(t, i);
        switch (type) {
            case LayerType::relu:
                return relu(x);
            case LayerType::leakyRelu:
                return leakyRelu(x, static_cast<double>(slope));
            case LayerType::elu:
                return elu(x);
            case LayerType::sigmoid:
                return sigmoid(x);
            case LayerType::hardSigmoid:
                return hardSigmoid(x);
            default:
                return softplus(x);
        }
    });
}

/** Height from the first input; the others may have more bins, of which the first ones count. */
Frames concatenation(const std::vector<const Frames*>& inputs) {
    std::int32_t channels = 0;
    for (const Frames* input : inputs) {
        channels += input->channels();
    }
    Frames output(shortest(inputs), inputs.at(0)->height(), channels);
    for (std::int32_t t = 0; t < output.frames(); ++t) {
        for (std::int32_t bin = 0; bin < output.height(); ++bin) {
            std::int32_t to = 0;
            for (const Frames* input : inputs) {
                for (std::int32_t c = 0; c < input->channels(); ++c) {
                    output.at(t, bin, to++) = input->orZero(t, bin, c);
                }
            }
        }
    }
    return output;
}

/** Shape from the first input; of larger ones the first elements of each frame count. */
Frames arithmetic(std::int8_t operation, const std::vector<const Frames*>& inputs) {
    Frames output(shortest(inputs), inputs.at(0)->height(), inputs.at(0)->channels());
    for (std::int32_t t = 0; t < output.frames(); ++t) {
        for (std::int32_t i = 0; i < output.frameVolume(); ++i) {
            Estimate result = inputs.at(0)->flat(t, i);
            for (std::size_t k = 1; k < inputs.size(); ++k) {
                result = step(operation, result, inputs[k]->flat(t, i));
            }
            output.flat(t, i) = result;
        }
    }
    return output;
}

Frames evaluateNode(const Node& node, const std::vector<const Frames*>& inputs,
                    std::int32_t version) {
    const Frames& input = *inputs.at(0);
    switch (node.type) {
        case LayerType::conv:
            return convolution(std::get<writer::ConvRecord>(node.record), input);
        case LayerType::transposedConv: {
            const auto& record = std::get<writer::TransposedConvRecord>(node.record);
            return transposedConvolution(record, outChannelsOf(record, version), input);
        }
        case LayerType::norm:
            return norm(std::get<TwoTensors>(node.record), input);
        case LayerType::concat:
            return concatenation(inputs);
        case LayerType::leakyRelu:
            return activation(node.type, std::get<float>(node.record), input);
        case LayerType::dense:
            return dense(std::get<TwoTensors>(node.record), input);
        case LayerType::separableChannelConv:
            return separableConvolution(std::get<TwoTensors>(node.record), input);
        case LayerType::preNorm:
            return preNorm(std::get<writer::TensorBlock>(node.record), input);
        case LayerType::arithmetic:
            return arithmetic(std::get<std::int8_t>(node.record), inputs);
        case LayerType::selfAttention:
            return attention(attentionOf(node, version), input);
        default:
            return activation(node.type, 0.0F, input);
    }
}

}  // namespace vorun::sequence
