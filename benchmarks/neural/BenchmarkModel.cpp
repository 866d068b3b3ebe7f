#include "BenchmarkModel.h"

#include <algorithm>
#include <cstring>
#include <memory>
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

}  // namespace

NeuralModel<float> modelOf(const writer::ModelWriter& file) {
    NeuralModel<float> model;
    if (!model.Load(std::make_shared<FileInMemory>(file.bytes()))) {
        throw std::runtime_error("the benchmark's model does not load");
    }
    return model;
}

Tensor<float> randomTensor(const std::vector<std::int32_t>& shape) {
    Tensor<float> tensor(shape);
    const std::vector<float> values = randomValues(static_cast<std::size_t>(tensor.volume()), 1.0F);
    std::copy(values.begin(), values.end(), tensor.data());
    return tensor;
}

writer::TensorBlock randomBlock(const std::vector<std::int32_t>& shape) {
    std::size_t volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= static_cast<std::size_t>(dimension);
    }
    return {shape, randomValues(volume, 0.1F)};
}

void runFrames(benchmark::State& state, writer::ModelWriter& file, const Tensor<float>& frame,
               std::int64_t multiplyAdds, std::int32_t ticks) {
    NeuralModel<float> model = modelOf(file.setOutputSource("layer"));
    for (auto step : state) {
        model.input->AddTensor(frame, nullptr);
        for (std::int32_t i = 0; i < ticks; ++i) {
            model.input->SkipFrame();
        }
        benchmark::DoNotOptimize(model.output->TakeResult());
    }
    state.counters["multiply_adds/s"] = benchmark::Counter(
        static_cast<double>(multiplyAdds), benchmark::Counter::kIsIterationInvariantRate);
    state.SetItemsProcessed(state.iterations());
}

}  // namespace vorun::benchmarks
