#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace caprion::tool {

/// The text with A to Z in lower case.
std::string lowercased(std::string_view text);

/// Whether the text holds nothing but white space and a byte order mark.
bool isBlank(std::string_view text);

/// The text as valid UTF-8, with U+FFFD for each ill-formed part.
std::string wellFormed(std::string_view text);

/// The code points of a text, with U+FFFD for each ill-formed part.
std::u32string codePoints(std::string_view text);

/// The text for display on one line of a terminal: well-formed, with controls, line separators and direction
/// marks replaced by visible characters.
std::string printable(std::string_view text);

/// JSON with the same characters escaped, which preserves its meaning.
std::string escapedJSON(std::string_view json);

/// The width of a printable text in terminal columns, by the locale's LC_CTYPE.
std::size_t columns(std::string_view printable);

/// Where a text is cut; "…" marks the place.
enum class Cut { end, middle, start };

/// A printable text, cut to at most `limit` columns; at least 1.
std::string fitted(std::string_view printable, std::size_t limit, Cut cut = Cut::end);

/// A short, printable, single-line excerpt: the start of the text and, unless it is very long, its end, with
/// white space collapsed.
std::string excerptOf(std::string_view text, std::size_t limit);

/// Percent-encodes all bytes but letters, digits and "-._~/".
std::string percentEncoded(std::string_view path);

}  // namespace caprion::tool
