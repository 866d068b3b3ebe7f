#include <algorithm>
#include <iterator>

#include "restoration/VorunProcessor.h"

namespace vorun {

// In both setters the limit stands first, so that a value that is no number becomes the limit.

void VorunProcessor::setBusGain(std::int32_t index, float value) {
    busGain_.set(index, std::max(0.0f, value));
}

void VorunProcessor::setBusSensitivity(std::int32_t index, float value) {
    busSensitivity_.set(index, std::min(100.0f, std::max(-100.0f, value)));
}

std::int32_t VorunProcessor::getOutputBusCount(bool includeResidual) const {
    const auto names = static_cast<std::int32_t>(busNames_.size());
    return includeResidual ? names : std::max(names - 1, 0);
}

std::string VorunProcessor::getOutputBusName(std::int32_t index) const {
    const auto names = static_cast<std::int64_t>(busNames_.size());
    const std::int64_t positions = names + 1;
    const std::int64_t position = (index % positions + positions) % positions;
    return position == names ? std::string() : *std::next(busNames_.begin(), position);
}

}  // namespace vorun
