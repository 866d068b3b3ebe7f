#include "neural/GraphTools.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <stdexcept>

#include "neural/MemoryStream.h"

namespace vorun::test {

FloatTensor makeTensor(std::vector<std::int32_t> shape, const std::vector<float>& values) {
    FloatTensor tensor(std::move(shape));
    if (values.size() != static_cast<std::size_t>(tensor.volume())) {
        throw std::logic_error("values do not fit the shape");
    }
    std::copy(values.begin(), values.end(), tensor.data());
    return tensor;
}

FloatTensor countingTensor(std::vector<std::int32_t> shape, float base) {
    FloatTensor tensor(std::move(shape));
    std::iota(tensor.data(), tensor.data() + tensor.volume(), base + 1.0F);
    return tensor;
}

std::vector<float> valuesOf(const FloatTensor& tensor) {
    return {tensor.readData(), tensor.readData() + tensor.volume()};
}

writer::ConvRecord convRecord(std::vector<std::int32_t> shape, std::vector<float> weights,
                              const std::vector<float>& bias) {
    writer::ConvRecord record;
    record.weights = {std::move(shape), std::move(weights)};
    if (!bias.empty()) {
        record.bias = {{static_cast<std::int32_t>(bias.size())}, bias};
    }
    return record;
}

writer::ConvRecord uniformConv(std::vector<std::int32_t> shape, float weight) {
    const std::int32_t volume =
        std::accumulate(shape.begin(), shape.end(), std::int32_t{1}, std::multiplies<>());
    return convRecord(std::move(shape),
                      std::vector<float>(static_cast<std::size_t>(volume), weight));
}

bool loads(const std::vector<std::uint8_t>& bytes) {
    NeuralModel<float> model;
    return model.Load(std::make_shared<MemoryStream>(bytes));
}

bool loads(const writer::ModelWriter& writer) {
    return loads(writer.bytes());
}

NeuralModel<float> loadedModel(const std::vector<std::uint8_t>& bytes) {
    NeuralModel<float> model;
    if (!model.Load(std::make_shared<MemoryStream>(bytes))) {
        throw std::runtime_error("the model does not load");
    }
    return model;
}

NeuralModel<float> loadedModel(const writer::ModelWriter& writer) {
    return loadedModel(writer.bytes());
}

std::shared_ptr<FloatLayer> layerNamed(const NeuralModel<float>& model, const std::string& name) {
    return layerOf<float>(model.layers.at(name));
}

FloatTensor evaluate(NeuralModel<float>& model, const FloatTensor& input) {
    model.input->AddTensor(input, nullptr);
    return model.output->TakeResult();
}

}  // namespace vorun::test
