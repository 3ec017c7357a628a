#pragma once

#include "platform/json.hpp"

#include <caprion/subtitle.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// The implementation of Subtitle, and its mapping from JSON. The texts directly follow the object in memory,
/// so a record is a single allocation.
class SubtitleRecord final : public Subtitle {
 public:
  // In the order in which the keys are read and written.
  enum Key : std::size_t {
    subtitleIDKey,
    matchedByKey,
    subFileNameKey,
    subLanguageIDKey,
    languageNameKey,
    iso639Key,
    subFormatKey,
    movieNameKey,
    movieYearKey,
    movieKindKey,
    imdbIDMovieKey,
    imdbIDSeriesKey,
    seriesSeasonKey,
    seriesEpisodeKey,
    zipDownloadLinkKey,
    subDownloadLinkKey,
    subSumCDKey,
    keyCount
  };
  /// The keys of the JSON object.
  static const CodingKeys keys;

  /// Decodes a record; fails with the error of the first faulty key.
  static Result<std::shared_ptr<const Subtitle>> decode(const KeyedView& view);

  static const SubtitleRecord& of(const Subtitle& subtitle) noexcept {
    return static_cast<const SubtitleRecord&>(subtitle);
  }

  /// The IMDb number of the title, and of the series that an episode belongs to, as the service wrote them.
  static std::string_view imdbIDMovie(const Subtitle& subtitle) noexcept {
    return of(subtitle).text(imdbIDMovieKey);
  }
  static std::string_view imdbIDSeries(const Subtitle& subtitle) noexcept {
    return of(subtitle).text(imdbIDSeriesKey);
  }

  /// NUL-terminated; empty for an absent link.
  std::string_view text(Key key) const noexcept {
    return {texts() + begins_[key], begins_[key + 1] - begins_[key] - 1};
  }
  /// Absent for an absent link only.
  std::optional<std::string_view> optionalText(Key key) const noexcept {
    const bool absent = (key == zipDownloadLinkKey && !hasZipDownloadLink_) ||
                        (key == subDownloadLinkKey && !hasSubDownloadLink_);
    return absent ? std::nullopt : std::optional(text(key));
  }
  MovieKind kind() const noexcept { return kind_; }

 private:
  using Texts = std::array<std::optional<std::string_view>, keyCount>;

  explicit SubtitleRecord(const Texts& texts) noexcept;

  const char* texts() const noexcept { return reinterpret_cast<const char*>(this + 1); }

  std::array<std::uint32_t, keyCount + 1> begins_{};
  bool hasZipDownloadLink_;
  bool hasSubDownloadLink_;
  MovieKind kind_;
};

}  // namespace CAPRION_NAMESPACE
