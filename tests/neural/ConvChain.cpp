#include "neural/ConvChain.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "foundation/vector/CheckedCall.h"

namespace vorun::test {
namespace {

std::size_t index(std::int32_t i) {
    return static_cast<std::size_t>(i);
}

/** One bin of the kernel over one bin of a row. */
void addBin(const NaiveConvolution& conv, const ChainRows& rows, const float* weights,
            const float* bin, float* out) {
    if (rows.depthwise) {
        checkStatus(ippsAddProduct_32f(weights, bin, out, std::min(rows.channels, conv.kernelOut)));
        return;
    }
    for (std::int32_t in = 0; in < conv.kernelIn; ++in) {
        checkStatus(
            ippsAddProductC_32f(weights + in * conv.kernelOut, bin[in], out, conv.kernelOut));
    }
}

}  // namespace

std::vector<float> chainedFrame(const NaiveConvolution& conv, const ChainRows& rows) {
    const std::int32_t outHeight = rows.height / conv.heightStride;
    const std::int32_t weightsOfBin = conv.kernelIn * conv.kernelOut;
    std::vector<float> out(index(outHeight * conv.kernelOut));
    for (std::int32_t o = 0; o < outHeight; ++o) {
        float* const sums = out.data() + o * conv.kernelOut;
        std::copy(conv.bias.begin(), conv.bias.end(), sums);
        const std::int32_t first =
            o * conv.heightStride - (conv.kernelHeight - conv.heightStride) / 2;
        for (std::int32_t tap = 0; tap < conv.kernelFrames; ++tap) {
            for (std::int32_t k = 0; k < conv.kernelHeight; ++k) {
                if (first + k >= 0 && first + k < rows.height) {
                    addBin(conv, rows,
                           &conv.weights.at(index((tap * conv.kernelHeight + k) * weightsOfBin)),
                           &rows.rows.at(index(tap)).at(index((first + k) * rows.channels)), sums);
                }
            }
        }
    }
    return out;
}

std::vector<float> chainedFrame(const NaiveConvolution& conv, std::int32_t t) {
    const bool depthwise = conv.depthwise();
    ChainRows rows{conv.height, depthwise ? conv.kernelOut : conv.channels, depthwise, {}};
    const std::int32_t repeat = rows.channels / conv.channels;
    for (std::int32_t tap = 0; tap < conv.kernelFrames; ++tap) {
        const std::int32_t frame = t - (conv.kernelFrames - 1 - tap) * conv.timeDilation;
        std::vector<float> row(index(rows.height * rows.channels));
        for (std::int32_t i = 0; frame >= 0 && i < rows.height * rows.channels; ++i) {
            row[index(i)] = conv.stream.at(index(frame * conv.height * conv.channels + i / repeat));
        }
        rows.rows.push_back(std::move(row));
    }
    return chainedFrame(conv, rows);
}

void ConvRing::add(const FloatTensor& input, std::vector<std::vector<float>>& given,
                   std::size_t faultAt) {
    if (input.dim(0) > 0 && input.dim(2) == 0) {
        throw std::runtime_error("no channels");
    }
    const bool depthwise = conv_.kernelIn == 1 && input.dim(2) != 1;
    if (ring_.empty()) {
        height_ = input.dim(1);
        channels_ = depthwise ? conv_.kernelOut : input.dim(2);
        ring_.assign(index(rowsInRing() * height_ * channels_), 0.0F);
    }
    for (std::int32_t frame = 0; frame < input.dim(0); ++frame) {
        store(input, frame, depthwise);
        if (counter_ >= conv_.lookahead && (counter_ - conv_.lookahead) % conv_.timeStride == 0) {
            given.push_back(outputFrame(depthwise));
            if (given.size() == faultAt + 1) {
                throw std::runtime_error("the consumer throws");
            }
        }
        ++counter_;
    }
}

/** Values go into the ring as a flat array, so that other heights and channels shift them. */
void ConvRing::store(const FloatTensor& input, std::int32_t frame, bool depthwise) {
    const std::int32_t rowChannels = depthwise ? conv_.kernelOut : input.dim(2);
    const std::int32_t repeat = rowChannels / input.dim(2);
    const bool spreads = repeat > 1;
    const std::int32_t perBin = spreads ? input.dim(2) * repeat : rowChannels;
    const std::int32_t count = input.dim(1) * perBin;
    const std::int32_t target = counter_ % rowsInRing() * height_ * channels_;
    const std::int32_t source = spreads ? 0 : frame * count;
    if (index(target + count) > ring_.size() || (!spreads && source + count > input.volume())) {
        throw std::runtime_error("no room");
    }
    for (std::int32_t i = 0; i < count; ++i) {
        ring_[index(target + i)] = input.readData()[source + (spreads ? i / repeat : i)];
    }
}

std::vector<float> ConvRing::outputFrame(bool depthwise) const {
    if (depthwise ? channels_ > conv_.kernelOut : channels_ < conv_.kernelIn) {
        throw std::runtime_error("channels do not fit the kernel");
    }
    ChainRows rows{height_, channels_, depthwise, {}};
    for (std::int32_t tap = 0; tap < conv_.kernelFrames; ++tap) {
        const std::int32_t row = (tap * conv_.timeDilation + counter_ + 1) % rowsInRing();
        const auto begin = ring_.begin() + row * height_ * channels_;
        rows.rows.emplace_back(begin, begin + height_ * channels_);
    }
    return chainedFrame(conv_, rows);
}

void ConvRing::reset() {
    std::fill(ring_.begin(), ring_.end(), 0.0F);
    counter_ = 0;
}

std::string difference(const std::vector<float>& actual, const std::vector<float>& expected) {
    if (actual.size() != expected.size()) {
        return std::to_string(actual.size()) + " values instead of " +
               std::to_string(expected.size());
    }
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const bool areNan = std::isnan(actual[i]) && std::isnan(expected[i]);
        if (!areNan &&
            std::bit_cast<std::uint32_t>(actual[i]) != std::bit_cast<std::uint32_t>(expected[i])) {
            return "value " + std::to_string(i) + " is " + std::to_string(actual[i]) +
                   " instead of " + std::to_string(expected[i]);
        }
    }
    return "";
}

}  // namespace vorun::test
