#pragma once

#include <string>
#include <string_view>

namespace caprion {

/// The text with its letters A to Z in lower case.
std::string lowercasedASCII(std::string_view text);

/// The text with all its letters in lower case, as Unicode has them. Takes well-formed UTF-8; of any other
/// text the letters A to Z change alone.
std::string lowercased(std::string_view text);

}  // namespace caprion
