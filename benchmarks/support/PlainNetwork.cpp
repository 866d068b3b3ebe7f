#include "support/PlainNetwork.h"

#include <algorithm>
#include <cmath>

namespace vorun::benchmarks {
namespace {

using Row = PlainNetwork::Row;

/** Adds the products of one bin of input and one bin of the kernel. */
void addBin(const ReferenceLayer& layer, std::int32_t row, std::int32_t kernelBin,
            const double* input, double* output) {
    for (std::int32_t in = 0; in < layer.inChannels; ++in) {
        const float* weights = layer.weights.data() + layer.weightIndex(row, kernelBin, in, 0);
        for (std::int32_t out = 0; out < layer.outChannels; ++out) {
            output[out] += input[in] * static_cast<double>(weights[out]);
        }
    }
}

void addRow(const ReferenceLayer& layer, std::int32_t row, const Row& input, Row& output) {
    const std::int32_t narrowBins = layer.transposed ? layer.inBins : layer.outBins;
    const std::int32_t wideBins = layer.transposed ? layer.outBins : layer.inBins;
    for (std::int32_t narrow = 0; narrow < narrowBins; ++narrow) {
        for (std::int32_t k = 0; k < layer.kernelBins; ++k) {
            const std::int32_t wide = narrow * layer.heightStride - layer.padding() + k;
            if (wide >= 0 && wide < wideBins) {
                const std::int32_t in = layer.transposed ? narrow : wide;
                const std::int32_t out = layer.transposed ? wide : narrow;
                addBin(layer, row, k, input.data() + in * layer.inChannels,
                       output.data() + out * layer.outChannels);
            }
        }
    }
}

double activated(Activation activation, double x) {
    switch (activation) {
        case Activation::relu:
            return std::max(x, 0.0);
        case Activation::elu:
            return x > 0.0 ? x : std::expm1(x);
        case Activation::sigmoid:
            return 1.0 / (1.0 + std::exp(-x));
        default:
            return x;
    }
}

Row joinedRows(const Row& first, const Row& second, std::int32_t bins) {
    Row joined;
    for (std::ptrdiff_t bin = 0; bin < bins; ++bin) {
        for (const Row* row : {&first, &second}) {
            const auto channels = static_cast<std::ptrdiff_t>(row->size()) / bins;
            const auto start = row->begin() + bin * channels;
            joined.insert(joined.end(), start, start + channels);
        }
    }
    return joined;
}

}  // namespace

PlainNetwork::PlainNetwork(const ReferenceNetwork& network)
    : outputs_(network.layers.size()), network_(network) {
    for (const ReferenceLayer& layer : network_.layers) {
        const std::int32_t before = (ReferenceLayer::rows - 1) * layer.timeDilation;
        inputs_.emplace_back(static_cast<std::size_t>(before), Row(layer.inSize()));
    }
}

const Row& PlainNetwork::run(const std::vector<float>& frame) {
    Row values(frame.begin(), frame.end());
    for (std::size_t i = 0; i < network_.layers.size(); ++i) {
        const ReferenceLayer& layer = network_.layers[i];
        if (layer.joined) {
            values = joinedRows(values, outputs_[*layer.joined], layer.inBins);
        }
        inputs_[i].push_back(values);
        values.clear();
        for (std::int32_t bin = 0; bin < layer.outBins; ++bin) {
            values.insert(values.end(), layer.bias.begin(), layer.bias.end());
        }
        for (std::int32_t row = 0; row < ReferenceLayer::rows; ++row) {
            addRow(layer, row, inputRow(i, row), values);
        }
        for (double& value : values) {
            value = activated(layer.activation, value);
        }
        outputs_[i] = values;
    }
    return outputs_.back();
}

const Row& PlainNetwork::inputRow(std::size_t layer, std::int32_t row) const {
    const std::int32_t age = (ReferenceLayer::rows - 1 - row) * network_.layers[layer].timeDilation;
    const std::vector<Row>& rows = inputs_[layer];
    return rows[rows.size() - 1 - static_cast<std::size_t>(age)];
}

double relativeError(const std::vector<double>& expected, const float* actual) {
    double largest = 0.0;
    double difference = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        largest = std::max(largest, std::abs(expected[i]));
        // A NaN is the largest difference of all.
        const double off = std::abs(expected[i] - static_cast<double>(actual[i]));
        difference = std::isnan(off) ? HUGE_VAL : std::max(difference, off);
    }
    return difference / largest;
}

}  // namespace vorun::benchmarks
