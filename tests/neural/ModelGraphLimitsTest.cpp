#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "neural/GraphTools.h"

namespace vorun {
namespace {

using test::evaluate;
using test::layerNamed;
using test::loadedModel;
using test::loads;
using test::makeTensor;
using test::valuesOf;
using testing::ElementsAre;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelWriter;

ModelWriter reluChain(int length) {
    ModelWriter file;
    std::string previous = "input";
    for (int i = 0; i < length; ++i) {
        const std::string name = "layer " + std::to_string(i);
        file.addActivation(name, previous, LayerType::relu);
        previous = name;
    }
    file.setOutputSource(previous);
    return file;
}

TEST(ModelGraph, SecondLayerOfANameIsRefused) {
    ModelWriter file;
    file.addActivation("a", "input", LayerType::relu).addActivation("a", "input", LayerType::relu);
    EXPECT_FALSE(loads(file));
    ModelWriter fedByItsNamesake;
    fedByItsNamesake.addActivation("a", "input", LayerType::relu)
        .addActivation("a", "a", LayerType::relu);
    EXPECT_FALSE(loads(fedByItsNamesake));
}

TEST(ModelGraph, LayerMayTakeTheNameOfTheInputAndFeedsWhoNamesItThen) {
    ModelWriter file;
    file.addLeakyRelu("input", "input", 3.0F);
    file.addLeakyRelu("next", "input", 5.0F);
    file.setOutputSource("next");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(model.input->consumers, ElementsAre(layerNamed(model, "input").get()));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {-1}))), ElementsAre(-15));
    model.Reset();
}

TEST(ModelGraph, SecondLayerWithTheNameOfTheInputIsRefused) {
    ModelWriter file;
    file.addActivation("input", "input", LayerType::relu)
        .addActivation("input", "input", LayerType::relu);
    EXPECT_FALSE(loads(file));
}

TEST(ModelGraph, LayerWithTheNameOfTheOutputIsRefused) {
    ModelWriter file;
    file.addActivation("output", "input", LayerType::relu);
    EXPECT_FALSE(loads(file));
    file.setOutputSource("output");
    EXPECT_FALSE(loads(file));
}

TEST(ModelGraph, EmptyNameIsAName) {
    ModelWriter file;
    file.addLeakyRelu("", "input", 2.0F).setOutputSource("");
    NeuralModel<float> model = loadedModel(file);
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {-1}))), ElementsAre(-2));
}

TEST(ModelGraph, ChainAtTheDepthLimitLoadsAndRuns) {
    NeuralModel<float> model = loadedModel(reluChain(maxGraphDepth));
    EXPECT_THAT(valuesOf(evaluate(model, makeTensor({1, 1, 1}, {4}))), ElementsAre(4));
    EXPECT_EQ(layerNamed(model, "layer 1023")->depth(), maxGraphDepth);
}

TEST(ModelGraph, ChainBeyondTheDepthLimitIsRefused) {
    EXPECT_FALSE(loads(reluChain(maxGraphDepth + 1)));
    EXPECT_FALSE(loads(reluChain(100'000)));
}

TEST(ModelGraph, ManyLayersSideBySideAreNotDeep) {
    ModelWriter file;
    for (int i = 0; i < 2 * maxGraphDepth; ++i) {
        file.addActivation("layer " + std::to_string(i), "input", LayerType::relu);
    }
    EXPECT_TRUE(loads(file));
}

TEST(ModelGraph, LatencyThatOverflowsIsRefused) {
    ConvRecord conv;
    conv.weights = {{1, 1, 1, 1}, {1}};
    conv.timeStride = 127;
    conv.lookahead = 127;
    ModelWriter file;
    std::string previous = "input";
    for (const std::string name : {"a", "b", "c", "d"}) {
        file.addConv(name, previous, conv);
        previous = name;
    }
    // 127 + 127^2 + 127^3 + 127^4 frames still fit 31 bits; a fifth layer's do not.
    EXPECT_EQ(loadedModel(file).latency, 127 + 127 * 127 + 127 * 127 * 127 + 127 * 127 * 127 * 127);
    file.addConv("e", previous, conv);
    EXPECT_FALSE(loads(file));
}

}  // namespace
}  // namespace vorun
