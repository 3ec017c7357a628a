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

/// A request, and whether the other side may send another on the same connection.
struct Incoming {
  Request request;
  bool keepAlive = true;
};

/// Reads one request and skips its body. Through a tunnel, or when the client takes the proxy for the server
/// itself, the target is a mere path. CONNECT has the host and port it asks for, and no target. Absent for
/// what is not HTTP/1.
std::optional<Incoming> readRequest(Connection& connection, const std::optional<Origin>& tunnel);

/// Sends the answer with its fault; whether the connection can carry another request.
bool sendAnswer(Connection& connection, const Answer& answer, const Incoming& incoming);

}  // namespace caprion::stand_in
