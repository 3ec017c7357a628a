#pragma once

#include <string_view>

namespace caprion {

/// Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms). The empty text is.
bool isValidUTF8(std::string_view bytes) noexcept;

/// Writes the text, whatever bytes it holds, and a line feed to standard output as one piece that no other
/// thread's output can interrupt.
void printLine(std::string_view text) noexcept;

}  // namespace caprion
