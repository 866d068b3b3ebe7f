#include "audio/BaseSpectralProcessor.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "audio/SaturatedSize.h"
#include "audio/WindowFunctions.h"
#include "foundation/DenormalGuard.h"
#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

using Wide = std::int64_t;

// The product of each channel's first `length` samples with the window's.
Signal32 windowed(const Signal32& time, const Signal32& window, std::int32_t length) {
    if (time.channels() > 0 && (time.length() < length || window.length() < length)) {
        throw std::runtime_error("spectrum does not fill a frame");
    }
    Signal32 product(time.channels(), length);
    for (std::int32_t c = 0; c < time.channels(); ++c) {
        checkedCall(length, [&] {
            return ippsMul_32f(time.readData(c), window.readData(c), product.channelData(c),
                               length);
        });
    }
    return product;
}

void addChannels(const Signal32& part, Signal32& sum) {
    for (std::int32_t c = 0; c < sum.channels(); ++c) {
        checkedCall(sum.length(), [&] {
            float* samples = sum.channelData(c);
            return ippsAdd_32f(part.readData(c), samples, samples, sum.length());
        });
    }
}

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
        const Signal32 frame = takeFrame();
        const ComplexSignal32 spectrum = analyse(frame);
        const std::list<ComplexSignal32> results = processSpectrum(spectrum);
        frames.splice(frames.end(), synthesise(results));
    }
    return takeFinishedHops();
}

Signal32 BaseSpectralProcessor::takeFrame() {
    Signal32 frame;
    if (inputQueue.channels() > 0) {
        frame = Signal32(inputQueue.channels(), windowSize);
        inputQueue.peek(frame);
    }
    inputQueue.discard(hopSize);
    return frame;
}

ComplexSignal32 BaseSpectralProcessor::analyse(const Signal32& frame) {
    const DenormalGuard guard;
    const Signal32 shaped = frame.multiplied(analysisWindow);
    if (windowSize == fftSize) {
        return fft.forward(shaped);
    }
    Signal32 padded(shaped.channels(), fftSize, 0.0f);
    padded.writeAt(saturatedSize(Wide{fftSize} - windowSize), shaped);
    return fft.forward(padded);
}

std::list<Signal32> BaseSpectralProcessor::synthesise(const std::list<ComplexSignal32>& spectra) {
    const DenormalGuard guard;
    std::list<Signal32> finished;
    for (const ComplexSignal32& spectrum : spectra) {
        Signal32 time = fft.inverse(spectrum);
        if (windowSize != fftSize) {
            Signal32 tail(time.channels(), windowSize);
            time.readAt(saturatedSize(Wide{fftSize} - windowSize), tail);
            time = std::move(tail);
        }
        finished.push_back(windowed(time, synthesisWindow, windowSize));
    }
    return finished;
}

Signal32 BaseSpectralProcessor::takeFinishedHops() {
    const Wide ready = static_cast<Wide>(frames.size()) - overlapFrames + 1;
    const Wide hops = ready < 1 ? 0 : ready;
    Signal32 result(outputLayout.channelCount(), saturatedSize(hops * hopSize));
    for (Wide hop = 0; hop < hops; ++hop) {
        result.writeAt(saturatedSize(hop * hopSize), sumOverlap());
        frames.pop_front();
    }
    return result;
}

// The oldest frames, each read one hop earlier than the one before it.
Signal32 BaseSpectralProcessor::sumOverlap() const {
    Signal32 sum;
    auto frame = frames.begin();
    for (std::int32_t j = 0; j < overlapFrames; ++j, ++frame) {
        const Wide offset = windowSize - (Wide{synthesisShift} + 1 + j) * hopSize;
        Signal32 part(frame->channels(), hopSize);
        frame->readAt(saturatedSize(offset), part);
        if (j == 0 || !sum.hasBuffer()) {
            sum = std::move(part);
        } else {
            addChannels(part, sum);
        }
    }
    return sum;
}

}  // namespace vorun
