#pragma once

#include <caprion/url.hpp>

#include <optional>
#include <string>

namespace CAPRION_NAMESPACE {

/// Composes a URL.
class URLComponents {
 public:
  std::string scheme;
  std::string host;
  /// Not encoded, any bytes. Those that aren't allowed in a URL's path are percent-encoded; slashes stay.
  std::string path;

  /// Absent if the path is not empty and doesn't begin with a slash.
  std::optional<URL> url() const;
};

}  // namespace CAPRION_NAMESPACE
