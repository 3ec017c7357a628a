#pragma once

#include "matching/words.hpp"

#include <caprion/release_name.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace caprion {

/// A file's name as it is read: comparable, and without the extension. A last part that is itself a marker
/// ("Show.S01E02") is none.
std::string stemOf(std::string_view fileName);

/// What a name says, and what only the ranking asks for.
struct DetailedName : ReleaseName {
  /// Whether the name is one that a release can be known by: it has a title, of more than numbers and words
  /// for any video ("movie", "track"), and an episode, a year or a release word behind it.
  bool isOfRelease = false;
  /// The first year behind an episode: the show's, the episode's or a word of its title.
  std::optional<int> laterYear;
  /// The disc of several that the video was cut to fit on.
  std::optional<int> disc;
  /// Whether it is a sample or a trailer.
  bool isExcerpt = false;
};

/// The number behind the first "cd", "disc" or "disk" of a name: "cd1", "Disc 2".
std::optional<int> discIn(const std::vector<Word>& words);

/// What the stem of a file's name says. Throws std::bad_alloc.
DetailedName releaseNameOf(const std::string& stem);

}  // namespace caprion
