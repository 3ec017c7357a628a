#include "client/search_request.hpp"

#include "platform/error.hpp"
#include "platform/url_components.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace CAPRION_NAMESPACE {

namespace {

constexpr const char* serviceHost = "rest.opensubtitles.org";
constexpr std::chrono::seconds timeout{60};
constexpr const char* userAgent = "Tovix";

constexpr std::array<std::string_view, 8> keys{"episode", "imdbid", "moviebytesize", "moviehash",
                                               "query",   "season", "sublanguageid", "tag"};

}  // namespace

std::string_view rawValue(Param param) noexcept { return keys[static_cast<std::size_t>(param)]; }

std::optional<Param> paramFrom(std::string_view rawValue) noexcept {
  const auto found = std::find(keys.begin(), keys.end(), rawValue);
  if (found == keys.end()) return std::nullopt;
  return static_cast<Param>(found - keys.begin());
}

Arg::Arg(Param param, std::string arg) : param_(param), arg_(std::move(arg)) {}

std::string Arg::path() const { return std::string("/").append(rawValue(param_)).append("-").append(arg_); }

URLRequest serviceRequest(URL url) {
  URLRequest request{.url = std::move(url), .timeoutInterval = timeout};
  request.addValue(userAgent, "User-Agent");
  return request;
}

Result<URLRequest> searchRequest(std::span<const Arg> args) noexcept {
  return orOutOfMemory([&]() -> Result<URLRequest> {
    URLComponents components;
    components.scheme = "https";
    components.host = serviceHost;
    components.path = "/search";
    for (const Arg& arg : args) components.path += arg.path();
    return serviceRequest(*components.url());  // a path that begins with a slash always makes a URL
  });
}

}  // namespace CAPRION_NAMESPACE
