#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// The address of an exchange: an http or https URL with a host, and without a user's name and password,
/// which the library never sends.
struct WebURL {
  std::string text;
  std::string host;  // in lower case
  bool isSecure;     // whether it is https

  /// Absent for a text that is no such URL.
  static std::optional<WebURL> from(const std::string& text);

  /// Where a redirect from here leads to: the value of its Location field, resolved. Any text, if that is no
  /// URL reference.
  std::string resolved(const std::string& location) const;
};

/// The scheme that the text begins with, in lower case; empty when it has none.
std::string schemeOf(std::string_view url);

}  // namespace caprion
