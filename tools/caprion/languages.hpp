#pragma once

#include <caprion/language.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// Adds the languages of a comma-separated list of codes, without duplicates. Throws UsageError for an
/// unknown code.
void addLanguages(std::vector<Language>& languages, std::string_view list);

/// The language of the locale; English if that is unset or unknown to the service.
Language languageOfLocale();

/// The service's identifiers, comma-separated.
std::string identifiersOf(const std::vector<Language>& languages);

/// The language code for a subtitle's file name, as players understand it: the service's identifier if it is
/// an ISO 639-2 code, as most are; else ISO 639-2/T or the tag with a region.
std::string_view fileNameCodeOf(const Language& language);

}  // namespace caprion::tool
