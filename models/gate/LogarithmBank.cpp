#include "gate/LogarithmBank.h"

#include <cmath>
#include <cstddef>

namespace vorun::gate {
namespace {

/** Slopes of successive segments to the change of slope at the start of each. */
std::vector<float> slopeChanges(const std::vector<double>& slopes) {
    std::vector<float> changes;
    double previous = 0.0;
    for (const double slope : slopes) {
        changes.push_back(static_cast<float>(slope - previous));
        previous = slope;
    }
    return changes;
}

}  // namespace

LineBank risingLogarithm(double lowest, double factor, int steps) {
    LineBank bank;
    bank.corner.push_back(0.0F);
    std::vector<double> slopes = {1.0 / lowest};
    double corner = lowest;
    for (int step = 0; step < steps; ++step) {
        bank.corner.push_back(static_cast<float>(corner));
        slopes.push_back(std::log(factor) / (corner * (factor - 1.0)));
        corner *= factor;
    }
    bank.weight = slopeChanges(slopes);
    return bank;
}

LineBank fallingLogarithm(double factor, int steps) {
    LineBank bank;
    std::vector<double> slopes;
    double corner = 1.0;
    for (int step = 0; step < steps; ++step) {
        bank.corner.push_back(static_cast<float>(corner));
        slopes.push_back(std::log(factor) / (corner * (1.0 - 1.0 / factor)));
        corner /= factor;
    }
    bank.weight = slopeChanges(slopes);
    return bank;
}

}  // namespace vorun::gate
