#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/url.hpp>

#include <optional>
#include <string>
#include <vector>

namespace CAPRION_NAMESPACE {

/// What the name of a video file says about the movie or episode in it, for comparing it with hits and for
/// searching by title. Uses more rules than VideoFileUtilities, whose titles may still contain a marker: here
/// the title ends at the first marker of any kind.
struct CAPRION_EXPORT ReleaseName {
  /// The words before the first marker, with spaces for periods, underscores and brackets, and without a
  /// leading group in brackets. Empty if the name begins with a season or an
  /// episode; any other marker counts only after the first word.
  std::string title;
  /// The year of a movie, or the year in which a series began: a number from 1900 to 2099 that is neither the
  /// first word nor part of a date. If there are several, the one in brackets counts, else the last before
  /// another kind of marker ("Blade.Runner.2049.2017.1080p" is from 2017). A year after an episode is
  /// ignored.
  std::optional<int> year;
  /// From "S01E02", "1x02" or "Season 1 Episode 2"; 1 if the name has only an episode ("E05").
  std::optional<int> season;
  /// In the order of the name: one or several ("S01E02E03", "S01E02-E04", "1x02-03"); none for a movie, a
  /// whole season or a number without a marker ("Show - 012").
  std::vector<int> episodes;

  /// Parses the last component of the URL's path without its extension. Doesn't access the file. Never fails;
  /// only the first 1,024 bytes of a name count. (If memory runs out, no field is set.)
  static ReleaseName from(const URL& video) noexcept;

  friend bool operator==(const ReleaseName&, const ReleaseName&) = default;
};

}  // namespace CAPRION_NAMESPACE
