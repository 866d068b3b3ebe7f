#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "neural/Dice.h"
#include "neural/NaiveConvolution.h"
#include "neural/TransposedLayerTest.h"

// Both layers against their definition over the whole stream, in double, without any ring.

namespace vorun {
namespace {

using test::BoundedSum;
using test::Dice;
using test::makeTensor;
using test::TransposedLayerTest;
using writer::TransposedConvRecord;

constexpr std::uint32_t seeds = 400;

double valueAt(const std::vector<float>& values, std::int32_t index) {
    return static_cast<double>(values.at(static_cast<std::size_t>(index)));
}

/** [frames][height][channels] */
struct Stream {
    std::int32_t frames = 0;
    std::int32_t height = 0;
    std::int32_t channels = 0;
    std::vector<float> values;

    std::int32_t frameVolume() const { return height * channels; }
    double at(std::int32_t frame, std::int32_t bin, std::int32_t channel) const {
        return valueAt(values, (frame * height + bin) * channels + channel);
    }
};

Stream randomStream(Dice& dice, std::int32_t channels) {
    Stream stream{dice.roll(4, 14), dice.roll(1, 7), channels, {}};
    stream.values = dice.values(stream.frames * stream.frameVolume());
    return stream;
}

struct Place {
    std::int32_t frame;
    std::int32_t bin;
    std::int32_t channel;
};

BoundedSum naiveTransposed(const TransposedConvRecord& record, const Stream& in, Place out) {
    const auto& kernel = record.weights.shape;
    const bool depthwise = kernel[2] == 1 && record.outChannels != 1;
    BoundedSum sum;
    if (!record.bias.values.empty()) {
        sum.add(valueAt(record.bias.values, out.channel));
    }
    const auto addInput = [&](std::int32_t tap, std::int32_t frame, std::int32_t bin) {
        if (depthwise) {
            if (out.channel < kernel[3]) {
                sum.add(valueAt(record.weights.values, tap * kernel[3] + out.channel) *
                        in.at(frame, bin, out.channel));
            }
        } else if (out.channel < kernel[2]) {
            for (std::int32_t c = 0; c < kernel[3]; ++c) {
                const std::int32_t weight = (tap * kernel[2] + out.channel) * kernel[3] + c;
                sum.add(valueAt(record.weights.values, weight) * in.at(frame, bin, c));
            }
        }
    };
    for (std::int32_t frame = 0; frame < in.frames; ++frame) {
        const std::int32_t timeTap = out.frame - frame * record.timeStride;
        if (timeTap < 0 || timeTap >= kernel[0]) {
            continue;
        }
        for (std::int32_t bin = 0; bin < in.height; ++bin) {
            const std::int32_t first =
                bin * record.heightStride - (kernel[1] - record.heightStride) / 2;
            const std::int32_t heightTap = out.bin - first;
            if (heightTap >= 0 && heightTap < kernel[1]) {
                addInput(timeTap * kernel[1] + heightTap, frame, bin);
            }
        }
    }
    return sum;
}

/** Both filters in one sum. The last time tap weighs the current frame, tap k the k + 1 back. */
struct NaiveSeparable {
    std::vector<float> time;
    std::vector<float> height;

    std::int32_t timeTaps() const { return static_cast<std::int32_t>(time.size()); }
    std::int32_t heightTaps() const { return static_cast<std::int32_t>(height.size()); }

    BoundedSum at(const Stream& in, Place out) const {
        BoundedSum sum;
        for (std::int32_t j = 0; j < heightTaps(); ++j) {
            const std::int32_t bin = out.bin - (j - (heightTaps() - 1) / 2);
            if (bin < 0 || bin >= in.height) {
                continue;
            }
            for (std::int32_t back = 0; back < std::min(timeTaps(), out.frame + 1); ++back) {
                const std::int32_t tap = back == 0 ? timeTaps() - 1 : back - 1;
                sum.add(valueAt(height, j) * valueAt(time, tap) *
                        in.at(out.frame - back, bin, out.channel));
            }
        }
        return sum;
    }
};

class TransposedLayersAgainstNaiveForm : public TransposedLayerTest {
  protected:
    /** The whole stream, `most` frames at a time or fewer; returns what came out. */
    std::vector<std::vector<float>> feed(const Stream& in, Dice& dice, std::int32_t most) {
        recorder_.values.clear();
        recorder_.shapes.clear();
        for (std::int32_t frame = 0; frame < in.frames;) {
            const std::int32_t count = std::min(dice.roll(1, most), in.frames - frame);
            const auto begin = in.values.begin() + frame * in.frameVolume();
            layer().AddTensor(makeTensor({count, in.height, in.channels},
                                         {begin, begin + count * in.frameVolume()}),
                              nullptr);
            frame += count;
        }
        return recorder_.values;
    }

