#pragma once

#include <caprion/url.hpp>

#include <optional>
#include <string>

namespace CAPRION_NAMESPACE {

/// The parts to compose a URL from.
class URLComponents {
 public:
  std::string scheme;
  std::string host;
  /// Plain text, whatever its bytes: those that may not stand in the path of a URL go out percent-encoded,
  /// all others (the slash too) as they are.
  std::string path;

  /// Absent for a path that isn't empty and doesn't begin with a slash.
  std::optional<URL> url() const;
};

}  // namespace CAPRION_NAMESPACE
