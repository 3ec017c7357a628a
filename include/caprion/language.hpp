#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <optional>
#include <span>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// A language that the service has subtitles in. The strings live as long as the process.
struct CAPRION_EXPORT Language {
  /// The service's identifier, which searches take: "eng", "pob".
  std::string_view identifier;
  /// The ISO 639-1 code: "en". Empty if there is none, or if another language of the service has it.
  std::string_view iso6391;
  /// The ISO 639-2/T code: "eng", "deu". Empty if another language of the service has it.
  std::string_view iso6392;
  /// The BCP 47 tag: with a region if the service distinguishes one ("pt-BR"), else ISO 639-1, else ISO
  /// 639-2/T. Players recognise it in the name of a subtitle file.
  std::string_view tag;
  /// The name in English: "Portuguese (Brazil)".
  std::string_view name;

  /// The language with a code: the service's identifier, ISO 639-1, ISO 639-2/B or /T, or a BCP 47 tag, in
  /// any letter case and with "_" or "-". The first part of a tag decides ("en-US" is English), unless a
  /// region or a script makes it another language of the service ("pt-BR", "zh-Hant"). Absent for everything
  /// else, such as "all" or "English".
  static std::optional<Language> from(std::string_view code) noexcept;

  /// All languages, in the order of their identifiers.
  static std::span<const Language> all() noexcept;

  friend bool operator==(const Language&, const Language&) = default;
};

}  // namespace CAPRION_NAMESPACE
