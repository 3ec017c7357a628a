#include "encoding.hpp"

#include "text.hpp"

#include <iconv.h>
#include <uchardet.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

// Longer texts are left alone. Subtitles aren't that long.
constexpr std::size_t longestText = 4 << 20;

// A text with a lower likeness is hardly in the expected language.
constexpr double leastLikeness = 0.5;

/// The usual encodings of some languages, and the letters to expect beyond ASCII; "а-я" is a range.
struct Writing {
  std::string_view languages, encodings, letters;
};

constexpr std::string_view western = "À-ÖØ-öø-ÿŒœŠšŽžŸªº";  // for languages that aren't listed
constexpr Writing writings[] = {
    {"eng", "windows-1252", "ÀÇÈÉÊËÏÑÖàâäçèéêëïñöœ"},
    {"ger ltz", "windows-1252", "ÄÖÜßäöüéèëê"},
    {"fre", "windows-1252", "ÀÂÆÇÈÉÊËÎÏÔÙÛÜàâæçèéêëîïôùûüÿŒœŸ"},
    {"arg cat glg spa", "windows-1252", "ÁÀÇÈÉÍÏÑÒÓÚÜáàçèéíïñòóúüªº"},
    {"pob por", "windows-1252", "ÀÁÂÃÇÉÊÍÓÔÕÚàáâãçéêíóôõúüªº"},
    {"ita", "windows-1252", "ÀÈÉÌÍÒÓÙÚàèéìíòóùúîªº"},
    {"dut", "windows-1252", "ÉËÏÖÜáäèéêëíïóöúü"},
    {"dan fin nor swe", "windows-1252", "ÄÅÆÉÖØäåæéöøòôêàüŠšŽž"},
    {"cze slo", "windows-1250 iso-8859-2", "ÁáÄäČčĎďÉéĚěÍíĹĺĽľŇňÓóÔôŔŕŘřŠšŤťÚúŮůÝýŽž"},
    {"pol", "windows-1250 iso-8859-2", "ĄąĆćĘęŁłŃńÓóŚśŹźŻż"},
    {"hun", "windows-1250 iso-8859-2", "ÁáÉéÍíÓóÖöŐőÚúÜüŰű"},
    {"rum", "windows-1250 iso-8859-2", "ÂâĂăÎîŞşŢţȘșȚț"},
    {"bos hrv mne scc slv", "windows-1250 iso-8859-2 windows-1251", "ĆćČčĐđŠšŽžЀ-џ"},
    {"bel bul kaz mac mon rus ukr", "windows-1251 koi8-r koi8-u iso-8859-5 ibm866", "Ѐ-џҐ-ӹ"},
    {"ell", "windows-1253 iso-8859-7", "Ά-ώ"},
    {"aze tur", "windows-1254 iso-8859-9", "ÂâÇçĞğÎîİıÖöŞşÛûÜüƏə"},
    {"heb", "windows-1255 iso-8859-8", "ְ-״"},
    {"ara per urd", "windows-1256 iso-8859-6", "،-ۿ"},
    {"est lav lit", "windows-1257 iso-8859-13", "ÄäĀāĄąČčĒēĖėĘęĢģĪīĮįĶķĻļŅņÕõÖöŠšŪūŲųÜüŽž"},
    {"vie", "windows-1258", "À-ýĂăĐđĨĩŨũƠơƯư\u0300-\u0323"},
    {"tha", "windows-874", "ก-๛"},
    {"chi", "gbk gb18030 big5", "㐀-鿿"},
    {"zht", "big5 big5-hkscs gbk gb18030", "㐀-鿿"},
    {"jpn", "shift_jis euc-jp", "ぁ-ヿ㐀-鿿ｦ-ﾟ"},
    {"kor", "euc-kr", "ㄱ-ㆎ가-힣"},
};

// Punctuation and symbols of all languages.
constexpr std::string_view neutral = "\u00A0¡©«®°´·»¼-¿×÷‐-⁞€№™♩-♯、-】〜！-～\uFEFF";

Writing writingOf(const Language& language) {
  for (const Writing& writing : writings) {
    if (writing.languages.find(language.identifier) != std::string_view::npos) return writing;
  }
  return {"", "windows-1252", western};
}

/// The iconv name for an encoding: of some, a superset.
const char* encoderFor(std::string_view encoding) {
  if (encoding == "shift_jis") return "windows-31j";  // where 0x5C is a backslash, not a yen sign
  if (encoding == "euc-kr") return "uhc";
  return encoding.data();
}

std::optional<std::string> converted(const std::string& text, const char* from, const char* to) {
  iconv_t converter = ::iconv_open(to, from);
  if (reinterpret_cast<std::intptr_t>(converter) == -1) return std::nullopt;
  std::string result(text.size() * 4 + 4, '\0');
  char* source = const_cast<char*>(text.data());  // iconv doesn't modify it
  char* target = result.data();
  std::size_t unread = text.size();
  std::size_t room = result.size();
  const bool isRight = ::iconv(converter, &source, &unread, &target, &room) == 0 &&  // 0 inexact conversions
                       ::iconv(converter, nullptr, nullptr, &target, &room) == 0;
  ::iconv_close(converter);
  if (!isRight) return std::nullopt;
  result.resize(result.size() - room);
  return result;
}

