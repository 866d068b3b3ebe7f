#include "BenchmarkModel.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>

namespace vorun::benchmarks {
namespace {

class FileInMemory : public BinaryInputStream {
  public:
    explicit FileInMemory(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

    std::uint32_t Read(void* buffer, std::uint32_t count) override {
        const std::uint32_t given =
            std::min(count, static_cast<std::uint32_t>(bytes_.size() - position_));
        std::memcpy(buffer, bytes_.data() + position_, given);
        position_ += given;
        return given;
    }
    bool SetPosition(std::uint64_t position) override {
        position_ = position;
        return position <= bytes_.size();
    }
    std::int64_t GetPosition() override { return static_cast<std::int64_t>(position_); }
    std::int64_t GetSize() override { return static_cast<std::int64_t>(bytes_.size()); }

  private:
    std::vector<std::uint8_t> bytes_;
    std::uint64_t position_ = 0;
};

std::vector<float> randomValues(std::int32_t count, float largest) {
    std::mt19937 engine(1);
    std::uniform_real_distribution<float> distribution(-largest, largest);
    std::vector<float> values(static_cast<std::size_t>(count));
    std::generate(values.begin(), values.end(), [&] { return distribution(engine); });
    return values;
}

}  // namespace

NeuralModel<float> modelOf(const writer::ModelWriter& file) {
    NeuralModel<float> model;
    if (!model.Load(std::make_shared<FileInMemory>(file.bytes()))) {
        throw std::runtime_error("the benchmark's model does not load");
    }
    return model;
}

writer::ConvRecord randomConv(const std::vector<std::int32_t>& shape) {
    writer::ConvRecord record;
    record.weights = {shape, randomValues(checkedVolume(shape), 0.1F)};
    record.bias = {{shape.back()}, randomValues(shape.back(), 0.1F)};
    return record;
}

Tensor<float> randomTensor(const std::vector<std::int32_t>& shape) {
    Tensor<float> tensor(shape);
    const std::vector<float> values = randomValues(tensor.volume(), 1.0F);
    std::copy(values.begin(), values.end(), tensor.data());
    return tensor;
}

}  // namespace vorun::benchmarks
