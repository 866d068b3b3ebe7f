#include "api/ParameterRange.h"

namespace vorun {

void publishedParameterRange(std::int32_t id, float* minValue, float* maxValue) {
    const std::int32_t family = id / parameterFamilySize;
    if (id == residualLevelId) {
        *minValue = lowestResidualLevel;
        *maxValue = 0.0f;
    } else if (family == busGainFamily) {
        *minValue = 0.0f;
        *maxValue = 100.0f;
    } else if (id == sensitivityId || family == busSensitivityFamily) {
        *minValue = -100.0f;
        *maxValue = 100.0f;
    }
}

}  // namespace vorun
