#pragma once

#include <string>
#include <string_view>

namespace caprion {

/// The text with each byte that may not stay as it is written as "%" and two upper-case hexadecimal digits.
/// It can be taken back only if '%' is one of them.
std::string percentEncoded(std::string_view text, bool mayStay(char));

/// The text with its percent-escapes resolved, so possibly any bytes. All of them have to be whole.
std::string percentDecoded(std::string_view text);

}  // namespace caprion
