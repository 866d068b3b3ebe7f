#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "neural/Dice.h"
#include "neural/GraphTools.h"
#include "neural/NaiveConvolution.h"

namespace vorun {
namespace {

using test::BoundedSum;
using test::Dice;
using test::evaluate;
using test::FloatTensor;
using test::framesOf;
using test::modelOf;
using test::NaiveConvolution;
using test::naiveOutput;

constexpr std::uint32_t seeds = 400;

NaiveConvolution randomConvolution(Dice& dice) {
    NaiveConvolution conv;
    conv.kernelFrames = dice.roll(1, 4);
    conv.kernelHeight = dice.roll(1, 5);
    conv.channels = dice.roll(1, 4);
    const bool depthwise = dice.roll(0, 2) == 0;
    conv.kernelIn = depthwise ? 1 : conv.channels;
    conv.kernelOut = depthwise ? conv.channels * dice.roll(1, 3) : dice.roll(1, 9);
    conv.timeStride = dice.roll(1, 3);
    conv.heightStride = dice.roll(1, 4);
    conv.timeDilation = dice.roll(0, 3);
    conv.lookahead = dice.roll(-3, 5);
    conv.height = dice.roll(1, 9);
    conv.weights =
        dice.values(conv.kernelFrames * conv.kernelHeight * conv.kernelIn * conv.kernelOut);
    if (dice.roll(0, 1) == 0) {
        conv.bias = dice.values(conv.kernelOut);
    }
    conv.stream = dice.values(dice.roll(8, 20) * conv.height * conv.channels);
    return conv;
}

/** Compares `result` with the frames that input frames `first` to `first + count - 1` give. */
void expectNaive(const NaiveConvolution& conv, std::int32_t first, std::int32_t count,
                 const FloatTensor& result) {
    const float* actual = result.readData();
    std::int32_t given = 0;
    for (std::int32_t t = first; t < first + count; ++t) {
        if (!conv.givesOutput(t)) {
            continue;
        }
        ++given;
        ASSERT_GE(result.dim(0), given) << "frame " << t;
        ASSERT_EQ(result.dim(1), conv.outHeight());
        ASSERT_EQ(result.dim(2), conv.kernelOut);
        for (std::int32_t o = 0; o < conv.outHeight(); ++o) {
            for (std::int32_t c = 0; c < conv.kernelOut; ++c) {
                const BoundedSum expected = naiveOutput(conv, t, o, c);
                ASSERT_LE(std::fabs(static_cast<double>(*actual++) - expected.value),
                          expected.singleErrorBound())
                    << "frame " << t << " bin " << o << " channel " << c;
            }
        }
    }
    ASSERT_EQ(result.dim(0), given);
}

TEST(ConvLayerAgainstNaiveForm, OneFrameAtATime) {
    for (std::uint32_t seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const NaiveConvolution conv = randomConvolution(dice);
        NeuralModel<float> model = modelOf(conv);
        for (std::int32_t t = 0; t < conv.frames(); ++t) {
            expectNaive(conv, t, 1, evaluate(model, framesOf(conv, t, 1)));
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(ConvLayerAgainstNaiveForm, SeveralFramesAtATime) {
    for (std::uint32_t seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const NaiveConvolution conv = randomConvolution(dice);
        if (conv.depthwise() && conv.kernelOut != conv.channels) {
            continue;  // Such a layer is fed one frame at a time.
        }
        NeuralModel<float> model = modelOf(conv);
        for (std::int32_t t = 0; t < conv.frames();) {
            const std::int32_t count = std::min(dice.roll(1, 5), conv.frames() - t);
            expectNaive(conv, t, count, evaluate(model, framesOf(conv, t, count)));
            if (HasFatalFailure()) {
                return;
            }
            t += count;
        }
    }
}

TEST(ConvLayerAgainstNaiveForm, ResetStartsTheStreamAnew) {
    for (std::uint32_t seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const NaiveConvolution conv = randomConvolution(dice);
        NeuralModel<float> model = modelOf(conv);
        for (std::int32_t t = 0; t < dice.roll(1, 7); ++t) {
            evaluate(model, framesOf(conv, conv.frames() - 1, 1));
        }
        model.Reset();
        for (std::int32_t t = 0; t < conv.frames(); ++t) {
            expectNaive(conv, t, 1, evaluate(model, framesOf(conv, t, 1)));
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

}  // namespace
}  // namespace vorun
