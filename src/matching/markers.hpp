#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace caprion {

// What folded words of a video's name mean, apart from the title.

/// The word as a number of `fewest` to `most` digits; `most` is at most 6.
std::optional<int> numberOf(std::string_view word, std::size_t fewest, std::size_t most);

/// The word as a year from 1900 to 2099.
std::optional<int> yearOf(std::string_view word);

/// "720p", "1080i", "1920x1080".
bool isResolution(std::string_view word);

/// Whether the word names a source, a codec or a cut, and doesn't occur in titles as "web" or "cam" do.
bool isReleaseWord(std::string_view word);

/// The disc number in the word, or in it and the next one: "cd1", "disc 2".
std::optional<int> discIn(std::string_view word, std::string_view next);

/// Whether the word may name any video: "movie", "episode", "track".
bool isGeneric(std::string_view word);

/// A season, episodes, or both.
struct Marker {
  std::optional<int> season;
  std::vector<int> episodes{};
  std::size_t words = 1;  // that it takes
};

/// "s01e02e03", "s01", "e02", "ep02", "1x02". Without an "s", an episode has at least `fewest` digits. The
/// word must not be empty.
std::optional<Marker> markerIn(std::string_view word, std::size_t fewest = 2);

}  // namespace caprion
