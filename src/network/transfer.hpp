#pragma once

#include "network/url_request.hpp"

#include <caprion/error.hpp>
#include <caprion/url.hpp>

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// Where this process finds its proxies and its certificate authorities, as the environment tells. An empty
/// text means none, or the system's own authorities.
struct TransportSettings {
  std::string httpProxy;
  std::string httpsProxy;
  std::string noProxy;
  std::string certificateFile;
  std::string certificateFolder;

  static TransportSettings fromEnvironment();
};

/// The scheme that the text begins with, in lower case; empty when it has none.
std::string lowercasedScheme(std::string_view url);

/// The host of an http or https URL, in lower case; absent when it isn't one with a host.
std::optional<std::string> hostOf(const std::string& url);

/// One HTTP exchange with one URL on a libcurl easy handle: set up here, driven by the session's multi
/// handle.
class Transfer {
 public:
  /// Takes the next bytes of the body; an error ends the transfer.
  using Write = std::function<std::optional<Error>(std::string_view)>;

  /// What came of a transfer: a redirect to follow, an error, or neither, which is a response.
  struct Outcome {
    int statusCode = 0;
    std::optional<std::string> redirect;  // the URL to go on with
    std::optional<Error> error;
  };

  /// Sets up a GET of `request` at `url` whose body may have `sizeLimit` bytes. Throws std::bad_alloc.
  Transfer(const URLRequest& request, std::string url, const TransportSettings& settings,
           std::size_t sizeLimit, Write write);

  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy() const { return easy_.get(); }

  /// When the server was last heard of; absent until the connection is made, for which libcurl has a time-out
  /// of its own.
  std::optional<std::chrono::steady_clock::time_point> lastHeard();

  /// Whether ending the transfer now would leave a thread behind that looks a name up.
  bool isLookingUp() const;

  /// Takes nothing more of the answer.
  void abandon() { isAbandoned_ = true; }

  /// To be called once, when libcurl has ended the transfer with `result`.
  Outcome outcome(CURLcode result);

 private:
  static std::size_t receive(char* bytes, std::size_t one, std::size_t count, void* self) noexcept;
  static std::size_t receiveHeader(char* bytes, std::size_t one, std::size_t count, void* self) noexcept;

  std::optional<std::string> redirectTarget(int statusCode) const;

  struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  std::string url_;
  std::size_t sizeLimit_;
  std::size_t size_ = 0;
  Write write_;
  std::optional<std::chrono::steady_clock::time_point> lastHeard_;
  bool headHasEnded_ = false;  // of the latest answer
  bool isAbandoned_ = false;
  std::optional<Error> failure_;  // why receive() ended the transfer
  std::array<char, CURL_ERROR_SIZE> message_{};
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::unique_ptr<CURL, FreeEasy> easy_;
};

}  // namespace caprion
