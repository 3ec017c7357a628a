#include "network/web_url.hpp"

#include "platform/letter_case.hpp"
#include "platform/percent_encoding.hpp"

#include <curl/curl.h>

#include <memory>
#include <new>

namespace caprion {

namespace {

/// A URL parsed by libcurl, as it is libcurl that connects to it.
class ParsedURL {
 public:
  /// Sets the URL, or resolves a reference against the current one; false if the text is neither.
  bool set(const std::string& text, unsigned flags) {
    return isDone(curl_url_set(handle(), CURLUPART_URL, text.c_str(), flags));
  }
  void remove(CURLUPart part) { isDone(curl_url_set(handle(), part, nullptr, 0)); }

  std::optional<std::string> get(CURLUPart part) {
    char* text = nullptr;
    if (!isDone(curl_url_get(handle(), part, &text, 0))) return std::nullopt;
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return owned.get();
  }

 private:
  CURLU* handle() const {
    if (!handle_) throw std::bad_alloc();
    return handle_.get();
  }
  static bool isDone(CURLUcode code) {
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    return code == CURLUE_OK;
  }

  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> handle_{curl_url(), curl_url_cleanup};
};

/// Whether a character needs no percent-encoding, of those that libcurl doesn't encode.
bool mayStay(char c) { return std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos; }

/// Whether the text begins with a scheme and "///". libcurl would read "https:///x" as the host x.
bool lacksHost(const std::string& text) {
  const std::string scheme = schemeOf(text);
  return !scheme.empty() && text.compare(scheme.size(), 4, ":///") == 0;
}

}  // namespace

std::string schemeOf(std::string_view url) {
  const std::size_t end = url.find_first_of(":/?#");
  return end != std::string_view::npos && url[end] == ':' ? lowercasedASCII(url.substr(0, end)) : "";
}

std::optional<WebURL> WebURL::from(const std::string& text) {
  ParsedURL parsed;
  if (lacksHost(text) || !parsed.set(text, CURLU_PATH_AS_IS)) return std::nullopt;
  const auto host = parsed.get(CURLUPART_HOST);
  if (!host) return std::nullopt;
  WebURL url{text, lowercasedASCII(*host), schemeOf(text) == "https"};
  if (parsed.get(CURLUPART_USER) || parsed.get(CURLUPART_PASSWORD)) {
    for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS}) parsed.remove(part);
    url.text = parsed.get(CURLUPART_URL).value_or("");
  }
  return url;
}

std::string WebURL::resolved(const std::string& location) const {
  if (location.starts_with('#')) return text;  // libcurl would drop the path's last segment
  ParsedURL parsed;
  if (lacksHost(location) || !parsed.set(text, CURLU_PATH_AS_IS) ||
      !parsed.set(location, CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE | CURLU_ALLOW_SPACE)) {
    return location;
  }
  return percentEncoded(parsed.get(CURLUPART_URL).value_or(location), mayStay);
}

}  // namespace caprion
