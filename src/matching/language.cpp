#include <caprion/language.hpp>

#include <algorithm>
#include <array>

namespace caprion {

namespace {

/// The codes are those of the Library of Congress (ISO 639-1 and ISO 639-2), the identifiers the service's:
/// ISO 639-2/B as it was when the service began, and a few of its own.
constexpr Language languages[] = {
    {"afr", "af", "afr", "af", "Afrikaans"},
    {"alb", "sq", "sqi", "sq", "Albanian"},
    {"ara", "ar", "ara", "ar", "Arabic"},
    {"arg", "an", "arg", "an", "Aragonese"},
    {"arm", "hy", "hye", "hy", "Armenian"},
    {"aze", "az", "aze", "az", "Azerbaijani"},
    {"baq", "eu", "eus", "eu", "Basque"},
    {"bel", "be", "bel", "be", "Belarusian"},
    {"ben", "bn", "ben", "bn", "Bengali"},
    {"bos", "bs", "bos", "bs", "Bosnian"},
    {"bre", "br", "bre", "br", "Breton"},
    {"bul", "bg", "bul", "bg", "Bulgarian"},
    {"bur", "my", "mya", "my", "Burmese"},
    {"cat", "ca", "cat", "ca", "Catalan"},
    {"chi", "zh", "zho", "zh-CN", "Chinese (simplified)"},
    {"cze", "cs", "ces", "cs", "Czech"},
    {"dan", "da", "dan", "da", "Danish"},
    {"dut", "nl", "nld", "nl", "Dutch"},
    {"ell", "el", "ell", "el", "Greek"},
    {"eng", "en", "eng", "en", "English"},
    {"epo", "eo", "epo", "eo", "Esperanto"},
    {"est", "et", "est", "et", "Estonian"},
    {"fin", "fi", "fin", "fi", "Finnish"},
    {"fre", "fr", "fra", "fr", "French"},
    {"geo", "ka", "kat", "ka", "Georgian"},
    {"ger", "de", "deu", "de", "German"},
    {"glg", "gl", "glg", "gl", "Galician"},
    {"heb", "he", "heb", "he", "Hebrew"},
    {"hin", "hi", "hin", "hi", "Hindi"},
    {"hrv", "hr", "hrv", "hr", "Croatian"},
    {"hun", "hu", "hun", "hu", "Hungarian"},
    {"ice", "is", "isl", "is", "Icelandic"},
    {"ind", "id", "ind", "id", "Indonesian"},
    {"ita", "it", "ita", "it", "Italian"},
    {"jpn", "ja", "jpn", "ja", "Japanese"},
    {"kaz", "kk", "kaz", "kk", "Kazakh"},
    {"khm", "km", "khm", "km", "Khmer"},
    {"kor", "ko", "kor", "ko", "Korean"},
    {"lav", "lv", "lav", "lv", "Latvian"},
    {"lit", "lt", "lit", "lt", "Lithuanian"},
    {"ltz", "lb", "ltz", "lb", "Luxembourgish"},
    {"mac", "mk", "mkd", "mk", "Macedonian"},
    {"mal", "ml", "mal", "ml", "Malayalam"},
    {"may", "ms", "msa", "ms", "Malay"},
    {"mne", "", "cnr", "cnr", "Montenegrin"},
    {"mon", "mn", "mon", "mn", "Mongolian"},
    {"nor", "no", "nor", "no", "Norwegian"},
    {"oci", "oc", "oci", "oc", "Occitan"},
    {"per", "fa", "fas", "fa", "Persian"},
    {"pob", "", "", "pt-BR", "Portuguese (Brazil)"},
    {"pol", "pl", "pol", "pl", "Polish"},
    {"por", "pt", "por", "pt-PT", "Portuguese"},
    {"rum", "ro", "ron", "ro", "Romanian"},
    {"rus", "ru", "rus", "ru", "Russian"},
    {"scc", "sr", "srp", "sr", "Serbian"},
    {"sin", "si", "sin", "si", "Sinhalese"},
    {"slo", "sk", "slk", "sk", "Slovak"},
    {"slv", "sl", "slv", "sl", "Slovenian"},
    {"spa", "es", "spa", "es", "Spanish"},
    {"swa", "sw", "swa", "sw", "Swahili"},
    {"swe", "sv", "swe", "sv", "Swedish"},
    {"syr", "", "syr", "syr", "Syriac"},
    {"tam", "ta", "tam", "ta", "Tamil"},
    {"tel", "te", "tel", "te", "Telugu"},
    {"tgl", "tl", "tgl", "tl", "Tagalog"},
    {"tha", "th", "tha", "th", "Thai"},
    {"tur", "tr", "tur", "tr", "Turkish"},
    {"ukr", "uk", "ukr", "uk", "Ukrainian"},
    {"urd", "ur", "urd", "ur", "Urdu"},
    {"vie", "vi", "vie", "vi", "Vietnamese"},
    {"zht", "", "", "zh-TW", "Chinese (traditional)"},
};

/// Further codes, and the identifiers that they mean.
struct Alias {
  std::string_view code, identifier;
};
constexpr Alias aliases[] = {
    {"gre", "ell"}, {"fil", "tgl"}, {"nb", "nor"}, {"nob", "nor"}, {"nn", "nor"}, {"nno", "nor"},
};

/// Scripts and regions that select another language of the service, or confirm the one found.
struct Variant {
  std::string_view identifier, part, variant;
};
constexpr Variant variants[] = {
    {"por", "br", "pob"}, {"chi", "hans", "chi"}, {"chi", "hant", "zht"},
    {"chi", "tw", "zht"}, {"chi", "hk", "zht"},   {"chi", "mo", "zht"},
};

/// The longest tag that BCP 47 asks programs to be able to read.
constexpr std::size_t longestCode = 35;

const Language* languageOf(std::string_view code) {
  const auto* const alias = std::ranges::find(aliases, code, &Alias::code);
  if (alias != std::end(aliases)) code = alias->identifier;
  const auto* const found = std::ranges::find_if(languages, [&](const Language& language) {
    return !code.empty() &&
           (code == language.identifier || code == language.iso6391 || code == language.iso6392);
  });
  return found == std::end(languages) ? nullptr : found;
}

/// Removes and returns the part before the next hyphen.
std::string_view takePart(std::string_view& code) {
  const std::size_t hyphen = std::min(code.find('-'), code.size());
  const std::string_view part = code.substr(0, hyphen);
  code.remove_prefix(std::min(hyphen + 1, code.size()));
  return part;
}

bool isPartOfTag(std::string_view part) {
  const auto isAlphanumeric = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
  return !part.empty() && part.size() <= 8 && std::ranges::all_of(part, isAlphanumeric);
}

}  // namespace

std::optional<Language> Language::from(std::string_view code) noexcept {
  if (code.size() > longestCode || code.ends_with('-') || code.ends_with('_')) return std::nullopt;
  std::array<char, longestCode> letters{};
  std::ranges::transform(code, letters.begin(), [](char c) {
    if (c == '_') return '-';
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  std::string_view rest(letters.data(), code.size());
  const Language* language = languageOf(takePart(rest));
  bool isDecided = false;
  while (language != nullptr && !rest.empty()) {
    const std::string_view part = takePart(rest);
    if (!isPartOfTag(part)) return std::nullopt;
    for (const Variant& variant : variants) {
      if (isDecided || variant.identifier != language->identifier || variant.part != part) continue;
      language = languageOf(variant.variant);
      isDecided = true;
    }
  }
  return language == nullptr ? std::nullopt : std::optional(*language);
}

std::span<const Language> Language::all() noexcept { return languages; }

}  // namespace caprion
