#pragma once

#include <caprion/export.h>
#include <caprion/result.hpp>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// The kind of title that a subtitle belongs to.
enum class MovieKind { movie, episode };

/// The kind's text in JSON: "movie" or "episode".
CAPRION_EXPORT std::string_view rawValue(MovieKind kind) noexcept;

/// The kind with exactly this text; absent for any other.
CAPRION_EXPORT std::optional<MovieKind> movieKindFrom(std::string_view rawValue) noexcept;

/// One hit of a search: a subtitle file that the service offers.
///
/// A record is made by decoding alone and never changes, so any thread may read it. Records are shared; a
/// view that a member returns lives as long as the record. All texts are the service's own, unchecked: the
/// empty text is a valid value of each, and years and numbers are texts too.
class CAPRION_EXPORT Subtitle {
 public:
  /// Decodes one record from the text of a JSON object with the service's keys. All keys but the two links
  /// are required to hold texts; other keys are ignored. Fails with an error of DecodingErrorDomain, which
  /// names the first key at fault.
  static Result<std::shared_ptr<const Subtitle>> decode(std::string_view json) noexcept;

  virtual ~Subtitle();

  /// The service's number of the subtitle. A download's folder is named by it.
  std::string_view subtitleID() const noexcept { return text(subtitleIDKey); }
  /// What the service matched the hit by, such as "moviehash".
  std::string_view matchedBy() const noexcept { return text(matchedByKey); }
  /// The name of the subtitle file. Its extension is the one that a download looks for in the archive.
  std::string_view subFileName() const noexcept { return text(subFileNameKey); }
  /// The service's language code, such as "eng".
  std::string_view subLanguageID() const noexcept { return text(subLanguageIDKey); }
  /// The name of the language, such as "English".
  std::string_view languageName() const noexcept { return text(languageNameKey); }
  /// The language's ISO 639 code, such as "en".
  std::string_view iso639() const noexcept { return text(iso639Key); }
  /// The subtitle file's format, such as "srt".
  std::string_view subFormat() const noexcept { return text(subFormatKey); }
  /// The title of the movie or the episode.
  std::string_view movieName() const noexcept { return text(movieNameKey); }
  /// The year of the title, such as "2008".
  std::string_view movieYear() const noexcept { return text(movieYearKey); }
  /// Whether the title is a movie or an episode.
  MovieKind movieKind() const noexcept { return movieKind_; }
  /// The number of an episode's season; of a movie commonly "0".
  std::string_view seriesSeason() const noexcept { return text(seriesSeasonKey); }
  /// The number of an episode in its season; of a movie commonly "0".
  std::string_view seriesEpisode() const noexcept { return text(seriesEpisodeKey); }
  /// The address of the zip archive that holds the subtitle file.
  std::optional<std::string_view> zipDownloadLink() const noexcept { return link(zipDownloadLinkKey); }
  /// A second download address, carried for the host.
  std::optional<std::string_view> subDownloadLink() const noexcept { return link(subDownloadLinkKey); }
  /// How many discs the subtitle spans, carried for the host.
  std::string_view subSumCD() const noexcept { return text(subSumCDKey); }

  /// The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"; tt0000000 when
  /// the service gave no number. Always present in this class.
  virtual std::optional<std::string> imdbID() const;

  /// The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3".
  virtual std::string detailString() const;

  /// The record as the text of a JSON object, with an absent link left out.
  virtual Result<std::string> encode() const noexcept;

 protected:
  Subtitle(const Subtitle&) = default;

 private:
  friend struct SubtitleCoding;

  // The keys of the JSON object, in the order in which they are read and written.
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
  static constexpr bool isLink(std::size_t key) {
    return key == zipDownloadLinkKey || key == subDownloadLinkKey;
  }

  /// The texts in key order; only a link may be absent.
  using Texts = std::array<std::optional<std::string_view>, keyCount>;

  explicit Subtitle(const Texts& texts);

  std::string_view text(std::size_t key) const noexcept {
    return {texts_.data() + begins_[key], begins_[key + 1] - begins_[key] - 1};
  }
  std::optional<std::string_view> link(std::size_t key) const noexcept {
    return hasLink_[key - zipDownloadLinkKey] ? std::optional(text(key)) : std::nullopt;
  }

  std::string texts_;  // all texts in key order, each with a NUL behind it: one allocation a record
  std::array<std::uint32_t, keyCount + 1> begins_{};
  std::array<bool, 2> hasLink_;
  MovieKind movieKind_;
};

}  // namespace caprion
