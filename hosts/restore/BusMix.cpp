#include "restore/BusMix.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

/** The engine keeps live values for this many buses. */
constexpr std::size_t adjustableBuses = 16;

std::string quotedList(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "'" : ", '") + name + "'";
    }
    return list;
}

}  // namespace

std::size_t findBus(const std::vector<std::string>& names, const std::string& bus) {
    const auto named = std::find(names.begin(), names.end(), bus);
    if (named != names.end()) {
        return static_cast<std::size_t>(named - names.begin());
    }
    const std::optional<int> index = parseIndex(bus);
    if (index && static_cast<std::size_t>(*index) < names.size()) {
        return static_cast<std::size_t>(*index);
    }
    throw HostError(ExitStatus::unknownBus,
                    "the model has no bus '" + bus + "', but " + quotedList(names));
}

BusMix mixFor(const std::vector<std::string>& names, const MixRequest& request) {
    const std::size_t count = std::min(names.size(), adjustableBuses);
    const std::vector<std::string> adjustable(names.begin(),
                                              names.begin() + static_cast<std::ptrdiff_t>(count));
    const auto residual = static_cast<std::ptrdiff_t>(names.size()) - 1;
    std::vector<std::optional<float>> given(count);
    BusMix mix{std::vector<float>(count, 1.0F), std::vector<float>(count, 0.0F)};
    if (request.residualDb && residual >= 0 && residual < static_cast<std::ptrdiff_t>(count)) {
        given.back() = std::pow(10.0F, *request.residualDb / 20.0F);
    }
    for (const BusValue& gain : request.gains) {
        given[findBus(adjustable, gain.bus)] = gain.value;
    }
    for (std::size_t bus = 0; bus < count; ++bus) {
        const bool isResidual = bus + 1 == names.size();
        mix.gains[bus] = given[bus].value_or(isResidual ? 0.0F : 1.0F);
    }
    if (request.soloBus) {
        const std::size_t solo = findBus(adjustable, *request.soloBus);
        std::fill(mix.gains.begin(), mix.gains.end(), 0.0F);
        mix.gains[solo] = given[solo].value_or(1.0F);
    }
    if (request.sensitivity && count > 0) {
        mix.sensitivities[0] = *request.sensitivity;
    }
    for (const BusValue& sensitivity : request.sensitivities) {
        mix.sensitivities[findBus(adjustable, sensitivity.bus)] = sensitivity.value;
    }
    return mix;
}

}  // namespace vorun::restore
