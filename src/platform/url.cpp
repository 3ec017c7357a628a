#include "platform/letter_case.hpp"
#include "platform/percent_encoding.hpp"
#include "platform/text.hpp"
#include "platform/url_components.hpp"

#include <caprion/url.hpp>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

namespace CAPRION_NAMESPACE {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isOneOf(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// The character classes of RFC 3986, section 2 and appendix A.
bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || isOneOf("-._~", c); }
bool isSubDelim(char c) { return isOneOf("!$&'()*+,;=", c); }
bool mayStandInPath(char c) { return isUnreserved(c) || isSubDelim(c) || isOneOf(":@/", c); }

/// Whether the text consists of percent-escapes, path characters, and those in `more`.
bool isMadeOf(std::string_view text, std::string_view more) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
      i += 2;
    } else if (!mayStandInPath(text[i]) && !isOneOf(more, text[i])) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) {
  if (text.empty() || !isAlpha(text.front())) return false;
  for (char c : text) {
    if (!isAlpha(c) && !isDigit(c) && !isOneOf("+-.", c)) return false;
  }
  return true;
}

/// The components of a URL reference, split by appendix B of RFC 3986.
struct Pieces {
  std::optional<std::string_view> scheme, authority;
  std::string_view path;
  std::string_view queryAndFragment;  // with the '?' or '#' in front
};

Pieces split(std::string_view text) {
  Pieces pieces;
  const std::size_t colon = text.find_first_of(":/?#");
  if (colon != std::string_view::npos && colon > 0 && text[colon] == ':') {
    pieces.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    const std::size_t end = std::min(text.find_first_of("/?#"), text.size());
    pieces.authority = text.substr(0, end);
    text.remove_prefix(end);
  }
  const std::size_t end = std::min({text.find('?'), text.find('#'), text.size()});
  pieces.path = text.substr(0, end);
  pieces.queryAndFragment = text.substr(end);
  return pieces;
}

/// The authority without the user information.
std::string_view hostAndPort(std::string_view authority) {
  const std::size_t at = authority.rfind('@');
  return at == std::string_view::npos ? authority : authority.substr(at + 1);
}

/// The length of the host, including the brackets of an IP literal.
std::size_t hostLength(std::string_view hostAndPort) {
  const std::size_t start = hostAndPort.starts_with('[') ? hostAndPort.find(']') : 0;
  return std::min(hostAndPort.find(':', start), hostAndPort.size());
}

bool isAuthority(std::string_view authority) {
  const std::string_view place = hostAndPort(authority);
  const std::string_view user = authority.substr(0, authority.size() - place.size());
  if (!isMadeOf(user, "") || isOneOf(user, '/')) return false;
  if (user.find('@') != std::string_view::npos && user.find('@') + 1 != user.size()) return false;

  const std::string_view host = place.substr(0, hostLength(place));
  if (host.starts_with('[')) {
    if (host.size() < 3 || !host.ends_with(']')) return false;
    for (char c : host.substr(1, host.size() - 2)) {
      if (!isUnreserved(c) && !isSubDelim(c) && c != ':') return false;
    }
  } else if (!isMadeOf(host, "") || host.find_first_of(":@") != std::string_view::npos) {
    return false;
  }
  for (char c : place.substr(std::min(host.size() + 1, place.size()))) {
    if (!isDigit(c)) return false;
  }
  return true;
}

std::string percentEncodedPath(std::string_view path) { return percentEncoded(path, mayStandInPath); }

}  // namespace

URL URL::fileURLWithPath(std::string_view path) {
  std::string absolute;
  if (!path.starts_with('/')) {
    const std::unique_ptr<char, decltype(&std::free)> folder(::getcwd(nullptr, 0), std::free);
    if (!folder && errno == ENOMEM) throw std::bad_alloc();
    // The working directory is gone: give a URL that leads nowhere, not to some other file.
    if (!folder) return URL("./" + percentEncodedPath(path));
    absolute = folder.get();
    if (!absolute.ends_with('/')) absolute += '/';
  }
  absolute += path;
  return URL("file://" + percentEncodedPath(absolute));
}

std::optional<URL> URL::fromString(std::string_view text) {
  const Pieces pieces = split(text);
  const std::size_t fragment = pieces.queryAndFragment.find('#');
  const bool valid =
      !text.empty() && (!pieces.scheme || isScheme(*pieces.scheme)) &&
      (!pieces.authority || isAuthority(*pieces.authority)) && isMadeOf(pieces.path, "") &&
      isMadeOf(pieces.queryAndFragment.substr(0, fragment), "?") &&
      (fragment == std::string_view::npos || isMadeOf(pieces.queryAndFragment.substr(fragment + 1), "?"));
  if (!valid || text.starts_with(':')) return std::nullopt;
  return URL(std::string(text));
}

std::string URL::scheme() const { return lowercasedASCII(split(text_).scheme.value_or("")); }

bool URL::isFileURL() const noexcept {
  const auto scheme = split(text_).scheme.value_or("");
  return scheme.size() == 4 && lowercasedASCII(scheme) == "file";  // short enough to need no allocation
}

std::string URL::host() const {
  const std::string_view place = hostAndPort(split(text_).authority.value_or(""));
  return lowercasedASCII(percentDecoded(place.substr(0, hostLength(place))));
}

std::string URL::path() const { return percentDecoded(split(text_).path); }

std::string URL::lastPathComponent() const {
  std::string_view path = split(text_).path;
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  if (path != "/") path.remove_prefix(path.rfind('/') + 1);  // without a slash, rfind() + 1 is 0
  return percentDecoded(path);
}

std::optional<URL> URLComponents::url() const {
  if (!path.empty() && !path.starts_with('/')) return std::nullopt;
  return URL(scheme + "://" + host + percentEncodedPath(path));
}

}  // namespace CAPRION_NAMESPACE
