#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/result.hpp>
#include <caprion/url.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// What the name of a video file tells about its content. A plain value, and closed: these are its members
/// for good. Each may be changed; threads that share one have to see to it themselves that none reads it
/// while another writes.
struct CAPRION_EXPORT VideoFileComponents {
  /// The words before the marker that ended the title, trimmed.
  std::string title;
  /// From 1900 to 2099 where a name was parsed.
  std::optional<std::int64_t> year;
  /// From 0 to 99 where a name was parsed.
  std::optional<std::int64_t> season;
  /// From 0 to 99 where a name was parsed.
  std::optional<std::int64_t> episode;
  /// The number of lines as written in the name, such as "720p" or "1080P".
  std::optional<std::string> resolution;

  /// A text to search the service by: the title with season and episode where both are known, else with the
  /// year, else alone. "Show Name s01e02", "Movie Name 2010".
  std::string searchString() const;

  /// Decodes the text of a JSON object with the fields' names as keys. "title" is required; an absent field
  /// is missing or null; other keys are ignored. Fails with an error of DecodingErrorDomain, which names the
  /// first key at fault.
  static Result<VideoFileComponents> decode(std::string_view json) noexcept;

  /// The text of a JSON object, with absent fields left out. Fails with an error of EncodingErrorDomain when
  /// a text is not UTF-8.
  Result<std::string> encode() const noexcept;

  friend bool operator==(const VideoFileComponents&, const VideoFileComponents&) = default;
};

/// The parsing of video file names. Holds nothing; any thread may call it at any time.
class CAPRION_EXPORT VideoFileUtilities {
 public:
  /// Splits the last component of the URL's path, without its extension, into title and markers. The file
  /// itself is never touched.
  ///
  /// Markers are a season and an episode ("S01E02", or "2x05", which gives the episode alone), a resolution
  /// ("720p", as a word of its own) and a year from 1900 to 2099; of several of one kind the last counts. The
  /// title ends where the last year begins, or without a year the last resolution, or else the last season
  /// and episode; it is empty when that is at the very beginning. A name without markers is all title.
  /// Periods and underscores count as spaces.
  ///
  /// Every name has a result: bytes that aren't well-formed UTF-8 are read as U+FFFD, one for each maximal
  /// part of a character. (Should the memory run out, the result has no field set.)
  static VideoFileComponents componentsFrom(const URL& url) noexcept;
};

}  // namespace CAPRION_NAMESPACE
