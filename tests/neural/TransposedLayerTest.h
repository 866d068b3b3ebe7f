#pragma once

#include <utility>
#include <vector>

#include "neural/SingleLayerTest.h"

namespace vorun::test {

/** A transposed convolution with as many output channels as the kernel has; no bias if empty. */
inline writer::TransposedConvRecord transposedRecord(const Shape& shape, std::vector<float> weights,
                                                     const std::vector<float>& bias = {}) {
    writer::TransposedConvRecord record;
    record.weights = {shape, std::move(weights)};
    if (!bias.empty()) {
        record.bias = {{static_cast<std::int32_t>(bias.size())}, bias};
    }
    record.outChannels = static_cast<std::int16_t>(shape.at(2));
    return record;
}

/** A layer in front of a recorder that reaches no output, so that nothing waits for a tick. */
class TransposedLayerTest : public SingleLayerTest {
  protected:
    void load(const writer::TransposedConvRecord& record, std::int32_t version = 4105) {
        writer::ModelHeader header;
        header.version = version;
        writer::ModelWriter file(header);
        file.addTransposedConv("layer", "input", record);
        loadFile(file);
    }
    void load(const writer::TensorBlock& timeKernel, const writer::TensorBlock& heightKernel) {
        writer::ModelWriter file;
        file.addTwoTensors("layer", "input", writer::LayerType::separableChannelConv, timeKernel,
                           heightKernel);
        loadFile(file);
    }
    /** What the layer hands on during one call. */
    std::vector<std::vector<float>> framesAfter(const FloatTensor& input) {
        recorder_.values.clear();
        layer().AddTensor(input, nullptr);
        return recorder_.values;
    }
    std::vector<std::vector<float>> framesAfter(Shape shape, const std::vector<float>& values) {
        return framesAfter(makeTensor(std::move(shape), values));
    }
    std::vector<std::vector<float>> framesAfter(float value) {
        return framesAfter({1, 1, 1}, {value});
    }

  private:
    void loadFile(writer::ModelWriter& file) {
        SingleLayerTest::load(file);
        layer().consumers = {&recorder_};
    }
};

}  // namespace vorun::test
