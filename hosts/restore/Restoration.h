#pragma once

#include <cstdint>

#include "restore/AudioInput.h"
#include "restore/AudioOutput.h"
#include "restore/Processor.h"
#include "restore/Progress.h"

namespace vorun::restore {

/**
 * Streams a whole recording through a processor.
 *
 * The engine never flushes, so silence is pushed behind the last sample until as many samples have
 * come out as went in. Output sample k is input sample k; what the silence itself gives is dropped.
 */
class Restoration {
  public:
    Restoration(AudioInput& input, AudioOutput& output, Processor& processor, Progress& progress,
                std::int32_t blockSamples);

    /** @throws HostError of the files, for an interruption, and when the model holds audio back. */
    void run();

    /** Samples of each channel that were read, and written. */
    std::int64_t samples() const { return samplesRead_; }

  private:
    void pushInput();
    void pushSilence();
    void drain();
    void checkDelay() const;

    AudioInput& input_;
    AudioOutput& output_;
    Processor& processor_;
    Progress& progress_;
    std::int32_t blockSamples_;
    std::int64_t latency_;
    std::int64_t samplesRead_ = 0;
    std::int64_t samplesPushed_ = 0;
    std::int64_t samplesWritten_ = 0;
};

}  // namespace vorun::restore
