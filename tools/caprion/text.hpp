#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace caprion::tool {

/// The text as valid UTF-8: U+FFFD in place of each ill-formed part.
std::string wellFormed(std::string_view text);

/// The text as it may be shown on one line of a terminal: well-formed, and each character that would steer
/// the terminal or reorder the line (controls, line separators, direction marks) replaced by a visible one.
std::string printable(std::string_view text);

/// How many columns of a terminal a printable text takes. Counts in the character type of the locale.
std::size_t columns(std::string_view printable);

/// A printable text, cut to so many columns, at least 1; "…" stands for what was cut off.
std::string fitted(std::string_view printable, std::size_t limit);

}  // namespace caprion::tool
