#pragma once

#include <string>
#include <string_view>

namespace caprion {

/// The text with A to Z in lower case.
std::string lowercasedASCII(std::string_view text);

/// The text in lower case by Unicode's rules. If it isn't well-formed UTF-8, only A to Z change.
std::string lowercased(std::string_view text);

}  // namespace caprion
