#pragma once

#include <cstdint>
#include <string>

namespace vorun::inspect {

/** A number with up to `decimals` decimals and no zeros at their end. */
std::string shortNumber(double value, int decimals);

/** "512 bytes", "1.5 KiB", "2.0 MiB". */
std::string bytesText(double bytes);

/** "950", "18.3 thousand", "1.7 million", "2.0 billion". */
std::string roundedText(double count);

}  // namespace vorun::inspect
