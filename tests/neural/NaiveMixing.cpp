#include "neural/NaiveMixing.h"

#include <cmath>

namespace vorun::test {
namespace {

double element(const std::vector<float>& values, std::int32_t index) {
    return static_cast<double>(values[static_cast<std::size_t>(index)]);
}

}  // namespace

std::int32_t NaiveStream::frames() const {
    return static_cast<std::int32_t>(values.size()) / frameVolume();
}

double NaiveStream::at(std::int32_t t, std::int32_t bin, std::int32_t channel) const {
    return t < 0 ? 0.0 : element(values, (t * height + bin) * channels + channel);
}

BoundedSum NaiveDense::output(std::int32_t t, std::int32_t bin, std::int32_t channel) const {
    BoundedSum sum;
    for (std::int32_t j = 0; j < stream.height; ++j) {
        const double weight =
            element(weights, (bin * stream.height + j) * stream.channels + channel);
        sum.add(weight * stream.at(t, j, channel));
    }
    if (!bias.empty()) {
        sum.add(element(bias, bin * stream.channels + channel));
    }
    return sum;
}

BoundedSum NaiveNorm::output(std::int32_t t, std::int32_t bin, std::int32_t channel) const {
    BoundedSum sum;
    sum.add(stream.at(t, bin, channel) * element(scale, channel));
    sum.add(element(offset, channel));
    return sum;
}

double NaivePreNorm::level(std::int32_t t) const {
    double squares = 0.0;
    for (std::int32_t bin = 0; bin < stream.height; ++bin) {
        for (std::int32_t channel = 0; channel < stream.channels; ++channel) {
            const double value = stream.at(t < 0 ? 0 : t, bin, channel);
            squares += value * value;
        }
    }
    return std::sqrt(squares / stream.frameVolume());
}

/**
 * All terms are positive, so relative errors only add up: half of those of a sum of n squares, one
 * each for its root, the root of n and their quotient, the window's sum with its products and its
 * floor, the reciprocal and the product with the value.
 */
BoundedValue NaivePreNorm::output(std::int32_t t, std::int32_t bin, std::int32_t channel) const {
    const auto length = static_cast<std::int32_t>(weights.size());
    double sum = element(weights, 0) * level(t);
    for (std::int32_t k = 1; k < length; ++k) {
        sum += element(weights, k) * level(t - length + k);
    }
    const double value = stream.at(t, bin, channel) / (sum + 1e-12);
    const double roundings = 0.5 * (stream.frameVolume() + 1) + 3 + (length + 3) + 2;
    const double error = roundings * std::ldexp(1.0, -24);
    return {value, std::fabs(value) * error / (1.0 - error)};
}

std::int32_t NaiveSelfAttention::windowLength() const {
    return static_cast<std::int32_t>(window.size()) / stream.channels;
}

BoundedSum NaiveSelfAttention::output(std::int32_t t, std::int32_t bin,
                                      std::int32_t channel) const {
    const std::int32_t channels = stream.channels;
    BoundedSum sum;
    sum.add(element(bias, bin * channels + channel));
    for (std::int32_t k = 0; k < channels; ++k) {
        const double share = element(projection, k * channels + channel);
        if (window.empty()) {
            sum.add(share * stream.at(t, bin, k));
        }
        for (std::int32_t ago = 0; ago < windowLength(); ++ago) {
            const double weight = element(window, (windowLength() - 1 - ago) * channels + k);
            sum.add(share * weight * stream.at(t - ago, bin, k));
        }
    }
    // No term passes through more roundings than one sum over the frames and one over the channels.
    sum.terms = windowLength() + 1 + channels + 1;
    return sum;
}

}  // namespace vorun::test
