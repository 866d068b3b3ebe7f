#include "ReferenceWindows.h"

#include <algorithm>

namespace vorun::benchmarks {
namespace {

constexpr std::size_t newestRow = ReferenceLayer::rows - 1;

AlignedFloats zeros(std::size_t count) {
    // Libraries may read a vector beyond the last element.
    constexpr std::size_t spared = 64;
    return AlignedFloats(count + spared);
}

}  // namespace

ReferenceWindows::ReferenceWindows(const ReferenceNetwork& network, const PlainNetwork& history)
    : network_(network) {
    for (std::size_t i = 0; i < network_.layers.size(); ++i) {
        windows_.push_back(zeros(ReferenceLayer::rows * network_.layers[i].inSize()));
        float* out = windows_.back().data();
        for (std::int32_t row = 0; row < ReferenceLayer::rows - 1; ++row) {
            for (const double value : history.inputRow(i, row)) {
                *out++ = static_cast<float>(value);
            }
        }
    }
    windows_.push_back(zeros(network_.layers.back().outSize()));
}

void ReferenceWindows::setFrame(const float* frame) {
    const std::size_t count = network_.layers.front().inSize();
    std::copy_n(frame, count, window(0) + newestRow * count);
}

float* ReferenceWindows::output(std::size_t layer) {
    if (layer + 1 == network_.layers.size()) {
        return window(layer + 1);
    }
    return window(layer + 1) + newestRow * network_.layers[layer + 1].inSize();
}

std::size_t ReferenceWindows::outStride(std::size_t layer) const {
    const bool isLast = layer + 1 == network_.layers.size();
    return static_cast<std::size_t>(isLast ? network_.layers[layer].outChannels
                                           : network_.layers[layer + 1].inChannels);
}

void ReferenceWindows::join(std::size_t layer) {
    if (!network_.layers[layer].joined) {
        return;
    }
    const std::size_t source = *network_.layers[layer].joined;
    const auto channels = static_cast<std::size_t>(network_.layers[source].outChannels);
    const std::size_t inStride = outStride(source);
    const auto stride = static_cast<std::size_t>(network_.layers[layer].inChannels);
    const float* in = output(source);
    float* out = output(layer - 1) + (stride - channels);
    for (std::int32_t bin = 0; bin < network_.layers[layer].inBins; ++bin) {
        std::copy_n(in, channels, out);
        in += inStride;
        out += stride;
    }
}

std::span<const float> ReferenceWindows::result() const {
    return {windows_.back().data(), network_.layers.back().outSize()};
}

}  // namespace vorun::benchmarks
