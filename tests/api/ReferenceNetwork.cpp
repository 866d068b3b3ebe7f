#include "api/ReferenceNetwork.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace vorun::apitest {
namespace {

double activated(writer::LayerType type, double x) {
    switch (type) {
        case writer::LayerType::relu:
            return std::max(x, 0.0);
        case writer::LayerType::elu:
            return x > 0.0 ? x : std::exp(x) - 1.0;
        case writer::LayerType::sigmoid:
            return 1.0 / (1.0 + std::exp(-std::clamp(x, -10.0, 10.0)));
        case writer::LayerType::hardSigmoid:
            return std::clamp(x / 6.0 + 0.5, 0.0, 1.0);
        case writer::LayerType::softplus:
            return std::log1p(std::exp(x));
        default:
            throw std::logic_error("no reference for this layer");
    }
}

/** Weight of time tap, height tap, input and output channel. */
double weightAt(const writer::TensorBlock& weights, int tap, int row, int in, int out) {
    const auto& shape = weights.shape;
    const int index = ((tap * shape[1] + row) * shape[2] + in) * shape[3] + out;
    return static_cast<double>(weights.values[index]);
}

/** One time tap of one output value; rows outside the frame are silent. */
double tapSum(const writer::ConvRecord& conv, const Matrix& frame, int tap, int outRow, int out) {
    const auto& shape = conv.weights.shape;
    const bool depthwise = shape[2] == 1 && frame.channels != 1;
    const int firstRow = outRow * conv.heightStride - (shape[1] - conv.heightStride) / 2;
    double sum = 0.0;
    for (int k = 0; k < shape[1]; ++k) {
        const int row = firstRow + k;
        if (row < 0 || row >= frame.rows) {
            continue;
        }
        for (int in = 0; in < shape[2]; ++in) {
            const int source = depthwise ? out / (shape[3] / frame.channels) : in;
            sum += weightAt(conv.weights, tap, k, in, out) * frame.at(row, source);
        }
    }
    return sum;
}

/** Output for the newest frame of `seen`; frames before the first one are silent. */
Matrix convolved(const writer::ConvRecord& conv, const Frames& seen) {
    const auto& shape = conv.weights.shape;
    const int now = static_cast<int>(seen.size()) - 1;
    Matrix result(seen.back().rows / conv.heightStride, shape[3]);
    for (int row = 0; row < result.rows; ++row) {
        for (int out = 0; out < result.channels; ++out) {
            double sum = 0.0;
            if (!conv.bias.values.empty()) {
                sum = static_cast<double>(conv.bias.values[out]);
            }
            for (int tap = 0; tap < shape[0]; ++tap) {
                const int time = now - (shape[0] - 1 - tap) * conv.timeDilation;
                if (time >= 0) {
                    sum += tapSum(conv, seen[time], tap, row, out);
                }
            }
            result.at(row, out) = sum;
        }
    }
    return result;
}

bool leavesOutput(const writer::ConvRecord& conv, int frameIndex) {
    const int position = frameIndex - conv.lookahead;
    return position >= 0 && position % conv.timeStride == 0;
}

}  // namespace

ReferenceNetwork::ReferenceNetwork(Network network)
    : network_(std::move(network)), histories_(network_.size()) {}

Frames ReferenceNetwork::runStage(std::size_t stage, const Matrix& frame) {
    if (const auto* type = std::get_if<writer::LayerType>(&network_[stage])) {
        Matrix result = frame;
        for (double& value : result.values) {
            value = activated(*type, value);
        }
        return {result};
    }
    const auto& conv = std::get<writer::ConvRecord>(network_[stage]);
    Frames& seen = histories_[stage];
    seen.push_back(frame);
    if (!leavesOutput(conv, static_cast<int>(seen.size()) - 1)) {
        return {};
    }
    return {convolved(conv, seen)};
}

Frames ReferenceNetwork::push(const Matrix& frame) {
    Frames current = {frame};
    for (std::size_t stage = 0; stage < network_.size() && !current.empty(); ++stage) {
        current = runStage(stage, current.front());
    }
    return current;
}

void ReferenceNetwork::reset() {
    histories_.assign(network_.size(), {});
}

}  // namespace vorun::apitest
