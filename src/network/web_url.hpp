#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// An http or https URL with a host, and without user name and password, which the library never sends.
struct WebURL {
  std::string text;
  std::string host;  // lower case
  bool isSecure;     // https

  /// Absent for a text that is no such URL.
  static std::optional<WebURL> from(const std::string& text);

  /// The target of a redirect from here: its Location field, resolved, or as it is if it is no URL reference.
  std::string resolved(const std::string& location) const;
};

/// The scheme that the text begins with, in lower case; empty when it has none.
std::string schemeOf(std::string_view url);

}  // namespace caprion
