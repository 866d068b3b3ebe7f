#include "api/HostFrame.h"

#include <algorithm>
#include <cmath>

namespace vorun::apitest {
namespace {

int scaledSize(int size, double scale) {
    return static_cast<int>(std::nearbyint(size * scale));
}

}  // namespace

int HostFrame::reportedLatency() const {
    const int multipleOfHop = hopSize == 1 ? 1 : 0;
    return (synthesisShift - multipleOfHop + 2 + latencyFrames) * hopSize;
}

std::int64_t HostFrame::readyAfter(std::int64_t pushed) const {
    const std::int64_t hops = pushed / hopSize - synthesisShift - latencyFrames - 1;
    return std::max<std::int64_t>(0, hops) * hopSize;
}

HostFrame hostFrame(const writer::ModelHeader& header, double hostRate, int latencyFrames) {
    const double ratio = hostRate / header.sampleRate;
    const double scale = std::exp2(std::ceil(std::log(ratio) / std::log(2.0)));
    HostFrame frame;
    frame.fftSize = scaledSize(header.fftSize, scale);
    frame.windowSize = scaledSize(header.windowSize, scale);
    frame.hopSize = scaledSize(header.hopSize, scale);
    frame.synthesisShift = frame.windowSize >= 3 * frame.hopSize ? 1 : 0;
    frame.latencyFrames = latencyFrames;
    return frame;
}

}  // namespace vorun::apitest
