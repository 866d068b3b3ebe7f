#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorun::benchmarks {

/** One mono stream from one rate to another. */
class StreamResampler {
  public:
    StreamResampler() = default;
    virtual ~StreamResampler() = default;
    StreamResampler(const StreamResampler&) = delete;
    StreamResampler& operator=(const StreamResampler&) = delete;

    /** Takes `count` samples, at most a second of them, and appends what is ready to `output`. */
    virtual void process(const float* input, std::size_t count, std::vector<float>& output) = 0;
};

struct ResamplerKind {
    std::string name;
    std::function<std::unique_ptr<StreamResampler>(int inputRate, int outputRate)> make;
};

/** This engine's resampler first, then those of the packages that were found. */
std::vector<ResamplerKind> resamplerKinds();

}  // namespace vorun::benchmarks
