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

/// The parts of a video file's name. No members will be added. Threads that share one must synchronise
/// changes themselves.
struct CAPRION_EXPORT VideoFileComponents {
  /// The words before the marker that ends the title, trimmed.
  std::string title;
  /// From 1900 to 2099 if parsed from a name.
  std::optional<std::int64_t> year;
  /// From 0 to 99 if parsed from a name.
  std::optional<std::int64_t> season;
  /// From 0 to 99 if parsed from a name.
  std::optional<std::int64_t> episode;
  /// The resolution as written in the name, such as "720p" or "1080P".
  std::optional<std::string> resolution;

  /// A text to search by: the title with season and episode if both are known, else with the year if that is
  /// known, else alone. "Show Name s01e02", "Movie Name 2010".
  std::string searchString() const;

  /// Decodes a JSON object with the fields' names as keys. "title" is required; absent fields are missing or
  /// null; other keys are ignored. Fails with an error of DecodingErrorDomain, which names the first key at
  /// fault.
  static Result<VideoFileComponents> decode(std::string_view json) noexcept;

  /// Encodes the components as a JSON object, without absent fields. Fails with an error of
  /// EncodingErrorDomain if a string isn't UTF-8.
  Result<std::string> encode() const noexcept;

  friend bool operator==(const VideoFileComponents&, const VideoFileComponents&) = default;
};

/// Parses video file names. Any thread may call it at any time.
class CAPRION_EXPORT VideoFileUtilities {
 public:
  /// Splits the last component of the URL's path, without its extension, into title and markers. Doesn't
  /// access the file.
  ///
  /// Markers are a season and an episode ("S01E02", or "2x05", which gives only the episode), a resolution
  /// ("720p", as a separate word) and a year from 1900 to 2099; the last of each kind counts. The title ends
  /// where the last year begins, or if there is none, the last resolution, or else the last season and
  /// episode; it is empty if the name begins with that marker. A name without markers is all title. Periods
  /// and underscores count as spaces.
  ///
  /// Never fails: invalid UTF-8 is read as U+FFFD, one for each maximal part of a character. (If memory runs
  /// out, no field is set.)
  static VideoFileComponents componentsFrom(const URL& url) noexcept;
};

}  // namespace CAPRION_NAMESPACE
