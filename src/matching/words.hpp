#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace caprion {

/// Longer texts are truncated. No file name or title is that long.
inline constexpr std::size_t longestText = 1024;

/// The text, truncated and as well-formed UTF-8.
std::string comparable(std::string_view text);

/// A word in its folded form, and its byte range in the text.
struct Word {
  std::string folded;
  std::size_t begin, end;
};

/// The words of a well-formed UTF-8 text, separated by blanks and punctuation. Folding removes letter case,
/// accents, full-width forms and apostrophes; "&" becomes "and".
std::vector<Word> wordsOf(std::string_view text);

/// A key that is equal for matching titles: the concatenated folded words without the article. Empty for a
/// title without words.
std::string keyOfTitle(std::string_view title);

}  // namespace caprion
