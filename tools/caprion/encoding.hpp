#pragma once

#include <caprion/language.hpp>

#include <string>

namespace caprion::tool {

/// The text of a subtitle file, and its encoding.
struct EncodedText {
  std::string bytes;
  /// The original encoding by its IANA name in lower case; empty if the text wasn't converted.
  std::string convertedFrom{};
  /// The encoding wasn't recognized. If false and not converted, the text was UTF-8 already.
  bool isUnknown = false;
};

/// Converts a text in a known language to UTF-8: from UTF-16 if it is that, else from the encoding that
/// uchardet and the language's letters suggest, and only if converting back gives the same bytes.
EncodedText inUTF8(std::string bytes, const Language& language);

/// Whether a file holds text, rather than a web page or binary data.
bool isText(const std::string& bytes);

}  // namespace caprion::tool
