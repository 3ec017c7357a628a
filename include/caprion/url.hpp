#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace CAPRION_NAMESPACE {

/// A uniform resource locator (RFC 3986), stored as a percent-encoded string. Functions that return a string
/// or a URL by value throw std::bad_alloc.
class CAPRION_EXPORT URL {
 public:
  /// The `file` URL of a path in the local file system. The path may hold any bytes; a relative one is
  /// resolved against the current working directory. (If that has been removed, the result is a relative
  /// reference, which leads nowhere.)
  static URL fileURLWithPath(std::string_view path);

  /// Parses a URL or a relative reference. Absent if the text isn't one, is empty, or contains characters
  /// that aren't allowed in a URL, such as spaces.
  static std::optional<URL> fromString(std::string_view text);

  /// The whole URL.
  const std::string& absoluteString() const noexcept { return text_; }

  /// The scheme in lower case; empty for a relative reference.
  std::string scheme() const;

  /// The host in lower case, without user and port; empty if there is none.
  std::string host() const;

  /// The percent-decoded path, which may hold any bytes. For a `file` URL, the file's path.
  std::string path() const;

  /// The percent-decoded last segment of the path, which may hold any bytes, even an escaped slash. Trailing
  /// slashes are ignored; if the path consists only of slashes, the component is "/".
  std::string lastPathComponent() const;

  /// Whether the scheme is "file".
  bool isFileURL() const noexcept;

  friend bool operator==(const URL&, const URL&) = default;

 private:
  friend class URLComponents;
  explicit URL(std::string text) : text_(std::move(text)) {}

  std::string text_;
};

}  // namespace CAPRION_NAMESPACE
