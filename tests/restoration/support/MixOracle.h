#pragma once

#include <cstdint>
#include <vector>

#include "restoration/support/Spectra.h"

namespace vorun::test {

/** Gains and sensitivities of the buses in order, the residual's last. */
struct BusSettings {
    std::vector<double> gains;
    std::vector<double> sensitivities;
};

/** Another channel count by way of mono, in double precision. */
Grid matched(const Grid& grid, std::size_t channels);

/** A mask bent by a sensitivity, from the closed form. */
Grid bent(Grid mask, double sensitivity);

/** D (sum g(i) S(M(i), s(i)) + g(q) S(1 - sum S(M(i), s(i)), s(q))); masks at host channels. */
Grid maskMix(const Grid& dry, const std::vector<Grid>& masks, const BusSettings& settings);

/** sum g(i) M(i) + g(q) (D - sum M(i)); spectra at host channels. */
Grid spectrumMix(const Grid& dry, const std::vector<Grid>& spectra, const BusSettings& settings);

}  // namespace vorun::test
