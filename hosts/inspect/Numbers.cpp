#include "inspect/Numbers.h"

#include <array>
#include <cstddef>

#include "restore/NumberText.h"

namespace vorun::inspect {
namespace {

template <std::size_t count>
std::string scaledText(double value, double step, const std::array<const char*, count>& units) {
    std::size_t unit = 0;
    // Half a last digit below the step would be rounded up to it.
    while (unit + 1 < count && value >= step - (unit == 0 ? 0.0 : 0.05)) {
        value /= step;
        ++unit;
    }
    return unit == 0 ? shortNumber(value, 1) + units.at(0)
                     : restore::fixedText(value, 1) + units.at(unit);
}

}  // namespace

std::string shortNumber(double value, int decimals) {
    std::string text = restore::fixedText(value, decimals);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text;
}

std::string bytesText(double bytes) {
    return scaledText<5>(bytes, 1024.0, {" bytes", " KiB", " MiB", " GiB", " TiB"});
}

std::string roundedText(double count) {
    return scaledText<5>(count, 1000.0, {"", " thousand", " million", " billion", " trillion"});
}

}  // namespace vorun::inspect
