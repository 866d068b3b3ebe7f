#include <future>
#include <utility>
#include <vector>

#include "restoration/SpectrumCoding.h"
#include "restoration/VorunProcessor.h"

namespace vorun {

namespace {

/**
 * The futures of one frame. None may outlive the frame, not even when an earlier one failed: its
 * task would still be inside a model that the host may reset or delete next.
 */
class FrameTasks {
  public:
    using Outputs = std::vector<ComplexSignal32>;

    FrameTasks() = default;
    FrameTasks(const FrameTasks&) = delete;
    FrameTasks& operator=(const FrameTasks&) = delete;

    ~FrameTasks() {
        for (const auto& future : futures_) {
            if (future.valid()) {
                future.wait();
            }
        }
    }

    void reserve(std::size_t count) { futures_.reserve(count); }
    void add(std::future<Outputs> future) { futures_.push_back(std::move(future)); }
    Outputs take(std::size_t index) { return futures_[index].get(); }

  private:
    std::vector<std::future<Outputs>> futures_;
};

}  // namespace

void VorunProcessor::evaluateInTurn(const ComplexSignal32& modelFrame) {
    std::int32_t frameCounter = 0;
    for (NeuralModel<float>& model : models_) {
        enqueueOutputs(frameCounter, model.maskCount, evaluateModel(model, modelFrame));
    }
}

void VorunProcessor::evaluateOnPool(const ComplexSignal32& modelFrame) {
    FrameTasks tasks;
    tasks.reserve(models_.size());
    for (std::size_t i = 0; i < models_.size(); ++i) {
        tasks.add(pool_->Enqueue(
            [this, i, modelFrame] { return evaluateModel(models_[i], modelFrame); }));
    }
    std::int32_t frameCounter = 0;
    for (std::size_t i = 0; i < models_.size(); ++i) {
        enqueueOutputs(frameCounter, models_[i].maskCount, tasks.take(i));
    }
}

}  // namespace vorun
