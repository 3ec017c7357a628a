#include "matching/words.hpp"

#include "platform/letter_case.hpp"
#include "platform/text.hpp"

#include <algorithm>
#include <utility>

namespace caprion {

namespace {

/// The base letters of U+00C0 and of U+1E00 and following, in lower case; "." for those without a single one.
constexpr std::string_view latinLetters =
    "aaaaaa.ceeeeiiiidnooooo.ouuuuy..aaaaaa.ceeeeiiiidnooooo.ouuuuy.y"
    "aaaaaaccccccccddddeeeeeeeeeegggggggghhhhiiiiiiiiii..jjkkklllllll"
    "lllnnnnnnnnnoooooo..rrrrrrssssssssttttttuuuuuuuuuuuuwwyyyzzzzzzs";
constexpr std::string_view furtherLatinLetters =
    "aabbbbbbccddddddddddeeeeeeeeeeffgghhhhhhhhhhiiiikkkkkkllllllllmm"
    "mmmmnnnnnnnnoooooooopppprrrrrrrrssssssssssttttttttuuuuuuuuuuvvvv"
    "wwwwwwwwwwxxxxyyzzzzzzhtwy......aaaaaaaaaaaaaaaaaaaaaaaaeeeeeeee"
    "eeeeeeeeiiiioooooooooooooooooooooooouuuuuuuuuuuuuuyyyyyyyy......";

/// Foldings of further lower-case letters: those of scripts common in titles, which some file systems store
/// decomposed.
struct OtherLetter {
  char32_t code;
  std::string_view plain;
};
constexpr OtherLetter otherLetters[] = {
    {U'æ', "ae"}, {U'ß', "ss"}, {U'þ', "th"}, {U'ĳ', "ij"}, {U'œ', "oe"}, {U'ơ', "o"}, {U'ư', "u"},
    {U'ǎ', "a"},  {U'ǐ', "i"},  {U'ǒ', "o"},  {U'ǔ', "u"},  {U'ș', "s"},  {U'ț', "t"}, {U'ΐ', "ι"},
    {U'ά', "α"},  {U'έ', "ε"},  {U'ή', "η"},  {U'ί', "ι"},  {U'ΰ', "υ"},  {U'ς', "σ"}, {U'ϊ', "ι"},
    {U'ϋ', "υ"},  {U'ό', "ο"},  {U'ύ', "υ"},  {U'ώ', "ω"},  {U'й', "и"},  {U'ё', "е"}, {U'ѓ', "г"},
    {U'ї', "і"},  {U'ќ', "к"},  {U'ў', "у"},  {U'²', "2"},  {U'³', "3"},  {U'¹', "1"}, {U'¼', "14"},
    {U'½', "12"}, {U'¾', "34"},
};

struct Range {
  char32_t first, last;
};

/// Non-ASCII characters that separate words.
constexpr Range punctuation[] = {
    {0x80, 0xA9},     {0xAB, 0xB1},       {0xB4, 0xB4},     {0xB6, 0xB8},     {0xBB, 0xBB},
    {0xBF, 0xBF},     {0xD7, 0xD7},       {0xF7, 0xF7},     {0x2000, 0x20CF}, {0x2190, 0x2BFF},
    {0x3000, 0x3004}, {0x3008, 0x3020},   {0x3030, 0x3030}, {0x30FB, 0x30FB}, {0xFE00, 0xFE1F},
    {0xFE30, 0xFE6F}, {0xFF01, 0xFF0F},   {0xFF1A, 0xFF20}, {0xFF3B, 0xFF40}, {0xFF5B, 0xFF65},
    {0xFFE0, 0xFFFF}, {0x1F000, 0x1FAFF},
};

struct Character {
  char32_t code;
  std::size_t length;
};

/// The first character of well-formed text.
Character firstOf(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto rest = [&](std::size_t i) { return static_cast<char32_t>(byte(i) & 0x3F); };
  const char32_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xE0) return {(lead & 0x1F) << 6 | rest(1), 2};
  if (lead < 0xF0) return {(lead & 0x0F) << 12 | rest(1) << 6 | rest(2), 3};
  return {(lead & 0x07) << 18 | rest(1) << 12 | rest(2) << 6 | rest(3), 4};
}

bool isIn(Range range, char32_t code) { return code >= range.first && code <= range.last; }

bool isApostrophe(char32_t code) {
  return code == U'\'' || code == U'`' || code == 0xB4 || code == 0x2BC || code == 0x2018 || code == 0x2019;
}

bool isMark(char32_t code) { return isIn({0x300, 0x36F}, code); }

bool isPartOfWord(char32_t code) {
  if (isApostrophe(code)) return true;
  if (code < 0x80) return (code >= '0' && code <= '9') || isIn({'a', 'z'}, code | 0x20);
  return std::ranges::none_of(punctuation, [&](Range range) { return isIn(range, code); });
}

/// The base letter in a table; empty if there is none.
std::string_view letterIn(std::string_view table, char32_t first, char32_t code) {
  if (code < first || code - first >= table.size() || table[code - first] == '.') return {};
  return table.substr(code - first, 1);
}

/// The folding of a lower-case letter.
std::string_view foldedLetter(char32_t code, std::string_view letter) {
  std::string_view plain = letterIn(latinLetters, 0xC0, code);
  if (plain.empty()) plain = letterIn(furtherLatinLetters, 0x1E00, code);
  if (!plain.empty()) return plain;
  const auto* const other = std::ranges::find(otherLetters, code, &OtherLetter::code);
  return other == std::end(otherLetters) ? letter : other->plain;
}

std::string folded(std::string_view word) {
  std::string result;
  const bool isASCII = std::ranges::all_of(word, [](char c) { return (c & 0x80) == 0; });
  const std::string letters = isASCII ? lowercasedASCII(word) : lowercased(word);
  for (std::string_view rest = letters; !rest.empty();) {
    const auto [code, length] = firstOf(rest);
    const std::string_view letter = rest.substr(0, length);
    rest.remove_prefix(length);
    if (isApostrophe(code) || isMark(code)) continue;
    if (isIn({0xFF01, 0xFF5E}, code)) {
      result += static_cast<char>(code - 0xFEE0);
    } else {
      result += code < 0x80 ? letter : foldedLetter(code, letter);
    }
  }
  return result;
}

}  // namespace

std::string comparable(std::string_view text) {
  return repairedUTF8(std::string(text.substr(0, longestText)));
}

std::vector<Word> wordsOf(std::string_view text) {
  std::vector<Word> words;
  for (std::size_t end = 0; end < text.size();) {
    const std::size_t begin = end;
    Character character = firstOf(text.substr(end));
    while (isPartOfWord(character.code)) {
      end += character.length;
      if (end == text.size()) break;
      character = firstOf(text.substr(end));
    }
    if (end > begin) {
      std::string word = folded(text.substr(begin, end - begin));
      if (!word.empty()) words.push_back({std::move(word), begin, end});
    } else {
      end += character.length;
      if (character.code == '&') words.push_back({"and", begin, end});
    }
  }
  return words;
}

std::string keyOfTitle(std::string_view title) {
  const std::vector<Word> words = wordsOf(title);
  std::size_t first = 0;
  std::size_t last = words.size();
  if (last > 1) {
    const std::string& word = words.front().folded;
    if (word == "the" || word == "a" || word == "an") {
      ++first;
    } else if (words.back().folded == "the") {  // "Matrix, The"
      --last;
    }
  }
  std::string key;
  for (; first < last; ++first) key += words[first].folded;
  return key;
}

}  // namespace caprion
