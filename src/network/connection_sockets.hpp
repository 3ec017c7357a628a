#pragma once

#include <curl/curl.h>

#include <set>

namespace caprion {

/// The sockets of libcurl's connections, which are ours to open and to close, as libcurl doesn't tell which
/// of them a request is about to go out on.
class ConnectionSockets {
 public:
  /// Has the easy handle's connections use sockets of this, which must outlive all of them.
  void serve(CURL* easy) noexcept;

  /// Whether the connection from this local port can carry a request: whether there is nothing to read on it.
  /// From now on the system counts it as lost when what is sent stays without an answer, such as behind a
  /// router that has forgotten it.
  bool isReady(int localPort) const noexcept;

 private:
  static curl_socket_t open(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
  static int close(void* self, curl_socket_t socket) noexcept;

  std::set<int> sockets_;
};

}  // namespace caprion
