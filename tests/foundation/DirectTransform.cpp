#include "DirectTransform.h"

#include <cmath>
#include <numbers>

namespace vorun {

DirectTransform::DirectTransform(std::int32_t order)
    : length(std::size_t{1} << order), cosine(length), sine(length) {
    for (std::size_t i = 0; i < length; ++i) {
        const double angle =
            2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(length);
        cosine[i] = std::cos(angle);
        sine[i] = std::sin(angle);
    }
}

DirectTransform::Bin DirectTransform::forwardBin(const std::vector<float>& samples,
                                                 std::size_t k) const {
    Bin bin{0.0, 0.0};
    for (std::size_t n = 0; n < length; ++n) {
        const std::size_t turn = k * n % length;
        bin.re += static_cast<double>(samples[n]) * cosine[turn];
        bin.im -= static_cast<double>(samples[n]) * sine[turn];
    }
    return bin;
}

double DirectTransform::inverseSample(const std::vector<float>& bins, std::size_t n) const {
    double sum = static_cast<double>(bins[0]);
    for (std::size_t k = 1; k < length / 2; ++k) {
        const std::size_t turn = k * n % length;
        // The bin and its conjugate in the upper half.
        sum += 2.0 * (static_cast<double>(bins[2 * k]) * cosine[turn] -
                      static_cast<double>(bins[2 * k + 1]) * sine[turn]);
    }
    if (length > 1) {
        const auto nyquist = static_cast<double>(bins[length]);
        sum += n % 2 == 0 ? nyquist : -nyquist;
    }
    return sum;
}

std::vector<double> DirectTransform::halvedSpectrum(const std::vector<float>& samples) const {
    const std::vector<Bin> bins = halve(samples, 0, 1);
    std::vector<double> spectrum;
    for (std::size_t k = 0; k <= length / 2; ++k) {
        spectrum.push_back(bins[k % length].re);
        spectrum.push_back(bins[k % length].im);
    }
    return spectrum;
}

std::vector<DirectTransform::Bin> DirectTransform::halve(const std::vector<float>& samples,
                                                         std::size_t first,
                                                         std::size_t step) const {
    if (step == length) {
        return {{static_cast<double>(samples[first]), 0.0}};
    }
    const std::vector<Bin> even = halve(samples, first, 2 * step);
    const std::vector<Bin> odd = halve(samples, first + step, 2 * step);
    std::vector<Bin> bins(2 * even.size());
    for (std::size_t k = 0; k < even.size(); ++k) {
        const double c = cosine[k * step];
        const double s = sine[k * step];
        const Bin turned{odd[k].re * c + odd[k].im * s, odd[k].im * c - odd[k].re * s};
        bins[k] = {even[k].re + turned.re, even[k].im + turned.im};
        bins[k + even.size()] = {even[k].re - turned.re, even[k].im - turned.im};
    }
    return bins;
}

}  // namespace vorun
