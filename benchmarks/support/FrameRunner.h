#pragma once

#include <span>

namespace vorun::benchmarks {

/** Something that runs a network over a stream, one frame at a time. */
class FrameRunner {
  public:
    FrameRunner() = default;
    FrameRunner(const FrameRunner&) = delete;
    FrameRunner& operator=(const FrameRunner&) = delete;
    virtual ~FrameRunner() = default;

    /** `frame` holds the network's input, channels fastest. */
    virtual void run(const float* frame) = 0;

    /** What the last frame gave, channels fastest. */
    virtual std::span<const float> result() const = 0;
};

}  // namespace vorun::benchmarks
