#include "platform/text.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace caprion {

namespace {

/// What some bytes begin with: a character, or an ill-formed part of one.
struct Beginning {
  std::size_t length;
  bool wellFormed;
};

/// By the Unicode standard's table of well-formed byte sequences. `bytes` must not be empty.
Beginning beginningOf(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t expected = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The range of the second byte excludes overlong forms, surrogates and code points past U+10FFFF.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  std::size_t length = 1;
  while (length < expected && length < bytes.size() && byte(length) >= low && byte(length) <= high) {
    ++length;
    low = 0x80;
    high = 0xBF;
  }
  return {length, length == expected};
}

/// The length of the well-formed run that begins at `start`.
std::size_t wellFormedLength(std::string_view bytes, std::size_t start = 0) {
  std::size_t end = start;
  while (end < bytes.size()) {
    const Beginning character = beginningOf(bytes.substr(end));
    if (!character.wellFormed) break;
    end += character.length;
  }
  return end - start;
}

/// Unicode's categories Z, U+0009 to U+000D and U+0085.
constexpr std::string_view whitespacesAndNewlines[] = {
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

/// The common case: visible ASCII.
bool isGraphic(char byte) { return byte > ' ' && byte <= '~'; }

}  // namespace

bool isValidUTF8(std::string_view bytes) noexcept { return wellFormedLength(bytes) == bytes.size(); }

std::string repairedUTF8(std::string bytes) {
  std::size_t done = wellFormedLength(bytes);
  if (done == bytes.size()) return bytes;
  std::string repaired(bytes, 0, done);
  while (done < bytes.size()) {
    repaired += "\uFFFD";
    done += beginningOf(std::string_view(bytes).substr(done)).length;
    const std::size_t length = wellFormedLength(bytes, done);
    repaired.append(bytes, done, length);
    done += length;
  }
  return repaired;
}

std::string_view trimmed(std::string_view text) noexcept {
  const auto startsWith = [&](std::string_view space) { return text.starts_with(space); };
  const auto endsWith = [&](std::string_view space) { return text.ends_with(space); };
  while (!text.empty() && !isGraphic(text.front())) {
    const auto* const space = std::ranges::find_if(whitespacesAndNewlines, startsWith);
    if (space == std::end(whitespacesAndNewlines)) break;
    text.remove_prefix(space->size());
  }
  while (!text.empty() && !isGraphic(text.back())) {
    const auto* const space = std::ranges::find_if(whitespacesAndNewlines, endsWith);
    if (space == std::end(whitespacesAndNewlines)) break;
    text.remove_suffix(space->size());
  }
  return text;
}

}  // namespace caprion
