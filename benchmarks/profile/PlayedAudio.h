#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vorun/vorun.h"

namespace vorun::benchmarks {

/** A processor of one channel at 48 kHz, driven as vorun-restore drives it. */
class PlayedAudio {
  public:
    static constexpr double sampleRate = 48000.0;

    /** Throws std::runtime_error if the model is refused or `blockSamples` is below 1. */
    PlayedAudio(const std::string& modelPath, std::int32_t blockSamples);
    ~PlayedAudio();
    PlayedAudio(const PlayedAudio&) = delete;
    PlayedAudio& operator=(const PlayedAudio&) = delete;

    /** Pushes the next block of a noisy stream without end, and pulls all that is ready. */
    void runBlock();

  private:
    ProcessorHandle handle_ = nullptr;
    std::vector<float> stream_;
    std::size_t position_ = 0;
    std::int32_t blockSamples_;
    std::vector<float> restored_;
};

}  // namespace vorun::benchmarks
