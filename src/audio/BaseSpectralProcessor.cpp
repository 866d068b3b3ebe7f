#include "audio/BaseSpectralProcessor.h"

#include <stdexcept>
#include <utility>

#include "audio/SaturatedSize.h"
#include "audio/WindowFunctions.h"
#include "foundation/DenormalGuard.h"
#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

using Wide = std::int64_t;

}  // namespace

std::int32_t BaseSpectralProcessor::getLatency(std::int32_t blockSize) const {
    const Wide hop = hopSize;
    if (hop == 0) {
        return 0;
    }
    // Blocks of whole hops never leave a part of a hop waiting.
    const Wide wholeHops = blockSize % hop == 0 ? 1 : 0;
    return saturatedSize((Wide{synthesisShift} - wholeHops + overlapFrames) * hop);
}

void BaseSpectralProcessor::reset() {
    frames.clear();
    inputQueue.clear();
    if (inputLayout.isConfigured()) {
        // Puts output sample 0 on input sample 0.
        const Wide primer = windowSize - (Wide{synthesisShift} + 1) * hopSize;
        inputQueue.push(Signal32(inputLayout.channelCount(), saturatedSize(primer), 0.0f));
    }
}

void BaseSpectralProcessor::setFrameSizes(std::int32_t newFftSize, std::int32_t newWindowSize,
                                          std::int32_t newHopSize) {
    fftSize = newFftSize;
    windowSize = newWindowSize;
    hopSize = newHopSize;
    updateFrameSizes(newFftSize, newWindowSize, newHopSize);
    reset();
}

void BaseSpectralProcessor::updateFrameSizes(std::int32_t /*newFftSize*/,
                                             std::int32_t /*newWindowSize*/,
                                             std::int32_t /*newHopSize*/) {
    if (!outputLayout.isConfigured()) {
        return;
    }
    if (windowSize < 3 * Wide{hopSize}) {
        buildSymmetricWindows();
    } else {
        buildLowLatencyWindows();
    }
    overlapFrames = 2;
}

// A square-root Hann pair: the squares of two frames at a distance of W / 2 sum to 1.
void BaseSpectralProcessor::buildSymmetricWindows() {
    const float inverseScale = 1.0f / static_cast<float>(fftSize);
    analysisWindow = sqrtHannWindow(inputLayout.channelCount(), windowSize);
    synthesisWindow = sqrtHannWindow(outputLayout.channelCount(), windowSize).scaled(inverseScale);
    synthesisShift = 0;
}

// A long Hann window for analysis. Synthesis takes it out again and puts a Hann window of two hops
// in its place, so that output waits for two hops instead of the whole window. The scale is W, also
// where the frame is padded to a longer transform.
void BaseSpectralProcessor::buildLowLatencyWindows() {
    const Wide twoHops = 2 * Wide{hopSize};
    analysisWindow = hannWindow(1, windowSize);
    synthesisWindow = Signal32(1, windowSize, 0.0f);
    synthesisWindow.writeAt(saturatedSize((windowSize - twoHops) / 2),
                            hannWindow(1, saturatedSize(twoHops)));
    synthesisWindow.divideBy(analysisWindow.scaled(static_cast<float>(windowSize)));
    analysisWindow = analysisWindow.replicated(inputLayout.channelCount());
    synthesisWindow = synthesisWindow.replicated(outputLayout.channelCount());
    synthesisShift = 1;
}

Signal32 BaseSpectralProcessor::process(const Signal32& input) {
    if (windowSize < 1) {
        return input;
    }
    if (hopSize < 1) {
        throw std::runtime_error("frames need a hop of at least one sample");
    }
    inputQueue.push(input);
    while (inputQueue.pendingSamples() >= windowSize) {
        const ComplexSignal32 spectrum = analyseNextFrame();
        const std::list<ComplexSignal32> results = processSpectrum(spectrum);
        frames.splice(frames.end(), synthesise(results));
    }
    return takeFinishedHops();
}

ComplexSignal32 BaseSpectralProcessor::analyseNextFrame() {
    const DenormalGuard guard;
    return fft.forward(takeFrame());
}

// A windowed frame, with zeros in front up to the transform's length.
Signal32 BaseSpectralProcessor::takeFrame() {
    Signal32 frame;
    if (inputQueue.channels() > 0) {
        const std::int32_t padding = saturatedSize(Wide{fftSize} - windowSize);
        if (padding < 0) {
            throw std::runtime_error("window is longer than the transform");
        }
        frame = Signal32(inputQueue.channels(), fftSize);
        frame.fill(0.0f, 0, padding);
        inputQueue.peekWindowed(analysisWindow, padding, frame);
    } else if (windowSize != fftSize) {
        frame = Signal32(0, fftSize);
    }
    inputQueue.discard(hopSize);
    return frame;
}

std::list<Signal32> BaseSpectralProcessor::synthesise(const std::list<ComplexSignal32>& spectra) {
    const DenormalGuard guard;
    std::list<Signal32> finished;
    for (const ComplexSignal32& spectrum : spectra) {
        finished.push_back(fft.inverse(spectrum));
        shapeFrame(finished.back());
    }
    return finished;
}

// The window acts in place, and only where overlapPart() reads.
void BaseSpectralProcessor::shapeFrame(Signal32& time) const {
    const Wide start = Wide{fftSize} - windowSize;
    const Wide first = windowSize - (Wide{synthesisShift} + overlapFrames) * hopSize;
    const bool fills = start >= 0 && first >= 0 && time.length() >= fftSize &&
                       synthesisWindow.length() >= windowSize;
    if (time.channels() < outputLayout.channelCount() || (time.channels() > 0 && !fills)) {
        throw std::runtime_error("spectrum does not fill a frame");
    }
    const std::int32_t count = saturatedSize(Wide{overlapFrames} * hopSize);
    for (std::int32_t c = 0; c < time.channels(); ++c) {
        float* samples = time.channelData(c) + start + first;
        const float* weights = synthesisWindow.readData(c) + first;
        checkedCall(count, [&] { return ippsMul_32f(samples, weights, samples, count); });
    }
}

Signal32 BaseSpectralProcessor::takeFinishedHops() {
    const Wide ready = static_cast<Wide>(frames.size()) - overlapFrames + 1;
    const Wide hops = ready < 1 ? 0 : ready;
    Signal32 result(outputLayout.channelCount(), saturatedSize(hops * hopSize));
    for (Wide hop = 0; hop < hops; ++hop) {
        for (std::int32_t c = 0; c < result.channels(); ++c) {
            sumOverlap(c, result.channelData(c) + hop * hopSize);
        }
        frames.pop_front();
    }
    return result;
}

void BaseSpectralProcessor::sumOverlap(std::int32_t channel, float* hop) const {
    auto frame = frames.begin();
    const float* sum = overlapPart(*frame, channel, 0);
    for (std::int32_t j = 1; j < overlapFrames; ++j) {
        const float* part = overlapPart(*++frame, channel, j);
        checkedCall(hopSize, [&] { return ippsAdd_32f(part, sum, hop, hopSize); });
        sum = hop;
    }
}

// What the j-th frame, counted from the oldest, gives to the next hop: each is read one hop earlier
// than the one before it.
const float* BaseSpectralProcessor::overlapPart(const Signal32& frame, std::int32_t channel,
                                                std::int32_t j) const {
    const float* samples = frame.readData(channel);
    if (samples == nullptr) {
        checkStatus(ippStsNullPtrErr);
    }
    return samples + (fftSize - (Wide{synthesisShift} + 1 + j) * hopSize);
}

}  // namespace vorun
