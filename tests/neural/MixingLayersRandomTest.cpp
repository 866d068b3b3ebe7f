#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "neural/Dice.h"
#include "neural/GraphTools.h"
#include "neural/NaiveMixing.h"

namespace vorun {
namespace {

using test::BoundedSum;
using test::BoundedValue;
using test::Dice;
using test::evaluate;
using test::FloatTensor;
using test::loadedModel;
using test::makeTensor;
using test::NaiveDense;
using test::NaiveNorm;
using test::NaivePreNorm;
using test::NaiveSelfAttention;
using test::NaiveStream;
using writer::LayerType;
using writer::ModelWriter;
using writer::TensorBlock;

constexpr std::uint32_t seeds = 400;

NaiveStream randomStream(Dice& dice, std::int32_t maxHeight, std::int32_t maxChannels) {
    NaiveStream stream{dice.roll(1, maxHeight), dice.roll(1, maxChannels), {}};
    stream.values = dice.values(dice.roll(6, 16) * stream.frameVolume());
    return stream;
}

/** A layer on its stream, as a model and as its formula. */
struct Case {
    NaiveStream stream;
    /** Frames without output at the start. */
    std::int32_t swallowed = 0;
    bool takesSeveralFrames = true;
    ModelWriter file;
    /** Of frame, bin and channel. */
    std::function<BoundedValue(std::int32_t, std::int32_t, std::int32_t)> expected;
};

/** The formula's sums with the bound that goes with them. */
template <class Naive>
void expectSums(Case& test, const Naive& naive) {
    test.expected = [naive](std::int32_t t, std::int32_t bin, std::int32_t channel) {
        const BoundedSum sum = naive.output(t, bin, channel);
        return BoundedValue{sum.value, sum.singleErrorBound()};
    };
}

TensorBlock blockOf(std::vector<std::int32_t> shape, const std::vector<float>& values) {
    return values.empty() ? TensorBlock{} : TensorBlock{std::move(shape), values};
}

Case denseCase(Dice& dice) {
    NaiveDense dense{randomStream(dice, 7, 5), {}, {}};
    const std::int32_t height = dense.stream.height;
    const std::int32_t channels = dense.stream.channels;
    dense.weights = dice.values(height * height * channels);
    dense.bias = dice.values(dice.roll(0, 1) * height * channels);
    Case test;
    test.stream = dense.stream;
    test.file.addTwoTensors("layer", "input", LayerType::dense,
                            blockOf({height, height, channels}, dense.weights),
                            blockOf({height, channels}, dense.bias));
    expectSums(test, dense);
    return test;
}

Case normCase(Dice& dice) {
    NaiveNorm norm{randomStream(dice, 6, 9), {}, {}};
    const std::int32_t channels = norm.stream.channels;
    norm.offset = dice.values(channels);
    norm.scale = dice.values(channels);
    Case test;
    test.stream = norm.stream;
    test.file.addTwoTensors("layer", "input", LayerType::norm, blockOf({channels}, norm.offset),
                            blockOf({channels}, norm.scale));
    expectSums(test, norm);
    return test;
}

Case preNormCase(Dice& dice) {
    NaivePreNorm preNorm{randomStream(dice, 9, 5), {}};
    preNorm.weights = dice.values(dice.roll(1, 7), 0.01F);
    // Levels that change, over more than a factor of a thousand.
    const std::int32_t frameVolume = preNorm.stream.frameVolume();
    for (std::int32_t t = 0; t < preNorm.stream.frames(); ++t) {
        const float gain = std::ldexp(1.0F, dice.roll(-6, 6));
        const auto frame = preNorm.stream.values.begin() + t * frameVolume;
        std::for_each(frame, frame + frameVolume, [gain](float& value) { value *= gain; });
    }
    Case test;
    test.stream = preNorm.stream;
    test.file.addPreNorm(
        "layer", "input",
        blockOf({static_cast<std::int32_t>(preNorm.weights.size())}, preNorm.weights));
    test.expected = [preNorm](std::int32_t t, std::int32_t bin, std::int32_t channel) {
        return preNorm.output(t, bin, channel);
    };
    return test;
}

Case selfAttentionCase(Dice& dice) {
    NaiveSelfAttention attention{randomStream(dice, 5, 6), {}, {}, {}, 0};
    const std::int32_t height = attention.stream.height;
    const std::int32_t channels = attention.stream.channels;
    attention.projection = dice.values(channels * channels);
    attention.bias = dice.values(height * channels);
    attention.window = dice.values(dice.roll(0, 6) * channels);
    attention.lookahead = std::max(0, dice.roll(-3, 4));
    Case test;
    test.stream = attention.stream;
    test.swallowed = attention.lookahead;
    test.takesSeveralFrames = attention.lookahead == 0;
    test.file.addSelfAttention(
        "layer", "input",
        {blockOf({channels, channels}, attention.projection),
         blockOf({height, channels}, attention.bias), static_cast<std::int8_t>(attention.lookahead),
         blockOf({attention.windowLength(), channels}, attention.window)});
    expectSums(test, attention);
    return test;
}

FloatTensor framesOf(const NaiveStream& stream, std::int32_t first, std::int32_t count) {
    const auto begin = stream.values.begin() + first * stream.frameVolume();
    return makeTensor({count, stream.height, stream.channels},
                      {begin, begin + count * stream.frameVolume()});
}

/** Runs `count` frames from frame `first` on and compares what they give. */
void expectNaive(const Case& test, NeuralModel<float>& model, std::int32_t first,
                 std::int32_t count) {
    const FloatTensor result = evaluate(model, framesOf(test.stream, first, count));
    const std::int32_t given = first < test.swallowed ? 0 : count;
    ASSERT_EQ(result.dim(0), given) << "frame " << first;
    const float* actual = result.readData();
    for (std::int32_t t = first; t < first + given; ++t) {
        for (std::int32_t bin = 0; bin < test.stream.height; ++bin) {
            for (std::int32_t channel = 0; channel < test.stream.channels; ++channel) {
                const BoundedValue expected = test.expected(t, bin, channel);
                ASSERT_LE(std::fabs(static_cast<double>(*actual++) - expected.value),
                          expected.bound)
                    << "frame " << t << " bin " << bin << " channel " << channel;
            }
        }
    }
}

struct LayerCases {
    const char* name;
    Case (*make)(Dice& dice);
};

class MixingLayersAgainstNaiveForm : public testing::TestWithParam<LayerCases> {
  protected:
    /** Runs `body` with every seed's case and a model of it, until one fails. */
    template <class Body>
    void forEachSeed(std::uint32_t count, Body&& body) {
        for (std::uint32_t seed = 1; seed <= count && !HasFatalFailure(); ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            Dice dice(seed);
            Case test = GetParam().make(dice);
            NeuralModel<float> model = loadedModel(test.file.setOutputSource("layer"));
            body(test, model, dice);
        }
    }
    static void runOneByOne(const Case& test, NeuralModel<float>& model) {
        for (std::int32_t t = 0; t < test.stream.frames() && !HasFatalFailure(); ++t) {
            expectNaive(test, model, t, 1);
        }
    }
};

TEST_P(MixingLayersAgainstNaiveForm, OneFrameAtATime) {
    forEachSeed(seeds, [](const Case& test, NeuralModel<float>& model, Dice& /*dice*/) {
        runOneByOne(test, model);
    });
}

TEST_P(MixingLayersAgainstNaiveForm, SeveralFramesAtATime) {
    forEachSeed(seeds, [](const Case& test, NeuralModel<float>& model, Dice& dice) {
        for (std::int32_t t = 0; t < test.stream.frames() && !HasFatalFailure();) {
            const std::int32_t most = test.takesSeveralFrames ? 5 : 1;
            const std::int32_t count = std::min(dice.roll(1, most), test.stream.frames() - t);
            expectNaive(test, model, t, count);
            t += count;
        }
    });
}

TEST_P(MixingLayersAgainstNaiveForm, ResetStartsTheStreamAnew) {
    forEachSeed(60, [](const Case& test, NeuralModel<float>& model, Dice& dice) {
        const std::int32_t before = dice.roll(1, 7);
        for (std::int32_t i = 0; i < before; ++i) {
            evaluate(model, framesOf(test.stream, test.stream.frames() - 1, 1));
        }
        model.Reset();
        runOneByOne(test, model);
    });
}

INSTANTIATE_TEST_SUITE_P(Layers, MixingLayersAgainstNaiveForm,
                         testing::Values(LayerCases{"Dense", denseCase},
                                         LayerCases{"Norm", normCase},
                                         LayerCases{"PreNorm", preNormCase},
                                         LayerCases{"SelfAttention", selfAttentionCase}),
                         [](const auto& layer) { return std::string(layer.param.name); });

}  // namespace
}  // namespace vorun
