#include "http.hpp"

#include <strings.h>

#include <algorithm>
#include <charconv>

namespace caprion::stand_in {
namespace {

constexpr std::size_t longestHead = 1 << 20;

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool has(const Headers& headers, std::string_view name) {
  return std::any_of(headers.begin(), headers.end(),
                     [name](const auto& field) { return sameName(field.first, name); });
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// Removes the text before the next `mark`, and the mark, from `text`, and returns the former.
std::string_view take(std::string_view& text, std::string_view mark) {
  const auto at = text.find(mark);
  const std::string_view taken = text.substr(0, at);
  text.remove_prefix(at == std::string_view::npos ? text.size() : at + mark.size());
  return taken;
}

// "host", "host:port", "[::1]:port", with or without "user@".
std::optional<Origin> parseOrigin(std::string_view text, std::uint16_t usualPort) {
  text.remove_prefix(text.rfind('@') + 1);  // npos + 1 is 0
  std::string_view host;
  if (text.starts_with('[')) {
    text.remove_prefix(1);
    host = take(text, "]");
  } else {
    host = text.substr(0, text.find(':'));
    text.remove_prefix(host.size());
  }
  if (host.empty()) return std::nullopt;
  Origin origin{std::string(host), usualPort};
  if (text.empty() || text == ":") return origin;
  const auto port = text[0] == ':' ? parseNumber<std::uint16_t>(text.substr(1)) : std::nullopt;
  if (!port) return std::nullopt;
  origin.port = *port;
  return origin;
}

// Sets the request's scheme, host, port and target from the target in its request line.
bool address(Request& request, std::string_view target, const std::optional<Origin>& tunnel) {
  std::optional<Origin> origin;
  if (tunnel) {
    request.scheme = "https";
    request.target = target;
    origin = tunnel;
  } else if (request.method == "CONNECT") {
    request.scheme = "https";
    origin = parseOrigin(target, 443);
  } else if (sameName(target.substr(0, 7), "http://")) {
    target.remove_prefix(7);
    const auto authority = target.substr(0, target.find_first_of("/?#"));
    target.remove_prefix(authority.size());
    request.scheme = "http";
    request.target = target.empty() ? "/" : target;
    origin = parseOrigin(authority, 80);
  } else if (const auto hosts = request.header("Host"); target.starts_with('/') && hosts.size() == 1) {
    request.scheme = "http";
    request.target = target;
    origin = parseOrigin(hosts[0], 80);
  }
  if (!origin) return false;
  request.host = std::move(origin->host);
  request.port = origin->port;
  return true;
}

std::string headOf(const Answer& answer, bool bodyless, bool keepAlive) {
  std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " \r\n";
  for (const auto& [name, value] : answer.headers) head += name + ": " + value + "\r\n";
  const bool measured = has(answer.headers, "Content-Length") || has(answer.headers, "Transfer-Encoding");
  if (!measured && !bodyless && answer.fault != Answer::Fault::endless)
    head += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
  if (!keepAlive && !has(answer.headers, "Connection")) head += "Connection: close\r\n";
  return head + "\r\n";
}

}  // namespace

std::vector<std::string> Request::header(std::string_view name) const {
  std::vector<std::string> values;
  for (const auto& [key, value] : headers)
    if (sameName(key, name)) values.push_back(value);
  return values;
}

std::optional<Incoming> readRequest(Connection& connection, const std::optional<Origin>& tunnel) {
  const std::string head = connection.readThrough("\r\n\r\n", longestHead);
  std::string_view rest = head;
  std::string_view line = take(rest, "\r\n");

  Incoming incoming;
  Request& request = incoming.request;
  request.method = take(line, " ");
  const std::string_view target = take(line, " ");
  const std::string_view version = line;
  if (request.method.empty() || target.empty() || !version.starts_with("HTTP/1.")) return std::nullopt;

  while (!rest.empty()) {
    std::string_view field = take(rest, "\r\n");
    if (field.empty()) break;
    if (field.find(':') == std::string_view::npos) return std::nullopt;
    const std::string_view name = take(field, ":");
    request.headers.emplace_back(name, trimmed(field));
  }
  if (!address(request, target, tunnel)) return std::nullopt;

  for (const std::string& length : request.header("Content-Length")) {
    const auto count = parseNumber<std::uint64_t>(length);
    if (!count) return std::nullopt;
    connection.skip(*count);
  }
  // Chunked bodies aren't parsed, so no request can follow one.
  incoming.keepAlive = version != "HTTP/1.0" && !has(request.headers, "Transfer-Encoding");
  for (const std::string& value : request.header("Connection"))
    if (sameName(value, "close")) incoming.keepAlive = false;
  return incoming;
}

bool sendAnswer(Connection& connection, const Answer& answer, const Incoming& incoming) {
  using Fault = Answer::Fault;
  const bool bodyless = incoming.request.method == "HEAD" || answer.status / 100 == 1 ||
                        answer.status == 204 || answer.status == 304;
  bool keepAlive = incoming.keepAlive && (answer.fault == Fault::none || answer.fault == Fault::drip ||
                                          answer.fault == Fault::apart);
  for (const auto& [name, value] : answer.headers) {
    if (sameName(name, "Content-Length") || sameName(name, "Transfer-Encoding") ||
        (sameName(name, "Connection") && sameName(value, "close")))
      keepAlive = false;
  }
  const std::string head = headOf(answer, bodyless, keepAlive);
  const std::string_view body = bodyless ? std::string_view() : answer.body;

  connection.pause(answer.delay);
  switch (answer.fault) {
    case Fault::none:
      connection.write(head + std::string(body));
      break;
    case Fault::apart:
      connection.write(head);
      connection.write(std::string(body) + answer.stray);
      break;
    case Fault::reset:
      connection.reset();
      break;
    case Fault::close:
      break;
    case Fault::truncate:
      connection.write(head);
      connection.write(body.substr(0, body.size() / 2));
      break;
    case Fault::drip:
      for (const char byte : head + std::string(body)) {
        connection.write({&byte, 1});
        connection.pause(answer.interval);
      }
      break;
    case Fault::hang:
      connection.hang();
    case Fault::garbage:
      connection.write(answer.body);
      break;
    case Fault::endlessHead:
    case Fault::endless: {
      connection.write(answer.fault == Fault::endless ? head : head.substr(0, head.size() - 2));
      if (body.empty()) connection.hang();
      std::string repeated;
      while (repeated.size() < 65536) repeated += body;
      for (;;) connection.write(repeated);
    }
  }
  return keepAlive;
}

}  // namespace caprion::stand_in
