#include "languages.hpp"

#include "arguments.hpp"

#include <algorithm>
#include <cstdlib>

namespace caprion::tool {

void addLanguages(std::vector<Language>& languages, std::string_view list) {
  for (bool more = true; more;) {
    const std::size_t comma = list.find(',');
    const std::string_view code = list.substr(0, comma);
    const auto language = Language::from(code);
    if (!language) throw UsageError("'" + std::string(code) + "' is no language; see caprion languages");
    if (std::find(languages.begin(), languages.end(), *language) == languages.end())
      languages.push_back(*language);
    more = comma != std::string_view::npos;
    if (more) list.remove_prefix(comma + 1);
  }
}

Language languageOfLocale() {
  std::string_view locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value && locale.empty()) locale = value;
  }
  // ll_CC.encoding@variant
  const auto language = Language::from(locale.substr(0, locale.find_first_of(".@")));
  return language ? *language : Language::from("eng").value();
}

std::string identifiersOf(const std::vector<Language>& languages) {
  std::string list;
  for (const Language& language : languages) list.append(list.empty() ? "" : ",").append(language.identifier);
  return list;
}

std::string_view fileNameCodeOf(const Language& language) {
  if (language.iso6392.empty()) return language.tag;  // pob, zht
  const bool isWithdrawn = language.identifier == "scc" || language.identifier == "mne";
  return isWithdrawn ? language.iso6392 : language.identifier;
}

}  // namespace caprion::tool
