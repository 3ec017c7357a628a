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

/// What to send back, and how to spoil it.
struct Answer {
  enum class Fault {
    none,
    reset,        ///< the connection is reset (RST) before a byte is sent
    close,        ///< the connection is closed before a byte is sent
    truncate,     ///< the head promises the whole body; half of it is sent, then the connection is closed
    drip,         ///< the answer goes out one byte at a time, `interval` apart
    hang,         ///< nothing is sent; the connection stays open until the other side or the server ends it
    garbage,      ///< `body` goes out raw, without an HTTP head, then the connection is closed
    apart,        ///< head and body go out one after the other, the body together with `stray`
    endless,      ///< the head has no length, and `body` is repeated until the other side goes away
    endlessHead,  ///< the same of the head, which doesn't end
  };

  int status = 200;

  /// Content-Length is added when neither it nor Transfer-Encoding is given. An answer that does bring one of
  /// them is sent as it is, true or not, and the connection is closed after it.
  Headers headers{};
  std::string body{};
  Fault fault = Fault::none;
  std::chrono::milliseconds interval{100};  ///< of `drip`
  std::chrono::milliseconds delay{0};       ///< to wait before answering at all
  std::string stray{};  ///< sent behind the whole answer, on a connection that can carry another request
};

/// A local stand-in of the subtitle service: an HTTP proxy on a loopback port that the kernel picks. Whatever
/// host a client asks it for, it answers itself: plain requests at once, and behind CONNECT it ends TLS with
/// a certificate for that host, signed by a throw-away authority made at start. A few reserved host names get
/// a faulty certificate instead; README.md beside this file lists them.
///
/// Every connection has a thread of its own. All members may be called from any thread.
class StandIn {
 public:
  /// Looked at for every request, on the connection's thread, so for several requests at a time; absent hands
  /// the request to the catalogue. An exception becomes an answer of status 500. The destructor waits for a
  /// handler that is running: for a slow answer use `delay` or `hang` instead of sleeping in it.
  using Handler = std::function<std::optional<Answer>(const Request&)>;

  /// Starts serving. `catalogue` is a folder with "catalogue.json" and archives (see README.md beside this
  /// file); an empty path serves no hits. Throws std::runtime_error when it can't start.
  explicit StandIn(std::filesystem::path catalogue = {}, Handler handler = {});

  /// Closes all connections and ends all threads, then removes the authority's file.
  ~StandIn();

  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  /// Replaces the handler, for the requests from now on; the old one may still be busy with earlier ones.
  void setHandler(Handler handler);

  std::uint16_t port() const;

  /// "http://127.0.0.1:PORT", the value for https_proxy and http_proxy.
  std::string proxyURL() const;

  /// The PEM file of the authority that signed the certificates, the value for SSL_CERT_FILE.
  std::filesystem::path authorityFile() const;

  /// The requests so far, in the order of their arrival. The CONNECT that opens a tunnel is not one of them.
  std::vector<Request> requests() const;

  /// Waits until there have been at least `count` requests; false when they don't come in time.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  /// How many answers have gone out whole, and the wait for so many.
  std::size_t answers() const;
  bool waitForAnswers(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  /// Connections accepted so far.
  std::size_t connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace caprion::stand_in
