#include "network/transfer.hpp"

#include "network/transport_error.hpp"
#include "platform/descriptor.hpp"
#include "platform/error.hpp"
#include "platform/letter_case.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <utility>

namespace caprion {

namespace {

/// The first of the variables that is set and not empty. Nothing is read in a set-uid program.
std::string environment(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = ::secure_getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

template <typename Value>
void set(CURL* easy, CURLoption option, Value value) {
  // The options used here are all known to this libcurl, so what is left to fail is a copy of a text.
  if (curl_easy_setopt(easy, option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

/// Opens a socket that a program started by the host doesn't inherit, and never as descriptor 0, 1 or 2: a
/// host that has closed those would have its own output sent to the server.
curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
  return pastStandardDescriptors(
      ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol));
}

bool isRedirect(int statusCode) {
  return statusCode == 301 || statusCode == 302 || statusCode == 303 || statusCode == 307 ||
         statusCode == 308;
}

/// The URL with the characters encoded that libcurl leaves as they are, and that no URL may hold.
std::string encoded(std::string_view url) {
  std::string result;
  for (const char c : url) {
    if (std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos) {
      result += c;
    } else {
      result += {'%', "0123456789ABCDEF"[c >> 4], "0123456789ABCDEF"[c & 15]};
    }
  }
  return result;
}

/// A URL taken apart by libcurl, which is what decides where a transfer goes.
class ParsedURL {
 public:
  /// Sets the URL, or resolves a reference against the one that was set; false when the text is neither.
  bool set(const char* text, unsigned flags) {
    return handle_ && curl_url_set(handle_.get(), CURLUPART_URL, text, flags) == CURLUE_OK;
  }
  std::optional<std::string> get(CURLUPart part) const {
    char* text = nullptr;
    if (curl_url_get(handle_.get(), part, &text, 0) != CURLUE_OK) return std::nullopt;
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return owned.get();
  }

 private:
  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> handle_{curl_url(), curl_url_cleanup};
};

}  // namespace

std::string lowercasedScheme(std::string_view url) {
  const std::size_t end = url.find_first_of(":/?#");
  return end != std::string_view::npos && url[end] == ':' ? lowercasedASCII(url.substr(0, end)) : "";
}

std::optional<std::string> hostOf(const std::string& url) {
  ParsedURL parsed;
  const std::size_t scheme = std::min(url.find(':'), url.size());
  if (url.compare(scheme, 4, ":///") == 0)
    return std::nullopt;  // libcurl would take "https:///x" for the host x
  if (!parsed.set(url.c_str(), CURLU_PATH_AS_IS)) return std::nullopt;
  auto host = parsed.get(CURLUPART_HOST);
  if (host) *host = lowercasedASCII(*host);
  return host;
}

TransportSettings TransportSettings::fromEnvironment() {
  TransportSettings settings;
  // HTTP_PROXY is left out: to a CGI program that is what a client's "Proxy" header field becomes.
  settings.httpProxy = environment({"http_proxy", "all_proxy", "ALL_PROXY"});
  settings.httpsProxy = environment({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  settings.noProxy = environment({"no_proxy", "NO_PROXY"});
  settings.certificateFile = environment({"SSL_CERT_FILE"});
  settings.certificateFolder = environment({"SSL_CERT_DIR"});
  return settings;
}

Transfer::Transfer(const URLRequest& request, std::string url, const TransportSettings& settings,
                   std::size_t sizeLimit, Write write)
    : url_(std::move(url)), sizeLimit_(sizeLimit), write_(std::move(write)), easy_(curl_easy_init()) {
  CURL* easy = easy_.get();
  if (easy == nullptr) throw std::bad_alloc();
  for (const auto& [field, value] : request.headerFields) {
    curl_slist* longer =
        curl_slist_append(headers_.get(), std::string(field).append(": ").append(value).c_str());
    if (longer == nullptr) throw std::bad_alloc();
    (void)headers_.release();
    headers_.reset(longer);
  }
  const bool secure = lowercasedScheme(url_) == "https";

  set(easy, CURLOPT_URL, url_.c_str());
  set(easy, CURLOPT_PATH_AS_IS, 1L);  // "a/../b" in a search text is not a path to be shortened
  set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  set(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  set(easy, CURLOPT_HTTPHEADER, headers_.get());
  set(easy, CURLOPT_ACCEPT_ENCODING, "");  // all that libcurl can undo

  // Texts are set even when empty: libcurl would look into the environment itself, which a host may be
  // changing.
  set(easy, CURLOPT_PROXY, (secure ? settings.httpsProxy : settings.httpProxy).c_str());
  set(easy, CURLOPT_NOPROXY, settings.noProxy.c_str());
  for (const CURLoption option : {CURLOPT_CAINFO, CURLOPT_PROXY_CAINFO}) {
    if (!settings.certificateFile.empty()) set(easy, option, settings.certificateFile.c_str());
  }
  for (const CURLoption option : {CURLOPT_CAPATH, CURLOPT_PROXY_CAPATH}) {
    if (!settings.certificateFolder.empty()) set(easy, option, settings.certificateFolder.c_str());
  }

  set(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.timeoutInterval.count()));
  set(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(sizeLimit_));

  set(easy, CURLOPT_NOSIGNAL, 1L);
  set(easy, CURLOPT_QUICK_EXIT, 1L);  // don't wait for a name look-up that nobody needs any more
  set(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  set(easy, CURLOPT_ERRORBUFFER, message_.data());
  set(easy, CURLOPT_WRITEFUNCTION, receive);
  set(easy, CURLOPT_WRITEDATA, this);
  set(easy, CURLOPT_HEADERFUNCTION, receiveHeader);
  set(easy, CURLOPT_HEADERDATA, this);
  // libcurl 7.88 gets stuck over TLS on a request that doesn't fit into its buffer twice.
  if (url_.size() > 32'768) set(easy, CURLOPT_UPLOAD_BUFFERSIZE, 2L << 20);
}

std::optional<std::chrono::steady_clock::time_point> Transfer::lastHeard() {
  curl_off_t connected = 0;
  curl_easy_getinfo(easy(), CURLINFO_PRETRANSFER_TIME_T, &connected);
  if (!lastHeard_ && connected > 0) lastHeard_ = std::chrono::steady_clock::now();
  return lastHeard_;
}

bool Transfer::isLookingUp() const {
  curl_off_t found = 0;
  curl_easy_getinfo(easy(), CURLINFO_NAMELOOKUP_TIME_T, &found);
  return found == 0;
}

std::size_t Transfer::receiveHeader(char* bytes, std::size_t one, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::string_view line(bytes, one * count);
  transfer.lastHeard_ = std::chrono::steady_clock::now();
  if (line.starts_with("HTTP/")) transfer.headHasEnded_ = false;
  if (line == "\r\n" || line == "\n") transfer.headHasEnded_ = true;
  return line.size();
}

std::size_t Transfer::receive(char* bytes, std::size_t one, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t size = one * count;
  if (transfer.isAbandoned_) return CURL_WRITEFUNC_ERROR;
  transfer.lastHeard_ = std::chrono::steady_clock::now();
  try {
    transfer.size_ += size;
    transfer.failure_ = transfer.size_ > transfer.sizeLimit_
                            ? std::optional(urlError(url_error::dataLengthExceedsMaximum))
                            : transfer.write_({bytes, size});
  } catch (const std::bad_alloc&) {
    transfer.failure_ = posixError(ENOMEM);
  }
  return transfer.failure_ ? CURL_WRITEFUNC_ERROR : size;
}

Transfer::Outcome Transfer::outcome(CURLcode result) {
  Outcome outcome;
  if (failure_) {
    outcome.error = failure_;
  } else if (result != CURLE_OK) {
    outcome.error = transportError(result, easy(), message_.data());
  } else if (!headHasEnded_) {  // which to libcurl is an answer without a body
    outcome.error = urlError(url_error::networkConnectionLost);
  } else {
    long statusCode = 0;
    curl_easy_getinfo(easy(), CURLINFO_RESPONSE_CODE, &statusCode);
    outcome.statusCode = static_cast<int>(statusCode);
    outcome.redirect = redirectTarget(outcome.statusCode);
  }
  return outcome;
}

std::optional<std::string> Transfer::redirectTarget(int statusCode) const {
  curl_header* location = nullptr;
  if (!isRedirect(statusCode) ||
      curl_easy_header(easy(), "Location", 0, CURLH_HEADER, -1, &location) != CURLHE_OK ||
      *location->value == '\0') {
    return std::nullopt;
  }
  ParsedURL parsed;
  std::optional<std::string> target;
  if (parsed.set(url_.c_str(), CURLU_PATH_AS_IS) &&
      parsed.set(location->value, CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE | CURLU_ALLOW_SPACE)) {
    target = parsed.get(CURLUPART_URL);
  }
  if (std::string_view(location->value).find(":///") != std::string_view::npos) target.reset();
  return target ? encoded(*target) : location->value;  // what can't be followed is for the session to refuse
}

}  // namespace caprion
