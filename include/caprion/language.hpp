#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <optional>
#include <span>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// A language that the service has subtitles in. A plain value of texts that live as long as the process; any
/// thread may use it.
struct CAPRION_EXPORT Language {
  /// The service's own: "eng", "pob". What a search takes.
  std::string_view identifier;
  /// ISO 639-1: "en"; empty where there is none, or where it is that of another language of the service.
  std::string_view iso6391;
  /// ISO 639-2/T: "eng", "deu"; empty where it is that of another language of the service.
  std::string_view iso6392;
  /// BCP 47: the tag with a region where the service means one ("pt-BR"), else ISO 639-1, else ISO 639-2/T.
  /// What players read in the name of a subtitle file.
  std::string_view tag;
  /// In English: "Portuguese (Brazil)".
  std::string_view name;

  /// The language that a code means: the service's identifier, ISO 639-1, ISO 639-2/B or /T, or a tag of BCP
  /// 47, in any letter case and with "_" as well as "-". The first part of a tag decides ("en-US" is
  /// English), except where a region or a script makes it another language of the service ("pt-BR",
  /// "zh-Hant"). Absent for everything else, such as "all" and a name in words.
  static std::optional<Language> from(std::string_view code) noexcept;

  /// All of them, in the order of their identifiers.
  static std::span<const Language> all() noexcept;

  friend bool operator==(const Language&, const Language&) = default;
};

}  // namespace CAPRION_NAMESPACE
