#include "connection.hpp"

#include <linux/sockios.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace caprion::stand_in {

Connection::Connection(int socket, int stop) : socket_(socket), stop_(stop) {}

Connection::~Connection() {
  if (socket_ >= 0) ::close(socket_);
}

void Connection::startTLS(SSL_CTX* context) {
  // The client sent bytes before it was told that the tunnel is open; OpenSSL wouldn't see them.
  if (!unread_.empty()) throw Gone{};
  tls_.reset(SSL_new(context));
  if (!tls_ || SSL_set_fd(tls_.get(), socket_) != 1) throw Gone{};
  for (;;) {
    ERR_clear_error();
    const int result = SSL_accept(tls_.get());
    if (result == 1) return;
    await(wantedAfter(result));
  }
}

std::string Connection::readThrough(std::string_view mark, std::size_t limit) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t at = unread_.find(mark, searched);
    if (at != std::string::npos) {
      const std::size_t size = at + mark.size();
      std::string found = unread_.substr(0, size);
      unread_.erase(0, size);
      return found;
    }
    if (unread_.size() > limit) throw Gone{};
    searched = unread_.size() - std::min(unread_.size(), mark.size() - 1);
    fill();
  }
}

void Connection::skip(std::uint64_t count) {
  while (count > unread_.size()) {
    count -= unread_.size();
    unread_.clear();
    fill();
  }
  unread_.erase(0, static_cast<std::size_t>(count));
}

// Appends the next bytes, at least one.
void Connection::fill() {
  char bytes[16384];
  short wanted = POLLIN;
  for (;;) {
    // Bytes that OpenSSL has already read don't make the socket readable.
    if (!tls_ || SSL_pending(tls_.get()) == 0) await(wanted);
    if (tls_) {
      ERR_clear_error();
      const int got = SSL_read(tls_.get(), bytes, sizeof bytes);
      if (got > 0) {
        unread_.append(bytes, static_cast<std::size_t>(got));
        return;
      }
      wanted = wantedAfter(got);
    } else {
      const ssize_t got = recv(socket_, bytes, sizeof bytes, 0);
      if (got > 0) {
        unread_.append(bytes, static_cast<std::size_t>(got));
        return;
      }
      if (got == 0 || (errno != EAGAIN && errno != EINTR)) throw Gone{};
    }
  }
}

void Connection::write(std::string_view bytes) {
  short wanted = POLLOUT;
  while (!bytes.empty()) {
    // Before each attempt, not only when the socket is full: so the server can end while it sends an endless
    // body to a fast client.
    await(wanted);
    ssize_t sent;
    if (tls_) {
      ERR_clear_error();
      sent =
          SSL_write(tls_.get(), bytes.data(),
                    static_cast<int>(std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max())));
      wanted = sent > 0 ? short{POLLOUT} : wantedAfter(static_cast<int>(sent));
    } else {
      sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno != EAGAIN && errno != EINTR) throw Gone{};
    }
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void Connection::awaitDelivery() {
  pollfd stopped{.fd = stop_, .events = POLLIN, .revents = 0};
  for (int unacknowledged = 1; ::ioctl(socket_, SIOCOUTQ, &unacknowledged) == 0 && unacknowledged > 0;) {
    if (::poll(&stopped, 1, 1) > 0) throw Gone{};
  }
}

void Connection::pause(std::chrono::milliseconds time) {
  if (time.count() <= 0) return;
  const auto longest = std::chrono::milliseconds(std::numeric_limits<int>::max());
  if (await(POLLRDHUP, static_cast<int>(std::min(time, longest).count()))) throw Gone{};
}

void Connection::hang() {
  await(POLLRDHUP);
  throw Gone{};
}

void Connection::close() {
  if (socket_ < 0) return;
  if (tls_) {
    ERR_clear_error();
    SSL_shutdown(tls_.get());  // sends the close_notify, without waiting for the client's
  }
  // With bytes left to read, close() alone would reset the connection.
  shutdown(socket_, SHUT_WR);
  ::close(std::exchange(socket_, -1));
}

void Connection::reset() {
  const linger none{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
  ::close(std::exchange(socket_, -1));
}

// Waits; false if neither one of the events nor the connection's end came in time.
bool Connection::await(short events, int milliseconds) {
  pollfd watched[] = {{socket_, events, 0}, {stop_, POLLIN, 0}};
  int ready;
  do {
    ready = poll(watched, 2, milliseconds);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0 || watched[1].revents != 0) throw Gone{};
  return ready > 0;
}

// The event that OpenSSL needs before it can repeat a call that returned `result`.
short Connection::wantedAfter(int result) {
  switch (SSL_get_error(tls_.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return POLLIN;
    case SSL_ERROR_WANT_WRITE:
      return POLLOUT;
    default:
      throw Gone{};
  }
}

}  // namespace caprion::stand_in
