#include "matching/release_name.hpp"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

namespace caprion {

namespace {

/// Words that tell of a release and end a title, sorted. Words that titles use as well ("web", "cam",
/// "proper") are not here.
constexpr std::string_view releaseWords[] = {
    "10bit",   "2k",       "4k",         "8k",     "aac",     "ac3",          "av1",        "avc",
    "bdremux", "bdrip",    "bluray",     "brrip",  "camrip",  "directorscut", "divx",       "dts",
    "dvd5",    "dvd9",     "dvdr",       "dvdrip", "dvdscr",  "extended",     "h264",       "h265",
    "hdcam",   "hddvd",    "hdrip",      "hdtv",   "hevc",    "pdtv",         "remastered", "remux",
    "repack",  "telesync", "theatrical", "uhd",    "unrated", "vhsrip",       "webdl",      "webrip",
    "x264",    "x265",     "xvid",
};
static_assert(std::ranges::is_sorted(releaseWords));

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// How many digits the text begins with.
std::size_t digitsOf(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::find_if_not(text, isDigit) - text.begin());
}

/// Takes a number of so many digits, six at most, off the text.
std::optional<int> takeNumber(std::string_view& text, std::size_t fewest, std::size_t most) {
  const std::size_t digits = digitsOf(text);
  if (digits < fewest || digits > most) return std::nullopt;
  int number = 0;
  for (char c : text.substr(0, digits)) number = number * 10 + (c - '0');
  text.remove_prefix(digits);
  return number;
}

/// The number that the whole text is.
std::optional<int> numberOf(std::string_view text, std::size_t fewest, std::size_t most) {
  const auto number = takeNumber(text, fewest, most);
  return text.empty() ? number : std::nullopt;
}

bool take(std::string_view& text, std::string_view start) {
  if (!text.starts_with(start)) return false;
  text.remove_prefix(start.size());
  return true;
}

std::optional<int> yearOf(std::string_view word) {
  const auto year = numberOf(word, 4, 4);
  return year && *year >= 1900 && *year <= 2099 ? year : std::nullopt;
}

/// "720p", "1080i", "1920x1080".
bool isResolution(std::string_view word) {
  if (!takeNumber(word, 3, 4)) return false;
  if (take(word, "x")) return numberOf(word, 3, 4).has_value();
  return word == "p" || word == "i";
}

bool isReleaseWord(std::string_view word) { return std::ranges::binary_search(releaseWords, word); }

/// What one or more words say of an episode: a season, episodes or both.
struct Marker {
  std::optional<int> season;
  std::vector<int> episodes{};
  std::size_t words = 1;
};

/// "s01e02e03", "s01", "e02", "ep02", "1x02". Without an "s" an episode has so many digits at least.
std::optional<Marker> markerIn(std::string_view word, std::size_t fewest = 2) {
  Marker marker;
  if (isDigit(word.front())) {
    marker.season = takeNumber(word, 1, 2);
    if (!marker.season || !word.starts_with('x')) return std::nullopt;
  } else if (take(word, "s")) {
    marker.season = takeNumber(word, 1, 4);
    if (!marker.season) return std::nullopt;
    fewest = 1;
  }
  std::string_view rest = word;
  while (take(rest, "ep") || take(rest, "e") || (marker.season && take(rest, "x"))) {
    const auto episode = takeNumber(rest, fewest, 4);
    if (!episode) break;
    marker.episodes.push_back(*episode);
    word = rest;
  }
  // "s01e02v2" is a second version.
  const bool isWhole = word.empty() || (!marker.episodes.empty() && word.size() == 2 && word.front() == 'v');
  return isWhole && (marker.season || !marker.episodes.empty()) ? std::optional(marker) : std::nullopt;
}

/// Reads a name word by word.
class Reader {
 public:
  explicit Reader(const std::string& stem) : stem_(stem), words_(wordsOf(stem)) {}

  ReleaseName read() {
    first_ = firstWord();
    titleEnd_ = words_.size();
    for (std::size_t i = first_; i < words_.size();) {
      if (const auto marker = markerAt(i)) {
        keep(*marker, i);
        i += marker->words;
      } else {
        if (i > first_) readOtherMarkerAt(i);
        ++i;
      }
    }
    if (name_.year) titleEnd_ = std::min(titleEnd_, yearAt_);
    name_.title = title();
    return std::move(name_);
  }

 private:
  std::string_view word(std::size_t i) const {
    return i < words_.size() ? std::string_view(words_[i].folded) : std::string_view();
  }

  /// What stands in front of a word and behind the word before.
  std::string_view gapBefore(std::size_t i) const {
    const std::size_t begin = i == 0 ? 0 : words_[i - 1].end;
    const std::size_t end = i < words_.size() ? words_[i].begin : stem_.size();
    return std::string_view(stem_).substr(begin, end - begin);
  }

  bool hasInGapBefore(std::size_t i, char c) const { return gapBefore(i).find(c) != std::string_view::npos; }

  /// The word that the title begins with: the first one, or the one behind a group in brackets. "[REC]
  /// (2007)" has no other title than the one in brackets.
  std::size_t firstWord() const {
    if (words_.empty() || !hasInGapBefore(0, '[')) return 0;
    std::size_t i = 1;
    while (i < words_.size() && !hasInGapBefore(i, ']')) ++i;
    const bool isAllThereIs = i >= words_.size() || yearOf(word(i)) || isOfRelease(i);
    return isAllThereIs ? 0 : i;
  }

