#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace caprion {

/// As much of any text as is looked at. No file name and no title is that long.
inline constexpr std::size_t longestText = 1024;

/// What is looked at of a text, in well-formed UTF-8.
std::string comparable(std::string_view text);

/// A word of a text: as it is compared with other words, and which bytes of the text it is.
struct Word {
  std::string folded;
  std::size_t begin, end;
};

/// The words of a well-formed UTF-8 text: what stands between blanks and punctuation. Folded are letter case,
/// accents and full-width forms; apostrophes are dropped, and "&" is the word "and".
std::vector<Word> wordsOf(std::string_view text);

/// What titles that are alike have in common: the folded words without a leading article, in one piece. Empty
/// for a title without words.
std::string keyOfTitle(std::string_view title);

}  // namespace caprion
