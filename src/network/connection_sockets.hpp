#pragma once

#include <curl/curl.h>

#include <set>

namespace caprion {

/// Opens and closes the sockets of libcurl's connections, as libcurl doesn't tell which socket a request is
/// about to be sent on.
class ConnectionSockets {
 public:
  /// Makes the easy handle open its sockets here. This object must outlive all connections.
  void serve(CURL* easy) noexcept;

  /// Whether the connection from this local port can carry a request: whether it has no unread data. Also
  /// sets TCP_USER_TIMEOUT on it, so that a connection that a NAT router has dropped is noticed.
  bool isReady(int localPort) const noexcept;

 private:
  static curl_socket_t open(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
  static int close(void* self, curl_socket_t socket) noexcept;

  std::set<int> sockets_;
};

}  // namespace caprion
