#include "matching/markers.hpp"

#include "platform/text.hpp"

#include <algorithm>

namespace caprion {

namespace {

/// Words that describe a release and so end a title, sorted. Excludes those that occur in titles ("web",
/// "cam", "proper").
constexpr std::string_view releaseWords[] = {
    "10bit",   "2k",       "4k",         "8k",     "aac",     "ac3",          "av1",        "avc",
    "bdremux", "bdrip",    "bluray",     "brrip",  "camrip",  "directorscut", "divx",       "dts",
    "dvd5",    "dvd9",     "dvdr",       "dvdrip", "dvdscr",  "extended",     "h264",       "h265",
    "hdcam",   "hddvd",    "hdrip",      "hdtv",   "hevc",    "pdtv",         "remastered", "remux",
    "repack",  "telesync", "theatrical", "uhd",    "unrated", "vhsrip",       "webdl",      "webrip",
    "x264",    "x265",     "xvid",
};
static_assert(std::ranges::is_sorted(releaseWords));

/// Words that cameras, discs and people use in place of a title.
constexpr std::string_view genericWords[] = {
    "chapter", "clip",   "disc",   "disk",  "dvd",   "ep",    "episode", "file", "film",
    "movie",   "sample", "season", "title", "track", "video", "videots", "vid",  "vts",
};

/// The number of leading digits.
std::size_t digitsOf(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::find_if_not(text, isDigit) - text.begin());
}

/// Removes and returns a leading number of `fewest` to `most` digits; `most` is at most 6.
std::optional<int> takeNumber(std::string_view& text, std::size_t fewest, std::size_t most) {
  const std::size_t digits = digitsOf(text);
  if (digits < fewest || digits > most) return std::nullopt;
  int number = 0;
  for (char c : text.substr(0, digits)) number = number * 10 + (c - '0');
  text.remove_prefix(digits);
  return number;
}

bool skipPrefix(std::string_view& text, std::string_view start) {
  if (!text.starts_with(start)) return false;
  text.remove_prefix(start.size());
  return true;
}

}  // namespace

std::optional<int> numberOf(std::string_view text, std::size_t fewest, std::size_t most) {
  const auto number = takeNumber(text, fewest, most);
  return text.empty() ? number : std::nullopt;
}

std::optional<int> yearOf(std::string_view word) {
  const auto year = numberOf(word, 4, 4);
  return year && *year >= 1900 && *year <= 2099 ? year : std::nullopt;
}

bool isResolution(std::string_view word) {
  if (!takeNumber(word, 3, 4)) return false;
  if (skipPrefix(word, "x")) return numberOf(word, 3, 4).has_value();
  return word == "p" || word == "i";
}

bool isReleaseWord(std::string_view word) { return std::ranges::binary_search(releaseWords, word); }

std::optional<int> discIn(std::string_view word, std::string_view next) {
  if (!skipPrefix(word, "cd") && !skipPrefix(word, "disc") && !skipPrefix(word, "disk")) return std::nullopt;
  return numberOf(word.empty() ? next : word, 1, 2);
}

bool isGeneric(std::string_view word) {
  return std::ranges::find(genericWords, word) != std::end(genericWords);
}

std::optional<Marker> markerIn(std::string_view word, std::size_t fewest) {
  Marker marker;
  if (isDigit(word.front())) {
    marker.season = takeNumber(word, 1, 2);
    if (!marker.season || !word.starts_with('x')) return std::nullopt;
  } else if (skipPrefix(word, "s")) {
    marker.season = takeNumber(word, 1, 4);
    if (!marker.season) return std::nullopt;
    fewest = 1;
  }
  std::string_view rest = word;
  while (skipPrefix(rest, "ep") || skipPrefix(rest, "e") || (marker.season && skipPrefix(rest, "x"))) {
    const auto episode = takeNumber(rest, fewest, 4);
    if (!episode) break;
    marker.episodes.push_back(*episode);
    word = rest;
  }
  // A version may follow: "s01e02v2".
  const bool isWhole = word.empty() || (!marker.episodes.empty() && word.size() == 2 && word.front() == 'v');
  return isWhole && (marker.season || !marker.episodes.empty()) ? std::optional(marker) : std::nullopt;
}

}  // namespace caprion
