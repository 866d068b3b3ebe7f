#include "neural/TransposedRing.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vorun::test {
namespace {

double valueAt(const std::vector<float>& values, std::int32_t index) {
    return static_cast<double>(values.at(static_cast<std::size_t>(index)));
}

}  // namespace

std::int32_t TransposedRing::rowsInRing() const {
    return std::max<std::int32_t>(kernelFrames(), record_.timeStride);
}

std::int32_t TransposedRing::readyFrames() const {
    return std::clamp<std::int32_t>(counter_ - record_.lookahead + record_.timeStride, 0,
                                    record_.timeStride);
}

void TransposedRing::add(const FloatTensor& input, std::vector<Frame>& released) {
    const std::int32_t height = input.dim(1);
    const std::int32_t volume = height * kernelIn();
    const std::int32_t rowLength = height * record_.heightStride * record_.outChannels;
    for (std::int32_t frame = 0; frame < input.dim(0); ++frame) {
        if (volume > 0 && (frame + 1) * volume > input.volume()) {
            throw std::runtime_error("the input ends before");
        }
        if (ring_.empty()) {
            rowStride_ = rowLength;
            ring_.resize(static_cast<std::size_t>(rowsInRing() * rowLength));
        }
        requireRoom(rowLength);
        scatter(input.readData() + frame * volume, height);
        release(rowLength, released);
        emptyRows(rowLength);
        counter_ += record_.timeStride;
    }
}

/** All rows are touched, but before the first release only those that a tap reaches. */
void TransposedRing::requireRoom(std::int32_t rowLength) const {
    const bool tapsOnly = kernelFrames() < record_.timeStride && readyFrames() == 0;
    const std::int32_t rows = tapsOnly ? kernelFrames() : rowsInRing();
    if (static_cast<std::size_t>((rows - 1) * rowStride_ + rowLength) > ring_.size()) {
        throw std::runtime_error("no room");
    }
}

BoundedSum* TransposedRing::rowAt(std::int32_t outputFrame) {
    return ring_.data() + outputFrame % rowsInRing() * rowStride_;
}

void TransposedRing::scatter(const float* frame, std::int32_t height) {
    const std::int32_t stride = record_.heightStride;
    for (std::int32_t tap = 0; tap < kernelFrames(); ++tap) {
        BoundedSum* const row = rowAt(tap + counter_);
        for (std::int32_t bin = 0; bin < height; ++bin) {
            for (std::int32_t k = 0; k < kernelHeight(); ++k) {
                const std::int32_t o = bin * stride - (kernelHeight() - stride) / 2 + k;
                if (o >= 0 && o < height * stride) {
                    addToBin(frame + bin * kernelIn(), tap * kernelHeight() + k,
                             row + o * record_.outChannels);
                }
            }
        }
    }
}

void TransposedRing::addToBin(const float* bin, std::int32_t tap, BoundedSum* out) const {
    const auto& weights = record_.weights.values;
    for (std::int32_t in = 0; in < kernelIn(); ++in) {
        const auto value = static_cast<double>(bin[in]);
        if (depthwise()) {
            out[in].add(valueAt(weights, tap * kernelIn() + in) * value);
            continue;
        }
        for (std::int32_t c = 0; c < kernelOut(); ++c) {
            out[c].add(valueAt(weights, (tap * kernelOut() + c) * kernelIn() + in) * value);
        }
    }
}

void TransposedRing::release(std::int32_t rowLength, std::vector<Frame>& released) {
    for (std::int32_t i = record_.timeStride - readyFrames(); i < record_.timeStride; ++i) {
        const BoundedSum* const row = rowAt(i + counter_);
        Frame frame(row, row + rowLength);
        for (std::int32_t v = 0; !record_.bias.values.empty() && v < rowLength; ++v) {
            frame[static_cast<std::size_t>(v)].add(
                valueAt(record_.bias.values, v % record_.outChannels));
        }
        released.push_back(std::move(frame));
    }
}

void TransposedRing::emptyRows(std::int32_t rowLength) {
    if (kernelFrames() <= record_.timeStride) {
        std::fill(ring_.begin(), ring_.end(), BoundedSum{});
        return;
    }
    for (std::int32_t i = 0; i < record_.timeStride; ++i) {
        std::fill_n(rowAt(i + kernelFrames() + counter_), rowLength, BoundedSum{});
    }
}

void TransposedRing::reset() {
    std::fill(ring_.begin(), ring_.end(), BoundedSum{});
    counter_ = 0;
}

}  // namespace vorun::test