/// The text in UTF-8; absent if it doesn't convert back to the same bytes, or holds control characters.
std::optional<std::string> decoded(const std::string& text, const char* encoding) {
  auto result = converted(text, encoding, "UTF-8");
  if (!result || converted(*result, "UTF-8", encoding) != text) return std::nullopt;
  for (const char32_t c : codePoints(*result)) {
    const bool isBlank = c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == 0x1A;
    if ((c < 0x20 && !isBlank) || (c >= 0x7F && c < 0xA0)) return std::nullopt;
  }
  return result;
}

bool contains(std::u32string_view set, char32_t c) {
  for (std::size_t i = 0; i < set.size(); ++i) {
    const bool isRange = i + 2 < set.size() && set[i + 1] == '-';
    if (c >= set[i] && c <= set[isRange ? i + 2 : i]) return true;
    if (isRange) i += 2;
  }
  return false;
}

/// From -1 to 1: of the characters beyond ASCII, the share of expected ones minus that of others.
double likeness(const std::string& text, std::string_view letters) {
  const std::u32string expected = codePoints(letters), ignored = codePoints(neutral);
  std::ptrdiff_t count = 0, right = 0;
  for (const char32_t c : codePoints(text)) {
    if (c < 0x80 || contains(ignored, c)) continue;
    ++count;
    right += contains(expected, c) ? 1 : -1;
  }
  return count == 0 ? 0 : static_cast<double>(right) / static_cast<double>(count);
}

bool hasUTF16Mark(std::string_view text) {
  return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
}

/// The byte order of UTF-16, by the byte order mark, or else by whether NULs are at even or odd positions;
/// null if it isn't UTF-16.
const char* utf16Variant(std::string_view text) {
  if (text.starts_with("\xFF\xFE")) return "utf-16le";
  if (text.starts_with("\xFE\xFF")) return "utf-16be";
  std::size_t nulls[] = {0, 0};
  for (std::size_t i = 0; i < text.size(); ++i) nulls[i % 2] += text[i] == '\0';
  if (nulls[0] == nulls[1]) return nullptr;
  return nulls[0] < nulls[1] ? "utf-16le" : "utf-16be";
}

std::optional<std::string> fromUTF16(const std::string& text) {
  const char* const kind = utf16Variant(text);
  return kind ? decoded(text.substr(hasUTF16Mark(text) ? 2 : 0), kind) : std::nullopt;
}

/// uchardet's guess, mapped to the superset used here; empty if it has none.
std::string guessFor(const std::string& text) {
  const std::unique_ptr<uchardet, decltype(&::uchardet_delete)> detector(::uchardet_new(),
                                                                         &::uchardet_delete);
  if (!detector || ::uchardet_handle_data(detector.get(), text.data(), text.size()) != 0) return {};
  ::uchardet_data_end(detector.get());
  std::string guess = lowercased(::uchardet_get_charset(detector.get()));
  for (const auto& [name, other] :
       {std::pair("iso-8859-1", "windows-1252"), std::pair("iso-8859-15", "windows-1252"),
        std::pair("iso-8859-9", "windows-1254"), std::pair("iso-8859-11", "windows-874"),
        std::pair("tis-620", "windows-874"), std::pair("gb18030", "gbk"), std::pair("uhc", "euc-kr")}) {
    if (guess == name) return other;
  }
  return guess;
}

/// The encodings to try, the likeliest first.
std::vector<std::string> candidatesFor(const std::string& guess, std::string_view usual) {
  std::vector<std::string> candidates;
  while (!usual.empty()) {
    const std::size_t end = std::min(usual.find(' '), usual.size());
    candidates.emplace_back(usual.substr(0, end));
    usual.remove_prefix(std::min(end + 1, usual.size()));
  }
  const auto place = std::find(candidates.begin(), candidates.end(), guess);
  if (place != candidates.end()) {
    std::rotate(candidates.begin(), place, place + 1);
  } else if (!guess.empty()) {
    candidates.push_back(guess);
  }
  return candidates;
}

}  // namespace

EncodedText inUTF8(std::string bytes, const Language& language) {
  const bool hasNull = bytes.find('\0') != std::string::npos;
  if (!hasNull && wellFormed(bytes) == bytes) return {std::move(bytes), {}, false};
  if (bytes.size() > longestText) return {std::move(bytes), {}, true};
  if (auto text = fromUTF16(bytes)) return {*std::move(text), "utf-16", false};
  if (hasUTF16Mark(bytes)) return {std::move(bytes), {}, true};

  const Writing writing = writingOf(language);
  const std::string guess = guessFor(bytes);
  EncodedText best{bytes, {}, true}, guessed = best;
  double bestLikeness = 0;
  for (const std::string& encoding : candidatesFor(guess, writing.encodings)) {
    auto text = decoded(bytes, encoderFor(encoding));
    if (!text) continue;
    if (encoding == guess) guessed = {*text, encoding, false};
    const double found = likeness(*text, writing.letters);
    if (found > bestLikeness) {
      bestLikeness = found;
      best = {*std::move(text), encoding, false};
    }
  }
  // If the letters hardly match the language, it may be another one: trust uchardet.
  return bestLikeness < leastLikeness && !guessed.isUnknown ? guessed : best;
}

bool isText(const std::string& bytes) {
  const std::string start = lowercased(std::string_view(bytes).substr(0, 1024));
  if (start.find("<html") != std::string::npos || start.find("<!doctype html") != std::string::npos)
    return false;
  return hasUTF16Mark(bytes) || bytes.find('\0') == std::string::npos ||
         (bytes.size() <= longestText && fromUTF16(bytes));
}

}  // namespace caprion::tool
