#pragma once

#include "connection.hpp"
#include "stand_in.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace caprion::stand_in {

/// Where a tunnel leads.
struct Origin {
  std::string host;
  std::uint16_t port = 0;
};

/// A request, and whether the client may send another on the same connection.
struct Incoming {
  Request request;
  bool keepAlive = true;
};

/// Reads one request and skips its body; absent if it isn't HTTP/1. Through a tunnel, or if the client takes
/// the proxy for the server, the target is only a path. A CONNECT has the requested host and port, and no
/// target.
std::optional<Incoming> readRequest(Connection& connection, const std::optional<Origin>& tunnel);

/// Sends the answer with its fault. Returns whether the connection can carry another request.
bool sendAnswer(Connection& connection, const Answer& answer, const Incoming& incoming);

}  // namespace caprion::stand_in
