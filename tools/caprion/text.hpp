#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace caprion::tool {

/// The text with the letters A to Z in lower case.
std::string lowercased(std::string_view text);

/// Whether there is nothing but blanks, line ends and a mark of UTF-8.
bool isBlank(std::string_view text);

/// The text as valid UTF-8: U+FFFD in place of each ill-formed part.
std::string wellFormed(std::string_view text);

/// The characters of a text, with U+FFFD in place of each ill-formed part.
std::u32string codePoints(std::string_view text);

/// The text as it may be shown on one line of a terminal: well-formed, and each character that would steer
/// the terminal or reorder the line (controls, line separators, direction marks) replaced by a visible one.
std::string printable(std::string_view text);

/// A text of JSON with the same characters escaped in its strings, so that it means what it did.
std::string escapedJSON(std::string_view json);

/// How many columns of a terminal a printable text takes. Counts in the character type of the locale.
std::size_t columns(std::string_view printable);

/// Which part of a text gives way to "…".
enum class Cut { end, middle, start };

/// A printable text, cut to so many columns, at least 1.
std::string fitted(std::string_view printable, std::size_t limit, Cut cut = Cut::end);

/// A text of any length as a short printable one on one line, with a blank for each run of blanks: its start,
/// and its end unless that is far away.
std::string excerptOf(std::string_view text, std::size_t limit);

/// The bytes of a path with all but letters, digits and "-._~/" percent-encoded.
std::string percentEncoded(std::string_view path);

}  // namespace caprion::tool
