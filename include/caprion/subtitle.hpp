#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/result.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// The kind of title that a subtitle belongs to. It hashes as its text in JSON.
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
  /// names the first key at fault, or with ENOMEM or, past 4 GiB of texts, EOVERFLOW of NSPOSIXErrorDomain.
  static Result<std::shared_ptr<const Subtitle>> decode(std::string_view json) noexcept;

  /// The service's number of the subtitle. A download's folder is named by it.
  std::string_view subtitleID() const noexcept;
  /// What the service matched the hit by, such as "moviehash".
  std::string_view matchedBy() const noexcept;
  /// The name of the subtitle file. Its extension is the one that a download looks for in the archive.
  std::string_view subFileName() const noexcept;
  /// The service's language code, such as "eng".
  std::string_view subLanguageID() const noexcept;
  /// The subtitle file's format, such as "srt".
  std::string_view subFormat() const noexcept;
  /// The name of the language, such as "English".
  std::string_view languageName() const noexcept;
  /// The language's ISO 639 code, such as "en".
  std::string_view iso639() const noexcept;
  /// The title of the movie or the episode.
  std::string_view movieName() const noexcept;
  /// The year of the title, such as "2008".
  std::string_view movieYear() const noexcept;
  /// Whether the title is a movie or an episode.
  MovieKind movieKind() const noexcept;
  /// The number of an episode's season; of a movie commonly "0".
  std::string_view seriesSeason() const noexcept;
  /// The number of an episode in its season; of a movie commonly "0".
  std::string_view seriesEpisode() const noexcept;
  /// The address of the zip archive that holds the subtitle file.
  std::optional<std::string_view> zipDownloadLink() const noexcept;
  /// A second download address, carried for the host.
  std::optional<std::string_view> subDownloadLink() const noexcept;
  /// How many discs the subtitle spans, carried for the host.
  std::string_view subSumCD() const noexcept;

  /// The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"; tt0000000 when
  /// the service gave no number. Always present. Throws std::bad_alloc when there isn't the memory for it.
  virtual std::optional<std::string> imdbID() const;

  /// The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3". Throws std::bad_alloc when
  /// there isn't the memory for it.
  virtual std::string detailString() const;

  /// The record as the text of a JSON object, with an absent link left out. Fails with ENOMEM of
  /// NSPOSIXErrorDomain only.
  virtual Result<std::string> encode() const noexcept;

  Subtitle(const Subtitle&) = delete;
  Subtitle& operator=(const Subtitle&) = delete;

 private:
  // Holds all that there is to a record; every Subtitle is one. So fields can be added to it.
  friend class SubtitleRecord;
  Subtitle() = default;
  virtual ~Subtitle();
};

}  // namespace CAPRION_NAMESPACE

/// \cond
template <>
struct std::hash<caprion::MovieKind> {
  std::size_t operator()(caprion::MovieKind kind) const noexcept {
    return std::hash<std::string_view>()(rawValue(kind));
  }
};
/// \endcond
