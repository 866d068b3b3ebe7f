#include <algorithm>
#include <cmath>

#include "api/ParameterRange.h"
#include "api/ProcessorState.h"
#include "vorun/parameters.h"

namespace {

constexpr int32_t mainBus = 0;
constexpr int32_t residualBus = 1;

float linearFromDecibels(float decibels) {
    return static_cast<float>(std::pow(10.0, static_cast<double>(decibels / 20.0f)));
}

float decibelsFromLinear(float gain) {
    return static_cast<float>(20.0 * std::log10(static_cast<double>(gain)));
}

/** Never leaves the published range, whatever gain is stored. */
float residualLevel(const vorun::VorunProcessor& processor) {
    // Divided in double: the quotient in float would read back a little below the range.
    constexpr double lowest = static_cast<double>(vorun::lowestResidualLevel) / 20.0;
    const auto floor = static_cast<float>(std::pow(10.0, lowest));
    const float gain = processor.getBusGain(residualBus);
    return decibelsFromLinear(floor > gain ? floor : std::min(1.0f, gain));
}

void setResidualLevel(vorun::VorunProcessor& processor, float decibels) {
    const float gain = std::min(1.0f, std::max(0.0f, linearFromDecibels(decibels)));
    processor.setBusGain(mainBus, 1.0f);
    processor.setBusGain(residualBus, gain);
}

}  // namespace

namespace vorun {

void ProcessorState::getParameterRange(std::int32_t id, float* minValue, float* maxValue) {
    publishedParameterRange(id, minValue, maxValue);
}

}  // namespace vorun

void vorunGetParameterRange(ProcessorHandle /*processor*/, int32_t id, float* minValue,
                            float* maxValue) {
    vorun::publishedParameterRange(id, minValue, maxValue);
}

float vorunGetParameterValue(ProcessorHandle processor, int32_t id) {
    const vorun::VorunProcessor& values = processor->processor;
    const int32_t index = id % vorun::parameterFamilySize;
    switch (id / vorun::parameterFamilySize) {
        case vorun::busGainFamily:
            return values.getBusGain(index);
        case vorun::busSensitivityFamily:
            return values.getBusSensitivity(index);
        default:
            break;
    }
    switch (id) {
        case vorun::residualLevelId:
            return residualLevel(values);
        case vorun::sensitivityId:
            return values.getBusSensitivity(mainBus);
        case vorun::tailFillOffId:
            return values.isTailFillOn() ? 0.0f : 1.0f;
        default:
            return 0.0f;
    }
}

void vorunSetParameterValue(ProcessorHandle processor, int32_t id, float value) {
    vorun::VorunProcessor& values = processor->processor;
    const int32_t index = id % vorun::parameterFamilySize;
    const int32_t family = id / vorun::parameterFamilySize;
    if (family == vorun::busGainFamily) {
        values.setBusGain(index, value);
    } else if (family == vorun::busSensitivityFamily) {
        values.setBusSensitivity(index, value);
    } else if (id == vorun::residualLevelId) {
        setResidualLevel(values, value);
    } else if (id == vorun::sensitivityId) {
        values.setBusSensitivity(mainBus, value);
    }
}
