#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace CAPRION_NAMESPACE {

/// A uniform resource locator (RFC 3986), kept as its percent-encoded text. An immutable value. What returns
/// a text or a URL throws std::bad_alloc when there isn't the memory for it.
class CAPRION_EXPORT URL {
 public:
  /// The `file` URL of a path in the local file system. The path may hold any bytes; a relative one is taken
  /// from the working directory of this moment. (If that is gone, the result is a relative reference, which
  /// leads nowhere.)
  static URL fileURLWithPath(std::string_view path);

  /// Parses a URL or a relative reference; absent when the text isn't one, the empty text included.
  /// Characters that a URL may not hold, such as blanks, are not forgiven.
  static std::optional<URL> fromString(std::string_view text);

  /// The whole text.
  const std::string& absoluteString() const noexcept { return text_; }

  /// In lower case; empty when the URL is a relative reference.
  std::string scheme() const;

  /// In lower case, without user and port; empty when there is none.
  std::string host() const;

  /// The path with its percent-escapes resolved, so possibly any bytes: for a `file` URL, the file's path.
  std::string path() const;

  /// The last segment of the path with its percent-escapes resolved, so possibly any bytes, an escaped slash
  /// included. Slashes at the path's end don't count; the component of a path of slashes alone is "/".
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
