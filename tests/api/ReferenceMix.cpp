#include "api/ReferenceMix.h"

#include <cmath>
#include <cstddef>

namespace vorun::apitest {
namespace {

Bins average(const Spectrum& spectrum) {
    Bins sum(spectrum.front().size());
    for (const Bins& channel : spectrum) {
        for (std::size_t b = 0; b < sum.size(); ++b) {
            sum[b] += channel[b] / static_cast<double>(spectrum.size());
        }
    }
    return sum;
}

int complexBinsOf(const writer::ModelHeader& header) {
    return header.inputFormat == 2 ? header.complexInputBins : 0;
}

int binsOf(const writer::ModelHeader& header) {
    return header.inputFormat == 2 ? header.complexInputBins + header.magnitudeInputBins
                                   : header.inputBins;
}

/** target += factor * source. */
void addScaled(Spectrum& target, const Spectrum& source, double factor) {
    for (std::size_t c = 0; c < target.size(); ++c) {
        for (std::size_t b = 0; b < target[c].size(); ++b) {
            target[c][b] += factor * source[c][b];
        }
    }
}

Spectrum filled(const Spectrum& shape, double value) {
    return Spectrum(shape.size(), Bins(shape.front().size(), value));
}

double reshapedMagnitude(double m, double exponent) {
    if (exponent < 1.0) {
        return m * std::pow(m + 1e-12, exponent - 1.0);
    }
    return m * std::pow(0.5 - std::cos(m * 3.14159265358979) * 0.5 + 1e-12, exponent - 1.0);
}

Bins decodedChannel(const writer::ModelHeader& header, const Matrix& result, int channel,
                    int bins) {
    const int complexBins = complexBinsOf(header);
    Bins decoded(bins);
    double level = 0.0;
    int row = 0;
    for (int b = 0; b < bins; ++b) {
        if (b < complexBins) {
            decoded[b] = {result.at(row, channel) - result.at(row + 2, channel),
                          result.at(row + 1, channel) - result.at(row + 3, channel)};
            row += 4;
        } else {
            decoded[b] = b < binsOf(header) ? result.at(row, channel) : level;
            ++row;
        }
        level = 0.02 * std::abs(decoded[b]) + 0.98 * level;
    }
    return decoded;
}

}  // namespace

Spectrum matched(const Spectrum& spectrum, int channels) {
    if (static_cast<int>(spectrum.size()) == channels) {
        return spectrum;
    }
    return Spectrum(channels, average(spectrum));
}

Matrix codedFeatures(const writer::ModelHeader& header, const Spectrum& frame) {
    const int complexBins = complexBinsOf(header);
    const int frameBins = static_cast<int>(frame.front().size());
    Matrix features(binsOf(header) + 3 * complexBins, static_cast<int>(frame.size()));
    for (int c = 0; c < features.channels; ++c) {
        for (int b = 0; b < complexBins; ++b) {
            features.at(4 * b, c) = std::max(0.0, frame[c][b].real());
            features.at(4 * b + 1, c) = std::max(0.0, frame[c][b].imag());
            features.at(4 * b + 2, c) = std::max(0.0, -frame[c][b].real());
            features.at(4 * b + 3, c) = std::max(0.0, -frame[c][b].imag());
        }
        for (int b = complexBins; b < binsOf(header) && b < frameBins; ++b) {
            features.at(3 * complexBins + b, c) = std::abs(frame[c][b]);
        }
    }
    return features;
}

Spectrum decodedSpectrum(const writer::ModelHeader& header, const Matrix& result, int bins) {
    Spectrum spectrum;
    for (int c = 0; c < result.channels; ++c) {
        spectrum.push_back(decodedChannel(header, result, c, bins));
    }
    return spectrum;
}

Spectrum reshaped(const Spectrum& mask, double sensitivity) {
    const double exponent = std::exp(sensitivity * 0.0075);
    Spectrum result = mask;
    for (Bins& channel : result) {
        for (auto& bin : channel) {
            bin = std::polar(reshapedMagnitude(std::abs(bin), exponent), std::arg(bin));
        }
    }
    return result;
}

Spectrum mixedFrame(const writer::ModelHeader& header, const Spectrum& result, const Spectrum& dry,
                    const BusValues& values) {
    const bool masks = header.pipelineMode == 0;
    const int buses = header.maskCount;
    const int outputs = header.outputChannels;
    const int hostChannels = static_cast<int>(dry.size());
    Spectrum mix = filled(dry, 0.0);
    Spectrum residual = masks ? filled(dry, 1.0) : dry;
    for (int bus = 0; bus < buses; ++bus) {
        const auto first = result.begin() + bus * outputs;
        Spectrum part = matched(Spectrum(first, first + outputs), hostChannels);
        if (masks) {
            part = reshaped(part, values.sensitivities[bus]);
        }
        addScaled(mix, part, values.gains[bus]);
        addScaled(residual, part, -1.0);
    }
    if (masks) {
        residual = reshaped(residual, values.sensitivities[buses]);
    }
    addScaled(mix, residual, values.gains[buses]);
    if (masks) {
        for (int c = 0; c < hostChannels; ++c) {
            for (std::size_t b = 0; b < mix[c].size(); ++b) {
                mix[c][b] *= dry[c][b];
            }
        }
    }
    return mix;
}

}  // namespace vorun::apitest
