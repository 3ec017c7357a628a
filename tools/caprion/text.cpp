#include "text.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

namespace caprion::tool {

namespace {

constexpr std::string_view replacement = "\uFFFD";

struct Character {
  char32_t codePoint;
  std::string_view bytes;
};

/// Removes and returns the first character of a non-empty text. A maximal ill-formed subpart gives U+FFFD.
Character takeCharacter(std::string_view& text) {
  const auto byteAt = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byteAt(0);
  const std::size_t size = lead < 0x80                    ? 1
                           : lead >= 0xC2 && lead <= 0xDF ? 2
                           : lead >= 0xE0 && lead <= 0xEF ? 3
                           : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                          : 0;
  char32_t codePoint = size < 2 ? lead : lead & (0x7Fu >> size);
  std::size_t taken = 1;
  for (; taken < std::min(size, text.size()); ++taken) {
    const unsigned byte = byteAt(taken);
    // The range of the second byte excludes overlong forms, surrogates and code points past U+10FFFF.
    const unsigned least = taken > 1 ? 0x80 : lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned most = taken > 1 ? 0xBF : lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byte < least || byte > most) break;
    codePoint = codePoint << 6 | (byte & 0x3F);
  }
  const Character character = taken == size ? Character{codePoint, text.substr(0, size)}  //
                                            : Character{0xFFFD, replacement};
  text.remove_prefix(taken);
  return character;
}

bool isBetween(char32_t c, char32_t first, char32_t last) { return c >= first && c <= last; }

/// C1 controls, line separators and direction marks.
bool isHarmful(char32_t c) {
  return isBetween(c, 0x80, 0x9F) || isBetween(c, 0x2028, 0x202E) || isBetween(c, 0x2066, 0x2069) ||
         c == 0x200E || c == 0x200F || c == 0x061C;
}

std::size_t columns(char32_t codePoint) {
  const int count = ::wcwidth(static_cast<wchar_t>(codePoint));
  return count < 0 ? 1 : static_cast<std::size_t>(count);
}

/// The common case: printable ASCII.
bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

}  // namespace

std::string lowercased(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

bool isBlank(std::string_view text) {
  if (text.starts_with("\uFEFF")) text.remove_prefix(3);
  return text.find_first_not_of(" \t\r\n\v\f\x1A") == std::string_view::npos;
}

std::string wellFormed(std::string_view text) {
  if (isPlain(text)) return std::string(text);
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) result += takeCharacter(text).bytes;
  return result;
}

std::u32string codePoints(std::string_view text) {
  std::u32string result;
  while (!text.empty()) result += takeCharacter(text).codePoint;
  return result;
}

std::string printable(std::string_view text) {
  if (isPlain(text)) return std::string(text);
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [c, bytes] = takeCharacter(text);
    if (c < 0x20) {
      result.append("\xE2\x90").append(1, static_cast<char>(0x80 + c));  // its control picture, from U+2400
    } else if (c == 0x7F) {
      result += "\u2421";
    } else if (isHarmful(c)) {
      result += replacement;
    } else {
      result += bytes;
    }
  }
  return result;
}

std::string escapedJSON(std::string_view json) {
  std::string result;
  while (!json.empty()) {
    const auto [c, bytes] = takeCharacter(json);
    std::array<char, 8> escape{};
    if (c == 0x7F || isHarmful(c))
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
    result += escape.front() ? escape.data() : bytes;
  }
  return result;
}

std::size_t columns(std::string_view printable) {
  std::size_t count = 0;
  while (!printable.empty()) count += columns(takeCharacter(printable).codePoint);
  return count;
}

std::string fitted(std::string_view printable, std::size_t limit, Cut cut) {
  if (columns(printable) <= limit) return std::string(printable);
  const std::size_t room = limit - 1;
  const std::size_t before = cut == Cut::end ? room : cut == Cut::middle ? room / 2 : 0;

  std::size_t count = 0;
  std::string_view rest = printable;
  for (std::string_view next = rest; count <= before; rest = next) {
    count += columns(takeCharacter(next).codePoint);
    if (count > before) break;
  }
  std::string result(printable.substr(0, printable.size() - rest.size()));
  result += "…";
  if (cut == Cut::end) return result;
  std::size_t left = columns(rest);
  while (left > room - before) left -= columns(takeCharacter(rest).codePoint);
  return result.append(rest);
}

std::string excerptOf(std::string_view text, std::size_t limit) {
  std::string line;
  for (const char c : text.substr(0, 16 * limit)) {
    const bool isBlank = c == ' ' || (c >= '\t' && c <= '\r');
    if (!isBlank) line += c;
    if (isBlank && !line.empty() && line.back() != ' ') line += ' ';
  }
  if (line.ends_with(' ')) line.pop_back();
  return fitted(printable(line), limit, Cut::middle);
}

std::string percentEncoded(std::string_view path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                         std::string_view("-._~/").find(c) != std::string_view::npos;
    if (isPlain) {
      result += c;
    } else {
      result.append(1, '%').append(1, digits[byte >> 4]).append(1, digits[byte & 0xF]);
    }
  }
  return result;
}

}  // namespace caprion::tool
