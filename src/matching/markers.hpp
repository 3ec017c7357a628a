#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace caprion {

// What a folded word of a video's name can tell beside the title.

/// The number that the whole word is, of so many digits; not more than six.
std::optional<int> numberOf(std::string_view word, std::size_t fewest, std::size_t most);

/// The year that the word can be.
std::optional<int> yearOf(std::string_view word);

/// "720p", "1080i", "1920x1080".
bool isResolution(std::string_view word);

/// Whether the word tells of a source, a codec or a cut. Words that titles use as well ("web", "cam",
/// "proper") don't.
bool isReleaseWord(std::string_view word);

/// The number of a disc that the word tells of, or the word and the next one: "cd1", "disc 2".
std::optional<int> discIn(std::string_view word, std::string_view next);

/// Whether any video may be called that: "movie", "episode", "track".
bool isGeneric(std::string_view word);

/// What one or more words say of an episode: a season, episodes or both.
struct Marker {
  std::optional<int> season;
  std::vector<int> episodes{};
  std::size_t words = 1;
};

/// "s01e02e03", "s01", "e02", "ep02", "1x02". Without an "s" an episode has so many digits at least. Takes no
/// empty word.
std::optional<Marker> markerIn(std::string_view word, std::size_t fewest = 2);

}  // namespace caprion
