#pragma once

#include <cstdint>
#include <vector>

#include "support/FrameRunner.h"
#include "support/ReferenceNetwork.h"
#include "vorun/vorun.h"

namespace vorun::benchmarks {

/** A reference network as a host runs it: the exported functions, one frame a call. */
class ReferenceEngine : public FrameRunner {
  public:
    /** Throws std::runtime_error if the model is refused. */
    explicit ReferenceEngine(const ReferenceNetwork& network);
    ~ReferenceEngine() override;

    /** Throws std::runtime_error if the frame gives no result of the network's size. */
    void run(const float* frame) override;
    std::span<const float> result() const override { return result_; }

  private:
    ModelHandle* model_ = nullptr;
    std::int32_t inShape_[3];
    std::vector<float> result_;
};

}  // namespace vorun::benchmarks
