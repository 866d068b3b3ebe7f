#include "inspect/Framing.h"

#include <cmath>

namespace vorun::inspect {
namespace {

constexpr std::int64_t overlapFrames = 2;
constexpr std::int64_t leastHopsOfLowLatency = 3;
constexpr std::int32_t mostMasks = 15;

bool hasRate(const FileContents& contents) {
    return contents.sampleRate > 0.0 && std::isfinite(contents.sampleRate);
}

bool canBeFramed(const FileContents& contents) {
    return contents.hopSize >= 1 && contents.windowSize >= 2 * contents.hopSize &&
           contents.windowSize <= contents.fftSize && contents.fftSize % 2 == 0;
}

}  // namespace

Framing framingOf(const FileContents& contents, std::int32_t lookaheadFrames) {
    Framing framing;
    framing.isLowLatency =
        std::int64_t{contents.windowSize} >= leastHopsOfLowLatency * std::int64_t{contents.hopSize};
    // Every block is a multiple of a hop of one sample, which spares a hop.
    framing.hops = overlapFrames + (framing.isLowLatency ? 1 : 0) - (contents.hopSize == 1 ? 1 : 0);
    framing.latencySamples = (framing.hops + lookaheadFrames) * contents.hopSize;
    return framing;
}

std::vector<std::string> headerWarnings(const FileContents& contents) {
    std::vector<std::string> warnings;
    const auto warnIf = [&](bool condition, const std::string& text) {
        if (condition) {
            warnings.push_back(text);
        }
    };
    warnIf(!hasRate(contents), "the sample rate is not above 0");
    warnIf(contents.inputChannels < 1 || contents.outputChannels < 1,
           "the model has no channels for audio");
    warnIf(!canBeFramed(contents),
           "audio cannot be framed: a hop of at least 1, a window of at least two hops and an even "
           "transform no shorter than the window are needed");
    warnIf(contents.complexInputBins < 0 || contents.inputBins < contents.complexInputBins,
           "the counts of bins are below 0");
    warnIf(contents.featureRows() < 1, "the model has no rows");
    warnIf(contents.complexInputBins > contents.fftSize / 2 + 1,
           "there are more complex bins than the transform has");
    warnIf(contents.maskCount < 1, "the model has no outputs");
    warnIf(contents.maskCount > mostMasks,
           "there are more outputs than the " + std::to_string(mostMasks) + " that can be mixed");
    return warnings;
}

double milliseconds(const FileContents& contents, std::int64_t samples) {
    return hasRate(contents) ? 1000.0 * static_cast<double>(samples) / contents.sampleRate : 0.0;
}

}  // namespace vorun::inspect
