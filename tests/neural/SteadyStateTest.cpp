#include <cstdint>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::FloatLayer;
using test::FloatTensor;
using test::layerNamed;
using test::loadedModel;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;

constexpr int settlingFrames = 8;
constexpr int countedFrames = 50;

/** What a layer must not do: keeps every tensor that it is given. */
class HoardingLayer : public FloatLayer {
  public:
    bool AddTensor(const FloatTensor& input, const FloatLayer* /*source*/) override {
        hoard_.push_back(input);
        return false;
    }

  private:
    std::vector<FloatTensor> hoard_;
};

ConvRecord conv(std::vector<std::int32_t> shape) {
    return test::uniformConv(std::move(shape), 0.1F);
}

/** Convolutions and every activation in a row, from one channel over four to one. */
NeuralModel<float> chainModel() {
    ConvRecord first = conv({3, 3, 1, 4});
    first.timeDilation = 2;
    ModelWriter file;
    file.addConv("first", "input", first)
        .addActivation("relu", "first", LayerType::relu)
        .addConv("depthwise", "relu", conv({2, 3, 1, 4}))
        .addActivation("elu", "depthwise", LayerType::elu)
        .addLeakyRelu("leaky", "elu", 0.1F)
        .addActivation("softplus", "leaky", LayerType::softplus)
        .addConv("last", "softplus", conv({1, 1, 4, 1}))
        .addActivation("hard", "last", LayerType::hardSigmoid)
        .addActivation("sigmoid", "hard", LayerType::sigmoid)
        .setOutputSource("sigmoid");
    return loadedModel(file);
}

writer::TensorBlock block(std::vector<std::int32_t> shape) {
    return test::uniformConv(std::move(shape), 0.1F).weights;
}

/** Every other layer that takes no block for a frame, in a row: 16 bins of one channel. */
NeuralModel<float> mixingModel(std::int8_t lookahead) {
    ModelWriter file;
    file.addPreNorm("level", "input", block({4}))
        .addConv("wide", "level", conv({1, 1, 1, 4}))
        .addTwoTensors("norm", "wide", LayerType::norm, block({4}), block({4}))
        .addTwoTensors("smooth", "norm", LayerType::separableChannelConv, block({3}), block({3}))
        .addSelfAttention("attention", "smooth",
                          {block({4, 4}), block({16, 4}), lookahead, block({3, 4})})
        .addTwoTensors("dense", "attention", LayerType::dense, block({16, 16, 4}), block({16, 4}))
        .addConv("narrow", "dense", conv({1, 1, 4, 1}))
        .setOutputSource("narrow");
    return loadedModel(file);
}

/** An encoder, a decoder that keeps `timeStride` frames a tick, and nothing else. */
NeuralModel<float> decoderModel(std::int8_t timeStride) {
    ConvRecord encoder = conv({1, 1, 1, 2});
    encoder.timeStride = timeStride;
    writer::TransposedConvRecord decoder;
    decoder.weights = block({3, 2, 1, 2});
    decoder.timeStride = timeStride;
    ModelWriter file;
    file.addConv("encoder", "input", encoder)
        .addTransposedConv("decoder", "encoder", decoder)
        .setOutputSource("decoder");
    return loadedModel(file);
}

/** Two branches and a join of them. */
NeuralModel<float> joinModel(LayerType type) {
    ModelWriter file;
    file.addConv("a", "input", conv({2, 1, 1, 1})).addConv("b", "input", conv({3, 1, 1, 1}));
    if (type == LayerType::concat) {
        file.addConcat("join", {"a", "b"});
    } else {
        file.addArithmetic("join", {"a", "b"}, 2);
    }
    file.addActivation("last", "join", LayerType::relu).setOutputSource("last");
    return loadedModel(file);
}

/** Tensor blocks that the layers take while the counted frames run, without the results' own. */
std::uint64_t blocksOfLayers(NeuralModel<float>& model, const FloatTensor& input) {
    for (int i = 0; i < settlingFrames; ++i) {
        model.input->AddTensor(input, nullptr);
        model.output->TakeResult();
    }
    std::uint64_t blocks = 0;
    for (int i = 0; i < countedFrames; ++i) {
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        model.input->AddTensor(input, nullptr);
        blocks += TensorData<float>::blocksAllocated() - before;
        EXPECT_GT(model.output->TakeResult().volume(), 0);
    }
    return blocks;
}

