#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "neural/NeuralModel.h"
#include "support/ModelWriter.h"

namespace vorun::test {

using FloatTensor = Tensor<float>;
using FloatLayer = BaseLayer<float>;

FloatTensor makeTensor(std::vector<std::int32_t> shape, const std::vector<float>& values);
/** 1, 2, 3 and so on, plus `base`. */
FloatTensor countingTensor(std::vector<std::int32_t> shape, float base = 0.0F);
std::vector<float> valuesOf(const FloatTensor& tensor);

/** A convolution of that kernel; without a bias it has none. */
writer::ConvRecord convRecord(std::vector<std::int32_t> shape, std::vector<float> weights,
                              const std::vector<float>& bias = {});
/** A convolution whose weights are all the same, without a bias. */
writer::ConvRecord uniformConv(std::vector<std::int32_t> shape, float weight);

/** Whether a new model loads the bytes. */
bool loads(const std::vector<std::uint8_t>& bytes);
bool loads(const writer::ModelWriter& writer);
/** A model with those bytes loaded; throws std::runtime_error if they do not load. */
NeuralModel<float> loadedModel(const std::vector<std::uint8_t>& bytes);
NeuralModel<float> loadedModel(const writer::ModelWriter& writer);
/** The layer of that name. */
std::shared_ptr<FloatLayer> layerNamed(const NeuralModel<float>& model, const std::string& name);
/** One evaluation. */
FloatTensor evaluate(NeuralModel<float>& model, const FloatTensor& input);

/** Writes what happens to it into a log that several layers can share; keeps nothing else. */
class RecordingLayer : public FloatLayer {
  public:
    RecordingLayer(std::string name, std::vector<std::string>& log, bool result = false)
        : name_(std::move(name)), log_(log), result_(result) {}

    bool AddTensor(const FloatTensor& input, const FloatLayer* source) override {
        log_.push_back(name_ + " tensor");
        values.push_back(valuesOf(input));
        shapes.push_back(input.shape());
        lastInput = &input;
        lastSource = source;
        return PropagateToConsumers(input, this) || result_;
    }
    void ResetState() override { log_.push_back(name_ + " reset"); }
    std::int32_t GetLatency(std::int32_t scale) override {
        return BaseLayer::GetLatency(scale) + ownLatency * scale;
    }
    void SkipFrame() override {
        log_.push_back(name_ + " tick");
        BaseLayer::SkipFrame();
    }

    std::vector<std::vector<float>> values;
    std::vector<std::vector<std::int32_t>> shapes;
    const FloatTensor* lastInput = nullptr;
    const FloatLayer* lastSource = nullptr;
    std::int32_t ownLatency = 0;

  private:
    std::string name_;
    std::vector<std::string>& log_;
    bool result_;
};

}  // namespace vorun::test
