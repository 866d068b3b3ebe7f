#include "inspect/Frames.h"

#include <algorithm>
#include <numeric>

namespace vorun::inspect {

Rate Rate::times(std::int64_t factor, std::int64_t divisor) const {
    constexpr std::int64_t mostTerms = std::int64_t{1} << 31;
    const std::int64_t newUp = up * std::clamp<std::int64_t>(factor, 1, 255);
    const std::int64_t newDown = down * std::clamp<std::int64_t>(divisor, 1, 255);
    const std::int64_t common = std::gcd(newUp, newDown);
    return {std::min(newUp / common, mostTerms), std::min(newDown / common, mostTerms)};
}

std::string textOf(const Rate& rate) {
    const std::string up = std::to_string(rate.up);
    return rate.down == 1 ? up : up + "/" + std::to_string(rate.down);
}

std::int64_t product(std::initializer_list<std::int64_t> counts) {
    if (std::find(counts.begin(), counts.end(), 0) != counts.end()) {
        return 0;
    }
    std::int64_t result = 1;
    for (const std::int64_t count : counts) {
        if (count < 0 || count > mostValues / result) {
            return mostValues + 1;
        }
        result *= count;
    }
    return result;
}

std::string counted(std::int64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace vorun::inspect
