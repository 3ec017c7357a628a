#pragma once

#include "network/answer_head.hpp"
#include "network/connection_sockets.hpp"
#include "network/content_decoding.hpp"
#include "network/session_task.hpp"
#include "network/transport_settings.hpp"

#include <caprion/error.hpp>

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// One HTTP exchange with one URL on a libcurl easy handle, driven by the session's multi handle. libcurl
/// only transports bytes; decoding and redirects are handled here, in steps that are short whatever a server
/// sends.
class Transfer {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// The result of a transfer: a retry on a new connection, a redirect to follow, an error, or else a
  /// response.
  struct Outcome {
    bool needsFreshConnection = false;
    std::optional<std::string> redirect;  // where to, as WebURL::resolved() gives it
    std::optional<Error> error;
    int statusCode = 0;
  };

  /// Sets up the task's exchange. Throws std::bad_alloc.
  Transfer(SessionTask& task, const TransportSettings& settings, ConnectionSockets& sockets);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy() const { return easy_.get(); }

  /// Records libcurl's result.
  void finish(CURLcode result) { result_ = result; }

  /// To be called after each curl_multi_perform. Decodes received data into the task, for at most `longest`,
  /// and unpauses libcurl. Returns whether there is more to decode.
  bool decode(std::chrono::nanoseconds longest) noexcept;

  /// Absent until the transfer is complete and decoded, or the rest of it doesn't matter.
  std::optional<Outcome> outcome() noexcept;

  /// When the transfer times out or, for a redirect, is followed. Absent before there is a connection:
  /// libcurl times out connecting itself.
  std::optional<Time> deadline() noexcept;

  /// Whether ending the transfer now would leave a resolver thread behind.
  bool isResolving() const noexcept;

  /// Ignores the rest of the answer, and no longer uses the task.
  void abandon() noexcept;

 private:
  static std::size_t receiveLine(char* bytes, std::size_t one, std::size_t count, void* self) noexcept;
  static std::size_t receive(char* bytes, std::size_t one, std::size_t count, void* self) noexcept;
  static int checkConnection(void* self, char*, char*, int, int) noexcept;
  static int watchProxy(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;

  std::optional<Error> readLine(std::string_view line);
  bool isConnected() const noexcept;
  bool hasMoreToDecode() const;
  Error failure(CURLcode result) const;

  struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  SessionTask& task_;
  const ConnectionSockets& sockets_;
  std::array<char, CURL_ERROR_SIZE> message_{};
  std::unique_ptr<curl_slist, FreeList> headers_;
  std::unique_ptr<CURL, FreeEasy> easy_;

  bool wasConnected_ = false;
  bool isStale_ = false;                                  // the reused connection had unread data
  long silentReads_ = 0;                                  // reads since libcurl last delivered something
  Time lastProgress_ = std::chrono::steady_clock::now();  // of the connection, the head or the body

  AnswerHead head_;
  std::optional<std::string> redirect_;  // not yet followed

  std::size_t received_ = 0;  // bytes of the body, encoded
  std::size_t decoded_ = 0;
  std::string pending_;  // received and not yet decoded
  bool isPaused_ = false;
  std::optional<ContentDecoding> decoding_;  // set at the end of the head, except for a redirect

  std::optional<CURLcode> result_;
  std::optional<Error> failure_;  // why this object ended the transfer
};

}  // namespace caprion
