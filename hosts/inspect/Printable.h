#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/** Texts of a model file are bytes that anybody may have put there. */
namespace vorun::inspect {

/**
 * The text on one line and without effect on a terminal: well-formed UTF-8 stays as it is; control
 * characters, marks that turn the direction of writing, and bytes that are no UTF-8 become
 * escapes, and so does the backslash that begins them.
 */
std::string printable(std::string_view text);

/** printable(), in double quotes. */
std::string quoted(std::string_view text);

/** printable(), in double quotes where it would be unclear in a list: empty, or with a comma,
 * a quote or an outer space. */
std::string listed(std::string_view text);

/** A printable text as the inside of a quoted label of the DOT language. */
std::string dotText(std::string_view text);

/** Characters, not bytes, of a printable text. */
std::size_t characters(std::string_view text);

/** Padded with spaces on the right, or on the left, to a number of characters. */
std::string padded(const std::string& text, std::size_t width);
std::string paddedLeft(const std::string& text, std::size_t width);

}  // namespace vorun::inspect
