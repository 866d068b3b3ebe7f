#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/SampleQueue.h"
#include "restoration/VorunProcessor.h"
#include "vorun/export.h"

namespace vorun {

/**
 * The object behind a ProcessorHandle: a processor and the queue that decouples how much the host
 * pushes from how much it may pull. One thread at a time, but for the bus values of the processor.
 */
class ProcessorState {
  public:
    /** Loads the models and frames the stream; false means that this object is of no use. */
    bool create(const std::vector<std::string>& modelPaths, std::int32_t numChannels,
                double sampleRate);

    /** Runs a block of numInputChannels channels and queues what became ready. */
    void addAudio(const Signal32& block);

    /** Takes samples out of the queue; false, and nothing taken, if fewer are pending. */
    bool getAudio(std::int32_t numSamples, Signal32& block);

    void reset();

    /** Exported under its decorated name too; the same as vorunGetParameterRange(). */
    VORUN_API void getParameterRange(std::int32_t id, float* minValue, float* maxValue);

    std::int32_t numInputChannels = 0;
    std::int32_t numOutputChannels = 0;
    VorunProcessor processor;
    SampleQueue outputQueue;
};

}  // namespace vorun
