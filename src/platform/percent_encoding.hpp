#pragma once

#include <string>
#include <string_view>

namespace caprion {

/// Percent-encodes each byte for which `mayStay` is false. Reversible only if '%' is one of those.
std::string percentEncoded(std::string_view text, bool mayStay(char));

/// Decodes percent-escapes, so the result may be any bytes. Every '%' must be followed by two hexadecimal
/// digits.
std::string percentDecoded(std::string_view text);

}  // namespace caprion
