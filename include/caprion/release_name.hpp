#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/url.hpp>

#include <optional>
#include <string>
#include <vector>

namespace CAPRION_NAMESPACE {

/// What the name of a video file says about the movie or the episode in it, read for comparing it with hits
/// and for searching by title. A plain value.
///
/// VideoFileUtilities splits a name by fewer rules, whose titles may still hold a marker. Here the title ends
/// at the first marker of any kind.
struct CAPRION_EXPORT ReleaseName {
  /// The words before the first marker, with blanks for periods, underscores and brackets, and without a
  /// group in brackets in front. Empty when the name begins with its marker.
  std::string title;
  /// When a movie came out, or a series began: a number from 1900 to 2099 that isn't the first word and no
  /// part of a date. Of several the one in brackets, else the last before the next marker of another kind
  /// ("Blade.Runner.2049.2017.1080p" is of 2017). A year behind an episode is not read.
  std::optional<int> year;
  /// "S01E02", "1x02", "Season 1 Episode 2"; 1 where a name has the episode alone ("E05").
  std::optional<int> season;
  /// In the order of the name: one or several ("S01E02E03", "S01E02-E04", "1x02-03"); none for a movie, a
  /// whole season, and a number without a marker ("Show - 012").
  std::vector<int> episodes;

  /// Reads the last component of the URL's path without its extension; the file itself is never touched.
  /// Every name has a result, made from its first 1,024 bytes. (Should the memory run out, no field is set.)
  static ReleaseName from(const URL& video) noexcept;

  friend bool operator==(const ReleaseName&, const ReleaseName&) = default;
};

}  // namespace CAPRION_NAMESPACE
