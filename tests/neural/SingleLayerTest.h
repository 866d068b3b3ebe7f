#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "neural/GraphTools.h"

namespace vorun::test {

using Shape = std::vector<std::int32_t>;

/** A model of one layer, named "layer", with a recorder behind it in front of the output. */
class SingleLayerTest : public testing::Test {
  protected:
    void load(writer::ModelWriter& file) {
        file.setOutputSource("layer");
        model_ = loadedModel(file);
        layer().consumers = {&recorder_, model_.output.get()};
    }
    FloatLayer& layer() const { return *layerNamed(model_, "layer"); }
    FloatTensor run(const FloatTensor& input) { return evaluate(model_, input); }
    std::vector<float> run(Shape shape, const std::vector<float>& values) {
        return valuesOf(run(makeTensor(std::move(shape), values)));
    }
    /** One frame of one bin and one channel. */
    std::vector<float> runValue(float value) { return run({1, 1, 1}, {value}); }

    /** Tensor blocks that the layer takes for one more frame, once the first ones have passed. */
    std::uint64_t blocksOfAFrame(const FloatTensor& frame) {
        for (int i = 0; i < 8; ++i) {
            run(frame);
        }
        const std::uint64_t before = TensorData<float>::blocksAllocated();
        layer().AddTensor(frame, nullptr);
        const std::uint64_t after = TensorData<float>::blocksAllocated();
        model_.output->TakeResult();
        return after - before;
    }

    std::vector<std::string> log_;
    RecordingLayer recorder_{"after", log_};
    NeuralModel<float> model_;
};

}  // namespace vorun::test
