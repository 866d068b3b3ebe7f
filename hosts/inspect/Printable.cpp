#include "inspect/Printable.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace vorun::inspect {
namespace {

struct CodePoint {
    std::uint32_t value = 0;
    /** Bytes that it takes; 0 for what is no UTF-8. */
    std::size_t length = 0;
};

std::uint32_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

/** How many bytes a first byte announces, and what it adds to the value. */
CodePoint firstByte(std::uint32_t byte) {
    if (byte < 0x80) {
        return {byte, 1};
    }
    if (byte >= 0xC2 && byte < 0xE0) {
        return {byte & 0x1FU, 2};
    }
    if (byte >= 0xE0 && byte < 0xF0) {
        return {byte & 0x0FU, 3};
    }
    if (byte >= 0xF0 && byte < 0xF5) {
        return {byte & 0x07U, 4};
    }
    return {};
}

bool isScalar(const CodePoint& point) {
    constexpr std::array<std::uint32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = point.value >= 0xD800 && point.value < 0xE000;
    return point.value >= least.at(point.length) && point.value <= 0x10FFFF && !isSurrogate;
}

CodePoint codePointAt(std::string_view text, std::size_t start) {
    CodePoint point = firstByte(byteAt(text, start));
    if (point.length > text.size() - start) {
        return {};
    }
    for (std::size_t i = 1; i < point.length; ++i) {
        const std::uint32_t byte = byteAt(text, start + i);
        if ((byte & 0xC0U) != 0x80) {
            return {};
        }
        point.value = (point.value << 6U) | (byte & 0x3FU);
    }
    return isScalar(point) ? point : CodePoint{};
}

/** Control characters, line separators and what changes the direction of writing. */
bool actsOnTerminals(std::uint32_t value) {
    return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x61C ||
           (value >= 0x200E && value <= 0x200F) || (value >= 0x2028 && value <= 0x202E) ||
           (value >= 0x2066 && value <= 0x2069) || value == 0xFEFF;
}

std::string hex(std::uint32_t value, int digits) {
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        text += "0123456789abcdef"[(value >> static_cast<unsigned>(shift)) & 0xFU];
    }
    return text;
}

std::string escaped(const CodePoint& point) {
    switch (point.value) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return point.length == 1 ? "\\x" + hex(point.value, 2) : "\\u" + hex(point.value, 4);
    }
}

std::string replaced(std::string_view text, char wanted, std::string_view replacement) {
    std::string result;
    for (const char character : text) {
        if (character == wanted) {
            result += replacement;
        } else {
            result += character;
        }
    }
    return result;
}

std::string inQuotes(const std::string& printableText) {
    return '"' + replaced(printableText, '"', "\\\"") + '"';
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const CodePoint point = codePointAt(text, i);
        if (point.length == 0) {
            result += "\\x" + hex(byteAt(text, i), 2);
            ++i;
            continue;
        }
        if (point.value == '\\') {
            result += "\\\\";
        } else if (actsOnTerminals(point.value)) {
            result += escaped(point);
        } else {
            result += text.substr(i, point.length);
        }
        i += point.length;
    }
    return result;
}

std::string quoted(std::string_view text) {
    return inQuotes(printable(text));
}

std::string listed(std::string_view text) {
    const bool isUnclear = text.empty() || text.front() == ' ' || text.back() == ' ' ||
                           text.find_first_of(",\"") != std::string_view::npos;
    return isUnclear ? quoted(text) : printable(text);
}

std::string dotText(std::string_view text) {
    // Labels know entities, as web pages do.
    return replaced(replaced(replaced(text, '\\', "\\\\"), '"', "\\\""), '&', "&amp;");
}

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
        return (static_cast<unsigned char>(character) & 0xC0U) != 0x80;
    }));
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t taken = characters(text);
    return taken < width ? text + std::string(width - taken, ' ') : text;
}

std::string paddedLeft(const std::string& text, std::size_t width) {
    const std::size_t taken = characters(text);
    return taken < width ? std::string(width - taken, ' ') + text : text;
}

}  // namespace vorun::inspect
