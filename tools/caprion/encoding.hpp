#pragma once

#include <caprion/language.hpp>

#include <string>

namespace caprion::tool {

/// The text of a subtitle file, and what was found out about how it is encoded.
struct EncodedText {
  std::string bytes;
  /// What it was converted to UTF-8 from, as IANA names it, in lower case; empty when it stayed as it was.
  std::string convertedFrom{};
  /// It stayed as it was because nobody could tell what it is; else because it is UTF-8.
  bool isUnknown = false;
};

/// Converts a text in a language to UTF-8: from UTF-16 if it is that, else from what uchardet and the
/// letters of the language speak for, and only if the way back gives the same bytes.
EncodedText inUTF8(std::string bytes, const Language& language);

/// Whether a file holds a text, and neither a web page nor other bytes than those of an encoding.
bool isText(const std::string& bytes);

}  // namespace caprion::tool
