#include "network/connection_sockets.hpp"

#include "platform/descriptor.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace caprion {

namespace {

/// How long sent data may stay unacknowledged.
constexpr unsigned unacknowledgedLimit = 15'000;  // ms

int localPortOf(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

}  // namespace

void ConnectionSockets::serve(CURL* easy) noexcept {
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, open);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, close);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, this);
}

bool ConnectionSockets::isReady(int localPort) const noexcept {
  for (const int socket : sockets_) {
    if (localPortOf(socket) != localPort) continue;
    ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &unacknowledgedLimit, sizeof unacknowledgedLimit);
    pollfd readable{.fd = socket, .events = POLLIN, .revents = 0};
    if (::poll(&readable, 1, 0) != 0) return false;
  }
  return true;
}

/// Child processes don't inherit the socket, and it is never descriptor 0, 1 or 2: a host that has closed
/// those would otherwise send its output to the server.
curl_socket_t ConnectionSockets::open(void* self, curlsocktype, curl_sockaddr* address) noexcept {
  const int socket =
      pastStandardDescriptors(::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol));
  try {
    if (socket >= 0) static_cast<ConnectionSockets*>(self)->sockets_.insert(socket);
    return socket;
  } catch (const std::bad_alloc&) {
    ::close(socket);
    errno = ENOMEM;
    return CURL_SOCKET_BAD;
  }
}

int ConnectionSockets::close(void* self, curl_socket_t socket) noexcept {
  static_cast<ConnectionSockets*>(self)->sockets_.erase(socket);
  return ::close(socket);
}

}  // namespace caprion
