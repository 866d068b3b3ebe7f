#pragma once

#include <array>
#include <complex>
#include <vector>

#include "api/ReferenceNetwork.h"
#include "support/ModelWriter.h"

namespace vorun::apitest {

/** Bins of one channel. */
using Bins = std::vector<std::complex<double>>;
/** One Bins for each channel. */
using Spectrum = std::vector<Bins>;

struct BusValues {
    std::array<double, 16> gains;
    std::array<double, 16> sensitivities;
};

/** The average of all channels on every one of `channels`, unless the count is right already. */
Spectrum matched(const Spectrum& spectrum, int channels);

/** Features of one frame: four non-negative rows a complex bin, then magnitudes. */
Matrix codedFeatures(const writer::ModelHeader& header, const Spectrum& frame);

/** The inverse of codedFeatures(), with the level smoothed along the bins above the model's top. */
Spectrum decodedSpectrum(const writer::ModelHeader& header, const Matrix& result, int bins);

/** A mask made more decisive (above 0) or more permissive (below 0), its phase kept. */
Spectrum reshaped(const Spectrum& mask, double sensitivity);

/**
 * One output frame from the channels of a decoded result and the dry frame.
 *
 * Masks:   out = D (sum g_i S(M_i) + g_q S(1 - sum S(M_i)))
 * Spectra: out = sum g_i M_i + g_q (D - sum M_i)
 */
Spectrum mixedFrame(const writer::ModelHeader& header, const Spectrum& result, const Spectrum& dry,
                    const BusValues& values);

}  // namespace vorun::apitest
