#pragma once

#include "matching/words.hpp"

#include <caprion/release_name.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace caprion {

/// A file name without its extension, as comparable() gives it. A last part that is a marker ("Show.S01E02")
/// is not an extension.
std::string stemOf(std::string_view fileName);

/// A ReleaseName with details that only the ranking needs.
struct DetailedName : ReleaseName {
  /// Whether the name can identify a release: it has a title that isn't generic, and a season, a year or a
  /// release word.
  bool isOfRelease = false;
  /// The first year after the episode: the show's, the episode's, or a word of its title.
  std::optional<int> laterYear;
  /// The number of the disc, if the video is split over several.
  std::optional<int> disc;
  /// Whether it is a sample or a trailer.
  bool isExcerpt = false;
};

/// The first disc number in a name: "cd1", "Disc 2".
std::optional<int> discIn(const std::vector<Word>& words);

/// Parses the stem of a file name. Throws std::bad_alloc.
DetailedName releaseNameOf(const std::string& stem);

}  // namespace caprion
