#include "restore/Restoration.h"

#include <algorithm>

#include "restore/HostError.h"
#include "restore/Interruption.h"

namespace vorun::restore {

Restoration::Restoration(AudioInput& input, AudioOutput& output, Processor& processor,
                         Progress& progress, std::int32_t blockSamples)
    : input_(input),
      output_(output),
      processor_(processor),
      progress_(progress),
      blockSamples_(blockSamples),
      latency_(processor.latency()) {}

void Restoration::run() {
    pushInput();
    pushSilence();
}

void Restoration::pushInput() {
    std::vector<float> block;
    for (input_.read(blockSamples_, block); !block.empty(); input_.read(blockSamples_, block)) {
        checkInterruption();
        processor_.push(block);
        const std::size_t count = block.size() / static_cast<std::size_t>(processor_.channels());
        samplesRead_ += static_cast<std::int64_t>(count);
        samplesPushed_ = samplesRead_;
        drain();
        checkDelay();
        progress_.show(samplesWritten_);
    }
}

void Restoration::pushSilence() {
    while (samplesWritten_ < samplesRead_) {
        checkInterruption();
        const std::int64_t missing = samplesRead_ + latency_ - samplesPushed_;
        const auto count = std::clamp<std::int64_t>(missing, 1, blockSamples_);
        processor_.push(std::vector<float>(static_cast<std::size_t>(count) *
                                           static_cast<std::size_t>(processor_.channels())));
        samplesPushed_ += count;
        drain();
        checkDelay();
        progress_.show(samplesWritten_);
    }
    checkInterruption();
}

void Restoration::drain() {
    const std::int64_t wanted = samplesRead_ - samplesWritten_;
    const auto count = std::min<std::int64_t>(processor_.pending(), wanted);
    if (count > 0) {
        output_.write(processor_.pull(static_cast<std::int32_t>(count)));
        samplesWritten_ += count;
    }
}

/** A model that gives fewer frames than it takes would have the engine keep the rest for ever. */
void Restoration::checkDelay() const {
    if (samplesWritten_ < samplesRead_ && samplesPushed_ - samplesWritten_ > latency_) {
        throw HostError(ExitStatus::modelRefused,
                        "the model gives less audio than it takes, and cannot restore a recording");
    }
}

}  // namespace vorun::restore
