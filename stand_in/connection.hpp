#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace caprion::stand_in {

/// Thrown if a connection can't go on: the client went away or broke the protocol, or the server ends.
struct Gone {};

/// An accepted connection, plain at first and through TLS after startTLS(). Every member that waits also
/// watches the server's stop descriptor, and throws Gone as soon as it is readable.
///
/// For one thread only, which must have SIGPIPE blocked: OpenSSL writes with write(2).
class Connection {
 public:
  /// Takes ownership of `socket`, which must be non-blocking, but not of `stop`.
  Connection(int socket, int stop);
  ~Connection();

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Answers the TLS handshake that the client begins.
  void startTLS(SSL_CTX* context);

  /// Reads up to and including the next `mark`. Throws Gone if that is longer than `limit`.
  std::string readThrough(std::string_view mark, std::size_t limit);

  /// Reads and discards `count` bytes.
  void skip(std::uint64_t count);

  void write(std::string_view bytes);

  /// Waits until the client's system has received everything that was written.
  void awaitDelivery();

  /// Waits. Throws Gone if the client doesn't stay that long.
  void pause(std::chrono::milliseconds time);

  /// Keeps the connection open until the client or the server ends it.
  [[noreturn]] void hang();

  /// Closes the connection: the client reads the end of the stream.
  void close();

  /// Resets the connection (RST): the client reads an error.
  void reset();

 private:
  void fill();
  bool await(short events, int milliseconds = -1);
  short wantedAfter(int result);

  struct FreeTLS {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };

  int socket_;
  int stop_;
  std::unique_ptr<SSL, FreeTLS> tls_;
  std::string unread_;
};

}  // namespace caprion::stand_in
