#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace caprion::stand_in {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// One request as it arrived, byte for byte.
struct Request {
  std::string scheme;  ///< "https" when it came through a tunnel, else "http"
  std::string host;    ///< the host asked for, without its port (and an IPv6 address without its brackets)
  std::uint16_t port = 0;
  std::string method;
  std::string target;  ///< the path and query of the request line, not decoded
  Headers headers{};

  /// The values of all header fields of this name (in any letter case), in their order.
  std::vector<std::string> header(std::string_view name) const;
};

/// The answer to send, and how to spoil it.
struct Answer {
  enum class Fault {
    none,
    reset,        ///< the connection is reset (RST) before a byte is sent
    close,        ///< the connection is closed before a byte is sent
    truncate,     ///< the head promises the whole body; half of it is sent, then the connection is closed
    drip,         ///< the answer goes out one byte at a time, `interval` apart
    hang,         ///< nothing is sent; the connection stays open until the client or the server ends it
    garbage,      ///< `body` goes out raw, without an HTTP head, then the connection is closed
    apart,        ///< head and body go out one after the other, the body together with `stray`
    endless,      ///< the head has no length, and `body` is repeated until the client goes away
    endlessHead,  ///< the head doesn't end: `body` is repeated in it
  };

  int status = 200;

  /// Content-Length is added if neither it nor Transfer-Encoding is given. An answer with one of them is sent
  /// as it is, even if wrong, and the connection is closed after it.
  Headers headers{};
  std::string body{};
  Fault fault = Fault::none;
  std::chrono::milliseconds interval{100};  ///< of `drip`
  std::chrono::milliseconds delay{0};       ///< to wait before answering at all
  std::string stray{};  ///< sent after the whole answer if the connection can carry another request
};

/// A local stand-in for the subtitle service: an HTTP proxy on a loopback port that the kernel picks. It
/// answers requests for all hosts itself. After a CONNECT it speaks TLS with a certificate for that host,
/// signed by a temporary authority made at start. Some reserved host names get a faulty certificate or
/// connection; README.md lists them.
///
/// Every connection has a thread of its own. All members may be called from any thread.
class StandIn {
 public:
  /// Called for every request, on the connection's thread, so for several requests at a time. If absent is
  /// returned, the catalogue answers. An exception gives an answer with status 500. The destructor waits for
  /// running handlers: for a slow answer, use `delay` or `hang` instead of sleeping.
  using Handler = std::function<std::optional<Answer>(const Request&)>;

  /// Starts serving. `catalogue` is a folder with "catalogue.json" and archives (see README.md); with an
  /// empty path there are no hits. Throws std::runtime_error if it can't start.
  explicit StandIn(std::filesystem::path catalogue = {}, Handler handler = {});

  /// Closes all connections and ends all threads, then removes the authority's file.
  ~StandIn();

  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  /// Replaces the handler for later requests; the old one may still be running for earlier ones.
  void setHandler(Handler handler);

  std::uint16_t port() const;

  /// "http://127.0.0.1:PORT", the value for https_proxy and http_proxy.
  std::string proxyURL() const;

  /// The PEM file of the authority that signed the certificates, the value for SSL_CERT_FILE.
  std::filesystem::path authorityFile() const;

  /// The requests so far, in the order of their arrival. The CONNECT that opens a tunnel is not one of them.
  std::vector<Request> requests() const;

  /// Waits until there have been at least `count` requests; false if they don't come in time.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  /// Waits until an answer to a request for this target has been sent and, with its stray bytes, received by
  /// the client's system; false if that takes too long.
  bool waitForAnswer(std::string_view target,
                     std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  /// Connections accepted so far.
  std::size_t connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace caprion::stand_in
