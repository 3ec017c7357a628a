#pragma once

#include <string>
#include <string_view>

namespace caprion {

constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

/// Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms). The empty text is.
bool isValidUTF8(std::string_view bytes) noexcept;

/// The bytes with U+FFFD in place of each maximal part of a character that is not well-formed UTF-8.
std::string repairedUTF8(std::string bytes);

/// The UTF-8 text without white space and newlines at both ends.
std::string_view trimmed(std::string_view text) noexcept;

}  // namespace caprion