  /// The episode that word `i` and those behind it tell of.
  std::optional<Marker> markerAt(std::size_t i) const {
    std::optional<Marker> marker = markerIn(word(i));
    if (!marker) return spelledOutMarkerAt(i);
    if (marker->episodes.empty()) readEpisodeBehindSeason(*marker, i);
    // A season of one digit is taken for none ("S4") unless an episode follows.
    if (marker->episodes.empty()) return word(i).size() > 2 ? marker : std::nullopt;
    for (;; ++marker->words) {
      const std::size_t next = i + marker->words;
      if (next >= words_.size()) return marker;
      const auto number = gapBefore(next) == "-" ? numberOf(word(next), 2, 3) : std::nullopt;
      const auto further = markerIn(word(next));
      const bool isFurther =
          further && !further->episodes.empty() && (!further->season || further->season == marker->season);
      if (!number && !isFurther) return marker;
      if (number) marker->episodes.push_back(*number);
      if (isFurther)
        marker->episodes.insert(marker->episodes.end(), further->episodes.begin(), further->episodes.end());
    }
  }

  /// "S01 E02", "S01 - 02", "S01 Episode 2".
  void readEpisodeBehindSeason(Marker& marker, std::size_t i) const {
    const std::size_t next = i + marker.words;
    if (next >= words_.size()) return;
    const auto further = markerIn(word(next), 1);
    const auto number = hasInGapBefore(next, '-') ? numberOf(word(next), 2, 3) : std::nullopt;
    const bool isSpelledOut = word(next) == "episode" || word(next) == "ep";
    const auto spelledOut = isSpelledOut ? numberOf(word(next + 1), 1, 4) : std::nullopt;
    if (further && !further->season) {
      marker.episodes = further->episodes;
      marker.words += 1;
    } else if (number) {
      marker.episodes = {*number};
      marker.words += 1;
    } else if (spelledOut) {
      marker.episodes = {*spelledOut};
      marker.words += 2;
    }
  }

  /// "Season 1 Episode 2". Without an episode, "Season" and "Episode" are words of titles.
  std::optional<Marker> spelledOutMarkerAt(std::size_t i) const {
    if (word(i) != "season") return std::nullopt;
    Marker marker{.season = numberOf(word(i + 1), 1, 2), .words = 2};
    if (marker.season) readEpisodeBehindSeason(marker, i);
    return marker.episodes.empty() ? std::nullopt : std::optional(marker);
  }

  void keep(const Marker& marker, std::size_t i) {
    titleEnd_ = std::min(titleEnd_, i);
    if (!name_.episodes.empty()) return;
    if (marker.season || !name_.season) name_.season = marker.season.value_or(1);
    name_.episodes = marker.episodes;
  }

  void readOtherMarkerAt(std::size_t i) {
    const bool isInTitle = titleEnd_ == words_.size();
    if (isOfRelease(i)) {
      titleEnd_ = std::min(titleEnd_, i);
    } else if (const auto year = isPartOfDate(i) || isYearCertain_ ? std::nullopt : yearOf(word(i))) {
      if (!isInTitle && (name_.year || name_.season)) return;
      name_.year = year;
      yearAt_ = i;
      isYearCertain_ = hasInGapBefore(i, '(') || hasInGapBefore(i, '[');
    }
  }

  /// "720p", "x264", and in two words "WEB-DL", "Blu-ray".
  bool isOfRelease(std::size_t i) const {
    const std::string pair = std::string(word(i)).append(word(i + 1));
    return isResolution(word(i)) || isReleaseWord(word(i)) || isReleaseWord(pair);
  }

  /// "2017.05.12", as a daily show has it.
  bool isPartOfDate(std::size_t i) const {
    return numberOf(word(i + 1), 2, 2).value_or(32) <= 31 && numberOf(word(i + 2), 2, 2).value_or(32) <= 31;
  }

  std::string title() const {
    std::string title;
    if (first_ >= titleEnd_) return title;
    for (std::size_t at = words_[first_].begin; at < words_[titleEnd_ - 1].end; ++at) {
      const bool isBlank = std::string_view(" ._[](){}").find(stem_[at]) != std::string_view::npos;
      if (!isBlank) {
        title += stem_[at];
      } else if (!title.ends_with(' ')) {
        title += ' ';
      }
    }
    return title;
  }

  const std::string& stem_;
  const std::vector<Word> words_;
  std::size_t first_ = 0;
  std::size_t titleEnd_ = 0;
  std::size_t yearAt_ = 0;
  bool isYearCertain_ = false;
  ReleaseName name_;
};

}  // namespace

std::string stemOf(const URL& video) {
  std::string name = comparable(video.lastPathComponent());
  const std::size_t period = name.rfind('.');
  if (period == std::string::npos || period == 0) return name;
  const std::vector<Word> extension = wordsOf(std::string_view(name).substr(period));
  const std::string_view word =
      extension.size() == 1 ? std::string_view(extension[0].folded) : std::string_view();
  const bool isMarker =
      !word.empty() && (markerIn(word) || yearOf(word) || isResolution(word) || isReleaseWord(word));
  if (!isMarker) name.resize(period);
  return name;
}

ReleaseName releaseNameOf(const std::string& stem) { return Reader(stem).read(); }

ReleaseName ReleaseName::from(const URL& video) noexcept {
  try {
    return releaseNameOf(stemOf(video));
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace caprion
