#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace caprion::stand_in {

/// Thrown where a connection can't go on: the other side went away or broke the protocol, or the server ends.
struct Gone {};

/// The bytes of one accepted connection, plain at first and through TLS after startTLS(). Everything that
/// waits also watches the server's stop descriptor and throws Gone as soon as that is readable.
///
/// Belongs to one thread, which must have SIGPIPE blocked: OpenSSL writes with write(2).
class Connection {
 public:
  /// Takes over `socket`, which must be non-blocking; `stop` stays the server's.
  Connection(int socket, int stop);
  ~Connection();

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Answers the TLS handshake that the other side begins now.
  void startTLS(SSL_CTX* context);

  /// Everything up to and including the next `mark`; Gone when that is longer than `limit`.
  std::string readThrough(std::string_view mark, std::size_t limit);

  /// Reads `count` bytes and forgets them.
  void skip(std::uint64_t count);

  void write(std::string_view bytes);

  /// Lets the time pass; Gone when the other side doesn't wait that long.
  void pause(std::chrono::milliseconds time);

  /// Keeps the connection open until the other side or the server ends it.
  [[noreturn]] void hang();

  /// Ends in order: the other side reads an end of the stream.
  void close();

  /// Ends with an RST: the other side reads an error.
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
