#pragma once

#include <string>
#include <vector>

#include "restore/Options.h"

namespace vorun::restore {

/** Gain and sensitivity of each bus of a model, the residual last. */
struct BusMix {
    std::vector<float> gains;
    std::vector<float> sensitivities;
};

/**
 * Finds a bus by its name, or by its index where no bus has that name.
 *
 * @throws HostError unknownBus, with the names that there are.
 */
std::size_t findBus(const std::vector<std::string>& names, const std::string& bus);

/**
 * What the request means for these buses: all at 1 and the residual silent, then the residual's
 * level, then single gains, then solo.
 *
 * @throws HostError unknownBus.
 */
BusMix mixFor(const std::vector<std::string>& names, const MixRequest& request);

}  // namespace vorun::restore
