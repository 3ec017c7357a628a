#include "platform/text.hpp"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <utility>

namespace caprion {

namespace {

/// How the bytes begin: with a character, or with what is left of one.
struct Beginning {
  std::size_t length;
  bool wellFormed;
};

/// What bytes that aren't empty begin with, by the Unicode standard's table of well-formed byte sequences.
Beginning beginningOf(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t expected = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte is where overlong forms, surrogates and what lies behind U+10FFFF are told apart.
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

/// How many bytes from `start` on are well-formed.
std::size_t wellFormedLength(std::string_view bytes, std::size_t start = 0) {
  std::size_t end = start;
  while (end < bytes.size()) {
    const Beginning character = beginningOf(bytes.substr(end));
    if (!character.wellFormed) break;
    end += character.length;
  }
  return end - start;
}

/// White space and newlines: Unicode's categories Z, U+0009 to U+000D and U+0085.
constexpr std::string_view whitespacesAndNewlines[] = {
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

PCRE2_SPTR units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data() != nullptr ? text.data() : "");
}

void writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (count < 0 && errno == EAGAIN) {
      pollfd writable{.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&writable, 1, -1);
    } else if (count == 0 || errno != EINTR) {
      return;
    }
  }
}

/// Keeps a host whose standard output nobody reads any more from being ended for the library's writing.
class PipeSignalBlocked {
 public:
  PipeSignalBlocked() {
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGPIPE);
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~PipeSignalBlocked() {
    const timespec now{};
    if (!wasPending_) ::sigtimedwait(&signal_, nullptr, &now);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalBlocked(const PipeSignalBlocked&) = delete;
  PipeSignalBlocked& operator=(const PipeSignalBlocked&) = delete;

 private:
  sigset_t signal_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

/// Whether the byte is an ASCII character to be seen, as most are.
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

std::string lowercasedASCII(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::string lowercased(std::string_view text) {
  // PCRE2 has the letters of all scripts, for substitutions that change the case.
  static pcre2_code* const anything = [] {
    int error = 0;
    PCRE2_SIZE offset = 0;
    return pcre2_compile(units(".+"), PCRE2_ZERO_TERMINATED, PCRE2_UTF | PCRE2_UCP | PCRE2_DOTALL, &error,
                         &offset, nullptr);
  }();
  std::string result(text.size() * 2 + 1, '\0');  // no letter grows more than that
  PCRE2_SIZE length = result.size();
  const int count = pcre2_substitute(anything, units(text), text.size(), 0, PCRE2_SUBSTITUTE_EXTENDED,
                                     nullptr, nullptr, units("\\L$0"), PCRE2_ZERO_TERMINATED,
                                     reinterpret_cast<PCRE2_UCHAR*>(result.data()), &length);
  if (count < 0) return lowercasedASCII(text);
  result.resize(length);
  return result;
}

void printLine(std::string_view text) noexcept {
  const PipeSignalBlocked blocked;
  flockfile(stdout);
  std::fflush(stdout);
  // A standard output that doesn't block, as an event loop's may be, is waited for.
  writeAll(STDOUT_FILENO, text);
  writeAll(STDOUT_FILENO, "\n");
  funlockfile(stdout);
}

}  // namespace caprion
