#pragma once

#include <string>
#include <string_view>

namespace caprion {

/// The SHA-256 digest of the text (FIPS 180-4) as 64 lower-case hexadecimal digits.
std::string sha256(std::string_view text);

}  // namespace caprion
