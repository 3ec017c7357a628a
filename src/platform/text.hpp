#pragma once

#include <string>
#include <string_view>

namespace caprion {

constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

/// Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUTF8(std::string_view bytes) noexcept;

/// The bytes with each maximal ill-formed subpart replaced by U+FFFD.
std::string repairedUTF8(std::string bytes);

/// The UTF-8 text without leading and trailing white space and newlines.
std::string_view trimmed(std::string_view text) noexcept;

}  // namespace caprion
