#pragma once

#include <cstdint>

namespace vorun {

/** Ids of the convenience parameters; the bus families start at multiples of parameterFamilySize.
 */
enum ParameterId : std::int32_t {
    residualLevelId = 1,
    sensitivityId = 2,
    tailFillOffId = 3,
};

constexpr std::int32_t parameterFamilySize = 256;

enum ParameterFamily : std::int32_t {
    busGainFamily = 1,
    busSensitivityFamily = 2,
};

/** Range of the residual level in dB. */
constexpr float lowestResidualLevel = -96.0f;

/** Writes the published range of an id, or leaves both values as they are if it has none. */
void publishedParameterRange(std::int32_t id, float* minValue, float* maxValue);

}  // namespace vorun
