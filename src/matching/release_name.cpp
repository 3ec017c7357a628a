#include "matching/release_name.hpp"

#include "matching/markers.hpp"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

namespace caprion {

namespace {

/// Parses a name word by word.
class NameParser {
 public:
  explicit NameParser(const std::string& stem) : stem_(stem), words_(wordsOf(stem)) {}

  DetailedName read() {
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
    name_.isOfRelease = hasOwnTitle() && (name_.season || name_.year || hasReleaseWord_);
    name_.disc = discIn(words_);
    name_.isExcerpt = isExcerpt();
    return std::move(name_);
  }

 private:
  std::string_view word(std::size_t i) const {
    return i < words_.size() ? std::string_view(words_[i].folded) : std::string_view();
  }

  /// The characters between word `i` and the one before it.
  std::string_view gapBefore(std::size_t i) const {
    const std::size_t begin = i == 0 ? 0 : words_[i - 1].end;
    const std::size_t end = i < words_.size() ? words_[i].begin : stem_.size();
    return std::string_view(stem_).substr(begin, end - begin);
  }

  bool hasInGapBefore(std::size_t i, char c) const { return gapBefore(i).find(c) != std::string_view::npos; }

  /// The first word of the title, skipping a leading group in brackets, unless that is the title: "[REC]
  /// (2007)".
  std::size_t firstWord() const {
    if (words_.empty() || !hasInGapBefore(0, '[')) return 0;
    std::size_t i = 1;
    while (i < words_.size() && !hasInGapBefore(i, ']')) ++i;
    const bool isAllThereIs = i >= words_.size() || yearOf(word(i)) || isOfRelease(i);
    return isAllThereIs ? 0 : i;
  }

  /// The marker that begins at word `i`.
  std::optional<Marker> markerAt(std::size_t i) const {
    std::optional<Marker> marker = markerIn(word(i));
    if (!marker) return spelledOutMarkerAt(i);
    if (marker->episodes.empty()) readEpisodeBehindSeason(*marker, i);
    // "S4" alone is no season.
    if (marker->episodes.empty()) return word(i).size() > 2 ? marker : std::nullopt;
    for (;; ++marker->words) {
      const std::size_t next = i + marker->words;
      if (next >= words_.size()) return marker;
      const bool isRange = gapBefore(next) == "-";
      const auto number = isRange ? numberOf(word(next), 2, 3) : std::nullopt;
      const auto further = markerIn(word(next));
      if (number) {
        addEpisode(*marker, *number, isRange);
      } else if (further && hasSeasonOf(*marker, *further)) {
        for (const int episode : further->episodes) addEpisode(*marker, episode, isRange);
      } else {
        return marker;
      }
    }
  }

  static bool hasSeasonOf(const Marker& marker, const Marker& further) {
    return !further.episodes.empty() && (!further.season || further.season == marker.season);
  }

  /// Adds an episode, or all up to it if it ends a range ("E02-E04").
  static void addEpisode(Marker& marker, int episode, bool isRange) {
    constexpr int longestRange = 100;
    int first = marker.episodes.back() + 1;
    if (!isRange || first > episode || episode - first > longestRange) first = episode;
    for (; first <= episode; ++first) marker.episodes.push_back(first);
  }

  /// "S01 E02", "S01 - 02", "S01 Episode 2".
  void readEpisodeBehindSeason(Marker& marker, std::size_t i) const {
    const std::size_t next = i + marker.words;
    if (next >= words_.size()) return;
    const auto further = markerIn(word(next), 1);
    const auto number = hasInGapBefore(next, '-') ? numberOf(word(next), 2, 3) : std::nullopt;
    const bool isSpelledOut = word(next) == "episode" || word(next) == "ep";
    const auto spelledOut = isSpelledOut ? numberOf(word(next + 1), 1, 4) : std::nullopt;
    if (further && hasSeasonOf(marker, *further)) {
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

  /// "Season 1 Episode 2". Without an episode, "Season" may belong to the title.
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
      hasReleaseWord_ = true;
      titleEnd_ = std::min(titleEnd_, i);
    } else if (discIn(word(i), word(i + 1))) {
      titleEnd_ = std::min(titleEnd_, i);
    } else if (const auto year = isPartOfDate(i) || isYearCertain_ ? std::nullopt : yearOf(word(i))) {
      if (!isInTitle && name_.season && !name_.laterYear) name_.laterYear = year;
      if (!isInTitle && (name_.year || name_.season)) return;
      name_.year = year;
      yearAt_ = i;
      isYearCertain_ = hasInGapBefore(i, '(') || hasInGapBefore(i, '[');
    }
  }

  /// "720p", "x264", or as two words "WEB-DL", "Blu-ray".
  bool isOfRelease(std::size_t i) const {
    const std::string pair = std::string(word(i)).append(word(i + 1));
    return isResolution(word(i)) || isReleaseWord(word(i)) || isReleaseWord(pair);
  }

  /// "2017.05.12", as in daily shows.
  bool isPartOfDate(std::size_t i) const {
    return numberOf(word(i + 1), 2, 2).value_or(32) <= 31 && numberOf(word(i + 2), 2, 2).value_or(32) <= 31;
  }

  /// "Movie-trailer", "movie.2001.sample"; but "The Sample" is a title.
  bool isExcerpt() const {
    if (words_.empty() || (words_.back().folded != "sample" && words_.back().folded != "trailer"))
      return false;
    return words_.size() != 2 || (word(0) != "the" && word(0) != "a");
  }

  /// Whether the title has a word that is neither a number nor generic.
  bool hasOwnTitle() const {
    for (std::size_t i = first_; i < titleEnd_; ++i) {
      const bool isNumber = word(i).find_first_not_of("0123456789") == std::string_view::npos;
      if (!isNumber && !isOfRelease(i) && !isGeneric(word(i))) return true;
    }
    return false;
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
  DetailedName name_;
  bool hasReleaseWord_ = false;
};

}  // namespace

std::string stemOf(std::string_view fileName) {
  std::string name = comparable(fileName);
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

std::optional<int> discIn(const std::vector<Word>& words) {
  std::optional<int> disc;
  for (std::size_t i = 0; i < words.size() && !disc; ++i)
    disc = discIn(words[i].folded, i + 1 < words.size() ? words[i + 1].folded : std::string_view());
  return disc;
}

DetailedName releaseNameOf(const std::string& stem) { return NameParser(stem).read(); }

ReleaseName ReleaseName::from(const URL& video) noexcept {
  try {
    return static_cast<ReleaseName&&>(releaseNameOf(stemOf(video.lastPathComponent())));
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace caprion
