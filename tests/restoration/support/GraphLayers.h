#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "neural/BaseLayer.h"
#include "neural/NeuralModel.h"

namespace vorun::test {

/** A layer made by hand: whatever the test wants to happen when a tensor arrives. */
class ActionLayer : public BaseLayer<float> {
  public:
    using Action = std::function<bool(ActionLayer&, const Tensor<float>&)>;

    explicit ActionLayer(Action action) : action_(std::move(action)) {}

    bool AddTensor(const Tensor<float>& input, const BaseLayer<float>*) override {
        return action_(*this, input);
    }

  private:
    Action action_;
};

/** Puts a layer between a model's input and what the input feeds. */
inline void putBehindInput(NeuralModel<float>& model, ActionLayer::Action action) {
    auto layer = std::make_shared<ActionLayer>(std::move(action));
    layer->consumers = model.input->consumers;
    model.input->consumers = {layer.get()};
    model.layers["made by hand " + std::to_string(model.layers.size())] =
        std::shared_ptr<BaseLayer<float>>(layer);
}

}  // namespace vorun::test
