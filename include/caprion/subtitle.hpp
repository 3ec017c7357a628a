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

/// The kind of title that a subtitle is for. Its hash is that of its JSON string.
enum class MovieKind { movie, episode };

/// The JSON string of a kind: "movie" or "episode".
CAPRION_EXPORT std::string_view rawValue(MovieKind kind) noexcept;

/// The kind with exactly this JSON string; absent for any other string.
CAPRION_EXPORT std::optional<MovieKind> movieKindFrom(std::string_view rawValue) noexcept;

/// A record: one hit of a search, a subtitle file that the service offers.
///
/// Records are created only by decoding. They are shared and immutable, so any thread may read them; the
/// views that members return live as long as the record. All strings are as the service wrote them: any of
/// them may be empty, and years and numbers are strings too.
class CAPRION_EXPORT Subtitle {
 public:
  /// Decodes one record from a JSON object with the service's keys. All keys but the two links are required,
  /// with strings as values; other keys are ignored. Fails with an error of DecodingErrorDomain, which names
  /// the first key at fault, or with one of NSPOSIXErrorDomain: ENOMEM, or EOVERFLOW for 4 GiB of strings or
  /// more.
  static Result<std::shared_ptr<const Subtitle>> decode(std::string_view json) noexcept;

  /// The service's identifier of the subtitle, which also names the folder of a download.
  std::string_view subtitleID() const noexcept;
  /// How the service matched the hit, such as "moviehash".
  std::string_view matchedBy() const noexcept;
  /// The name of the subtitle file. A download picks a file with the same extension from the archive.
  std::string_view subFileName() const noexcept;
  /// The service's language code, such as "eng".
  std::string_view subLanguageID() const noexcept;
  /// The format of the subtitle file, such as "srt".
  std::string_view subFormat() const noexcept;
  /// The name of the language, such as "English".
  std::string_view languageName() const noexcept;
  /// The language's ISO 639 code, such as "en".
  std::string_view iso639() const noexcept;
  /// The title of the movie or episode.
  std::string_view movieName() const noexcept;
  /// The year of the title, such as "2008".
  std::string_view movieYear() const noexcept;
  /// Whether the title is a movie or an episode.
  MovieKind movieKind() const noexcept;
  /// The season of an episode; usually "0" for a movie.
  std::string_view seriesSeason() const noexcept;
  /// The number of an episode in its season; usually "0" for a movie.
  std::string_view seriesEpisode() const noexcept;
  /// The address of the zip archive with the subtitle file; absent if there is nothing to download.
  std::optional<std::string_view> zipDownloadLink() const noexcept;
  /// A second download address. The library doesn't use it.
  std::optional<std::string_view> subDownloadLink() const noexcept;
  /// The number of discs that the subtitle spans.
  std::string_view subSumCD() const noexcept;

  /// The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"; "tt0000000" if
  /// the service gave no number. Always present. Throws std::bad_alloc.
  virtual std::optional<std::string> imdbID() const;

  /// The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3". Throws std::bad_alloc.
  virtual std::string detailString() const;

  /// Encodes the record as a JSON object, without absent links. Fails only with ENOMEM of NSPOSIXErrorDomain.
  virtual Result<std::string> encode() const noexcept;

  Subtitle(const Subtitle&) = delete;
  Subtitle& operator=(const Subtitle&) = delete;

 private:
  // Every Subtitle is a SubtitleRecord, which holds the data. So fields can be added without changing the
  // ABI.
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
