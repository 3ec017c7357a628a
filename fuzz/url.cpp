// Any bytes as a URL, as the path of one, and as an identifier that names a folder.
#include "download/cache_folder.hpp"
#include "platform/letter_case.hpp"
#include "platform/url_components.hpp"

#include <cassert>
#include <regex>

using namespace caprion;

namespace {

/// The grammar of RFC 3986, except that brackets may hold any characters of an address.
std::regex grammar() {
  const auto many = [](const std::string& more) {
    return "(?:[a-z0-9._~!$&'()*+,;=" + more + "-]|%[0-9a-f]{2})*";
  };
  const std::string scheme = "(?:([a-z][a-z0-9+.-]*):|(?![^/?#]*:))";
  const std::string host = R"((\[[a-z0-9._~!$&'()*+,;=:-]+\]|)" + many("") + ")";
  const std::string authority = "(?://(?:" + many(":") + "@)?" + host + "(?::[0-9]*)?(?![^/?#])|(?!//))";
  const std::string path = "(" + many(":@/") + ")";
  const std::string rest = "(?:\\?" + many(":@/?") + ")?(?:#" + many(":@/?") + ")?";
  return std::regex(scheme + authority + path + rest, std::regex::ECMAScript | std::regex::icase);
}

std::string unescaped(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    plain += text[i] != '%' ? text[i] : static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
    if (text[i] == '%') i += 2;
  }
  return plain;
}

void checkText(const std::string& text) {
  static const std::regex expected = grammar();
  if (text.size() > 300) return;  // std::regex uses the stack for each character
  std::smatch match;
  const auto url = URL::fromString(text);
  assert(url.has_value() == (!text.empty() && std::regex_match(text, match, expected)));
  if (!url) return;
  assert(url->absoluteString() == text && url->scheme() == lowercasedASCII(match.str(1)));
  assert(url->host() == lowercasedASCII(unescaped(match.str(2))) && url->path() == unescaped(match.str(3)));
  std::string path = match.str(3);
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  assert(url->lastPathComponent() == (path == "/" ? path : unescaped(path.substr(path.rfind('/') + 1))));
}

/// Checks that the name of a folder can be converted back, so no two texts have the same name.
void checkFolder(const std::string& text) {
  const std::string name = pathComponent(text);
  assert(!name.empty() && name != "." && name != "..");
  assert(name.find_first_of(std::string_view("/\0", 2)) == std::string::npos);
  assert(name == "%" ? text.empty() : unescaped(name) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string input(data, size);
  checkText(input);
  checkFolder(input);
  const auto url = URLComponents{"https", "a.b", input}.url();
  assert(url.has_value() == (input.empty() || input.starts_with('/')));
  assert(!url || (url->scheme() == "https" && url->host() == "a.b" && url->path() == input));
  assert(!url || URL::fromString(url->absoluteString()) == url);
  return 0;
}
