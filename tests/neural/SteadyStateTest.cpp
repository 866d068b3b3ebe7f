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

/** Tensor blocks that the layers take while the counted frames run, without the results' own. */
std::uint64_t blocksOfLayers(NeuralModel<float>& model, const FloatTensor& input) {
    for (int i = 0; i < settlingFrames; ++i) {
        model.input->AddTensor(input, nullptr);
        model.output->TakeResult();
    }
    std::uint64_t blocks = 0;
    for (int i = 0; i < countedFrames; ++i) {
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        EXPECT_TRUE(model.input->AddTensor(input, nullptr));
        blocks += TensorData<float>::blocksAllocated() - before;
        model.output->TakeResult();
    }
    return blocks;
}

TEST(SteadyState, LayersTakeNoBlockForAFrame) {
    NeuralModel<float> model = chainModel();
    EXPECT_EQ(blocksOfLayers(model, countingTensor({1, 16, 1})), 0U);
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
