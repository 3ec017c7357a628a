#pragma once

#include <caprion/language.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// Adds the languages of a list with commas, each in any form that Language::from knows and each once. Throws
/// UsageError for what is none.
void addLanguages(std::vector<Language>& languages, std::string_view list);

/// The language of the user's locale; English where that is none, or none that the service has.
Language languageOfLocale();

/// The service's identifiers, with commas between them.
std::string identifiersOf(const std::vector<Language>& languages);

/// The piece of a subtitle's file name by which players know its language: the service's identifier where
/// that is a code of ISO 639-2, as most are, or else the tag with a region or ISO 639-2/T.
std::string_view pieceOf(const Language& language);

}  // namespace caprion::tool