    /** `compute` gives each value of output frames `first` to `last`, which is not one of them. */
    template <class Compute>
    void expectFrames(const std::vector<std::vector<float>>& actual, std::int32_t first,
                      std::int32_t last, const test::Shape& shape, Compute compute) {
        ASSERT_EQ(actual.size(), static_cast<std::size_t>(std::max(last - first, 0)));
        for (std::int32_t frame = first; frame < last; ++frame) {
            const auto index = static_cast<std::size_t>(frame - first);
            ASSERT_EQ(recorder_.shapes.at(index), shape);
            for (std::int32_t i = 0; i < shape[1] * shape[2]; ++i) {
                const BoundedSum expected = compute(Place{frame, i / shape[2], i % shape[2]});
                ASSERT_LE(std::fabs(valueAt(actual[index], i) - expected.value),
                          expected.singleErrorBound())
                    << "frame " << frame << " value " << i;
            }
        }
    }

    /** Runs `check` with the dice of each seed until one fails. */
    template <class Check>
    void forSeeds(Check check) {
        for (std::uint32_t seed = 1; seed <= seeds && !HasFatalFailure(); ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            Dice dice(seed);
            check(dice);
        }
    }
};

TransposedConvRecord randomTransposed(Dice& dice) {
    TransposedConvRecord record;
    const bool depthwise = dice.roll(0, 2) == 0;
    const std::int32_t in = dice.roll(1, 5);
    const std::int32_t kernelOut = depthwise ? 1 : dice.roll(1, 5);
    std::int32_t outChannels = (depthwise ? 2 : kernelOut) + std::max(dice.roll(-2, 2), 0);
    if (kernelOut == 1 && outChannels != 1) {
        outChannels = std::max(outChannels, in);
    }
    record.outChannels = static_cast<std::int16_t>(outChannels);
    record.weights.shape = {dice.roll(1, 5), dice.roll(1, 6), kernelOut, in};
    const auto& kernel = record.weights.shape;
    record.weights.values = dice.values(kernel[0] * kernel[1] * kernel[2] * kernel[3]);
    if (dice.roll(0, 1) == 0) {
        record.bias = {{record.outChannels}, dice.values(record.outChannels)};
    }
    record.timeStride = static_cast<std::int8_t>(dice.roll(1, 4));
    record.heightStride = static_cast<std::int8_t>(dice.roll(1, 4));
    record.lookahead = static_cast<std::int8_t>(dice.roll(-2, 7));
    return record;
}

TEST_F(TransposedLayersAgainstNaiveForm, TransposedConvolution) {
    forSeeds([&](Dice& dice) {
        const TransposedConvRecord record = randomTransposed(dice);
        const Stream in = randomStream(dice, record.weights.shape[3]);
        load(record);
        const std::int32_t dropped = std::max<std::int32_t>(record.lookahead, 0);
        const test::Shape shape = {1, in.height * record.heightStride, record.outChannels};
        for (const std::int32_t most : {1, 5}) {
            expectFrames(feed(in, dice, most), dropped, in.frames * record.timeStride, shape,
                         [&](Place out) { return naiveTransposed(record, in, out); });
            layer().ResetState();
        }
    });
}

TEST_F(TransposedLayersAgainstNaiveForm, SeparableConvolution) {
    forSeeds([&](Dice& dice) {
        const NaiveSeparable kernels{dice.values(dice.roll(1, 7)), dice.values(dice.roll(1, 9))};
        const Stream in = randomStream(dice, dice.roll(1, 4));
        load({{kernels.timeTaps()}, kernels.time}, {{kernels.heightTaps()}, kernels.height});
        const std::int32_t warmup = (kernels.timeTaps() + 1) / 2 - 1;
        for (const std::int32_t most : {1, 5}) {
            expectFrames(feed(in, dice, most), warmup, in.frames, {1, in.height, in.channels},
                         [&](Place out) { return kernels.at(in, out); });
            layer().ResetState();
        }
    });
}

TEST_F(TransposedLayersAgainstNaiveForm, StreamThatAResetCutsLeavesNothingBehind) {
    forSeeds([&](Dice& dice) {
        const TransposedConvRecord record = randomTransposed(dice);
        Stream in = randomStream(dice, record.weights.shape[3]);
        load(record);
        Stream cut = in;
        cut.frames = dice.roll(1, in.frames);
        feed(cut, dice, 3);
        layer().ResetState();
        const test::Shape shape = {1, in.height * record.heightStride, record.outChannels};
        expectFrames(feed(in, dice, 2), std::max<std::int32_t>(record.lookahead, 0),
                     in.frames * record.timeStride, shape,
                     [&](Place out) { return naiveTransposed(record, in, out); });
    });
}

}  // namespace
}  // namespace vorun
