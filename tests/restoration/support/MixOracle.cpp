#include "restoration/support/MixOracle.h"

#include <cmath>
#include <numbers>

namespace vorun::test {
namespace {

std::complex<double> bentBin(std::complex<double> bin, double exponent) {
    const double m = std::abs(bin);
    const double base =
        exponent < 1.0 ? m + 1e-12 : (1.0 - std::cos(std::numbers::pi * m)) / 2.0 + 1e-12;
    return bin * std::pow(base, exponent - 1.0);
}

}  // namespace

Grid matched(const Grid& grid, std::size_t channels) {
    if (grid.size() == channels) {
        return grid;
    }
    Grid mono(1, Row(grid.front().size()));
    for (const Row& row : grid) {
        mono = sum(mono, {row});
    }
    return Grid(channels, scaled(mono, 1.0 / static_cast<double>(grid.size())).front());
}

Grid bent(Grid mask, double sensitivity) {
    for (Row& row : mask) {
        for (auto& bin : row) {
            bin = bentBin(bin, std::exp(0.0075 * sensitivity));
        }
    }
    return mask;
}

Grid maskMix(const Grid& dry, const std::vector<Grid>& masks, const BusSettings& settings) {
    Grid total = scaled(dry, 0.0);
    Grid mix = total;
    for (std::size_t i = 0; i < masks.size(); ++i) {
        const Grid mask = bent(masks[i], settings.sensitivities.at(i));
        total = sum(total, mask);
        mix = sum(mix, scaled(mask, settings.gains.at(i)));
    }
    const Grid rest = bent(complement(total), settings.sensitivities.back());
    return product(dry, sum(mix, scaled(rest, settings.gains.back())));
}

Grid spectrumMix(const Grid& dry, const std::vector<Grid>& spectra, const BusSettings& settings) {
    Grid rest = dry;
    Grid mix = scaled(dry, 0.0);
    for (std::size_t i = 0; i < spectra.size(); ++i) {
        rest = sum(rest, scaled(spectra[i], -1.0));
        mix = sum(mix, scaled(spectra[i], settings.gains.at(i)));
    }
    return sum(mix, scaled(rest, settings.gains.back()));
}

}  // namespace vorun::test