TEST(SteadyState, LayersTakeNoBlockForAFrame) {
    NeuralModel<float> model = chainModel();
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), 0U);
}

TEST(SteadyState, MixingLayersTakeNoBlockForAFrame) {
    for (const std::int8_t lookahead : std::vector<std::int8_t>{0, 2}) {
        NeuralModel<float> model = mixingModel(lookahead);
        EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), 0U);
        EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 12, 1})), 0U);
    }
}

TEST(SteadyState, ResetOfMixingLayersTakesNoBlockBeyondTheSmoothedFrames) {
    NeuralModel<float> model = mixingModel(0);
    const FloatTensor input = countingTensor({1, 16, 1});
    blocksOfLayers(model, input);
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    model.Reset();
    model.input->AddTensor(input, nullptr);
    model.input->AddTensor(input, nullptr);
    // A reset of the separable filter gives its scratch frame away.
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before + 1);
}

TEST(SteadyState, ADecoderTakesNoBlockForAFrameThatGoesOutAtOnce) {
    NeuralModel<float> model = decoderModel(1);
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), 0U);
}

TEST(SteadyState, ADecoderTakesABlockForEachFrameThatWaits) {
    // Of each group one frame goes out at once; the first of the next finds the last one's block.
    for (const std::int8_t stride : std::vector<std::int8_t>{2, 5}) {
        NeuralModel<float> model = decoderModel(stride);
        const std::uint64_t blocks = blocksOfLayers(model, countingTensor({1, 16, 1}));
        EXPECT_EQ(blocks, countedFrames / stride * (stride - 1)) << int{stride};
    }
}

TEST(SteadyState, JoinsTakeABlockForEachFrameThatFindsAnotherInAQueue) {
    // The first frame of a pair finds the queues empty, and the scratch block its own again.
    const FloatTensor input = countingTensor({1, 16, 1});
    NeuralModel<float> concat = joinModel(LayerType::concat);
    EXPECT_EQ(blocksOfLayers(concat, input), countedFrames);
    // Arithmetic works on a copy of its first input.
    NeuralModel<float> arithmetic = joinModel(LayerType::arithmetic);
    EXPECT_EQ(blocksOfLayers(arithmetic, input), 2U * countedFrames);
}

TEST(SteadyState, SmallerFramesTakeNoBlockEither) {
    NeuralModel<float> model = chainModel();
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), 0U);
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 12, 1})), 0U);
}

TEST(SteadyState, CounterSeesAConsumerThatHoldsItsTensors) {
    NeuralModel<float> model = chainModel();
    HoardingLayer hoarder;
    layerNamed(model, "elu")->consumers.push_back(&hoarder);
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), countedFrames);
}

TEST(SteadyState, ResultsThatWaitCostTheLastLayerABlockEach) {
    NeuralModel<float> model = chainModel();
    const FloatTensor input = countingTensor({1, 16, 1});
    blocksOfLayers(model, input);
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    for (int i = 0; i < 5; ++i) {
        model.input->AddTensor(input, nullptr);
    }
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before + 4);
}

TEST(SteadyState, ResetTakesNoBlock) {
    NeuralModel<float> model = chainModel();
    const FloatTensor input = countingTensor({1, 16, 1});
    blocksOfLayers(model, input);
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    model.Reset();
    model.input->AddTensor(input, nullptr);
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before);
}

TEST(SteadyState, TakingAResultCostsOneBlock) {
    NeuralModel<float> model = chainModel();
    model.input->AddTensor(countingTensor({1, 16, 1}), nullptr);
    const std::uint64_t before = TensorData<float>::blocksAllocated();
    const FloatTensor result = model.output->TakeResult();
    EXPECT_EQ(TensorData<float>::blocksAllocated(), before + 1);
    EXPECT_EQ(result.volume(), 16);
}

}  // namespace
}  // namespace vorun
