#include "platform/percent_encoding.hpp"

#include <algorithm>

namespace caprion {

namespace {

int valueOf(char digit) {
  return digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10;  // 0x20 makes a letter lower-case
}

}  // namespace

std::string percentEncoded(std::string_view text, bool mayStay(char)) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (mayStay(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return encoded;
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (;;) {
    const std::size_t escape = std::min(text.find('%'), text.size());
    decoded += text.substr(0, escape);
    if (escape == text.size()) return decoded;
    decoded += static_cast<char>(valueOf(text[escape + 1]) * 16 + valueOf(text[escape + 2]));
    text.remove_prefix(escape + 3);
  }
}

}  // namespace caprion
