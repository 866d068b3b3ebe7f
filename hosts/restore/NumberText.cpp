#include "restore/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stopped != end) {
        return std::nullopt;
    }
    return number;
}

std::string shortText(double value) {
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} ? std::string(text.data(), end) : std::string();
}

std::string twoDigits(std::int64_t number) {
    std::string text(number < 10 ? "0" : "");
    text += std::to_string(number);
    return text;
}

}  // namespace

std::optional<float> parseNumber(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    const std::optional<float> number = parseWhole<float>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<int> parseIndex(std::string_view text) {
    if (text.starts_with('-')) {
        return std::nullopt;
    }
    return parseWhole<int>(text);
}

float parseInRange(const std::string& option, const std::string& text, float lowest,
                   float highest) {
    const std::optional<float> number = parseNumber(text);
    if (!number || *number < lowest || *number > highest) {
        throw HostError(ExitStatus::badUsage,
                        option + " takes a number from " + shortText(double{lowest}) + " to " +
                            shortText(double{highest}) + ", not '" + text + "'");
    }
    return *number;
}

BusValue parseBusValue(const std::string& option, const std::string& text, float lowest,
                       float highest) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0) {
        throw HostError(ExitStatus::badUsage, option + " takes BUS=VALUE, not '" + text + "'");
    }
    return {text.substr(0, equals), parseInRange(option, text.substr(equals + 1), lowest, highest)};
}

std::string clockText(double seconds) {
    constexpr double longest = 1e9;
    const double bounded = seconds > 0.0 ? std::fmin(seconds, longest) : 0.0;
    const auto whole = static_cast<std::int64_t>(bounded);
    const std::int64_t minutes = whole / 60;
    std::string text;
    if (minutes < 60) {
        text = std::to_string(minutes);
    } else {
        text = std::to_string(minutes / 60);
        text += ':';
        text += twoDigits(minutes % 60);
    }
    text += ':';
    text += twoDigits(whole % 60);
    return text;
}

std::string fixedText(double value, int decimals) {
    std::array<char, 512> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                            std::chars_format::fixed, decimals);
    return error == std::errc{} ? std::string(text.data(), end) : std::string("?");
}

std::string channelsText(int count) {
    return std::to_string(count) + (count == 1 ? " channel" : " channels");
}

}  // namespace vorun::restore
