#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vorun::restore {

/** The whole text as a finite decimal number, whatever the locale; nothing if it is not one. */
std::optional<float> parseNumber(std::string_view text);

/** The whole text as a plain count without a sign; nothing if it is not one. */
std::optional<int> parseIndex(std::string_view text);

/** A value given to one bus. */
struct BusValue {
    std::string bus;
    float value = 0.0F;
};

/**
 * Splits "BUS=VALUE" at the last equals sign, since a bus may have one in its name.
 *
 * @param option  name of the option, for the message.
 * @throws HostError badUsage when a side is missing or the value is not a number from lowest to
 * highest.
 */
BusValue parseBusValue(const std::string& option, const std::string& text, float lowest,
                       float highest);

/** @throws HostError badUsage when the text is not a number from lowest to highest. */
float parseInRange(const std::string& option, const std::string& text, float lowest, float highest);

/** "h:mm:ss", or "m:ss" below an hour; fractions are dropped. */
std::string clockText(double seconds);

/** A number with a fixed count of decimals, whatever the locale. */
std::string fixedText(double value, int decimals);

/** "1 channel", "2 channels". */
std::string channelsText(int count);

}  // namespace vorun::restore
