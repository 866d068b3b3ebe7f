#include "audio/WindowFunctions.h"

#include <cmath>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

constexpr double twoPi = 6.283185307179586;

double hannAt(std::int32_t n, std::int32_t length) {
    return 0.5 - std::cos((n + 0.5) * twoPi / length) * 0.5;
}

template <class Shape>
Signal32 windowOf(std::int32_t channels, std::int32_t length, Shape&& shape) {
    Signal32 window(channels, length);
    if (channels < 1) {
        return window;
    }
    float* first = window.channelData(0);
    for (std::int32_t n = 0; n < length; ++n) {
        first[n] = static_cast<float>(shape(hannAt(n, length)));
    }
    for (std::int32_t c = 1; c < channels; ++c) {
        copySamples(first, window.channelData(c), length);
    }
    return window;
}

}  // namespace

Signal32 hannWindow(std::int32_t channels, std::int32_t length) {
    return windowOf(channels, length, [](double hann) { return hann; });
}

Signal32 sqrtHannWindow(std::int32_t channels, std::int32_t length) {
    return windowOf(channels, length, [](double hann) { return std::sqrt(hann); });
}

}  // namespace vorun
