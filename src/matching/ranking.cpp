#include "matching/release_name.hpp"
#include "matching/words.hpp"
#include "platform/error.hpp"

#include <caprion/ranking.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <new>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace CAPRION_NAMESPACE {

namespace {

/// A number in a record. The service writes "0" or "" for an unknown one.
std::optional<int> numberIn(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && parsed == end && number >= 0 ? std::optional(number) : std::nullopt;
}

/// 0 if the service doesn't know it.
int movieYearOf(const Subtitle& hit) { return numberIn(hit.movieYear()).value_or(0); }

/// Whether the hit is for a movie. Season and episode numbers outweigh the kind that the service gives.
bool isMovie(const Subtitle& hit) {
  const auto isKnown = [](auto number) { return number.value_or(0) > 0; };
  return hit.movieKind() == MovieKind::movie &&
         !(isKnown(numberIn(hit.seriesSeason())) && isKnown(numberIn(hit.seriesEpisode())));
}

/// The title of the movie, or of the series: the quoted part of `"Show" Episode`.
std::string_view titleOf(const Subtitle& hit) {
  std::string_view title = hit.movieName();
  if (isMovie(hit) || !title.starts_with('"')) return title;
  title.remove_prefix(1);
  return title.substr(0, title.find('"'));
}

/// A matching hit, and what orders hits of equal evidence.
struct Candidate {
  RankedSubtitle ranked;
  bool isNumberUnknown;
  std::size_t wordsInCommon;
  bool isOfOtherYear;
  std::size_t position = 0;

  bool operator<(const Candidate& other) const {
    return std::tuple(ranked.evidence, isNumberUnknown, other.wordsInCommon, isOfOtherYear, position) <
           std::tuple(other.ranked.evidence, other.isNumberUnknown, wordsInCommon, other.isOfOtherYear,
                      other.position);
  }
};

/// The video's name, prepared for comparing hits with it.
class Video {
 public:
  explicit Video(const URL& url) {
    const std::string stem = stemOf(url.lastPathComponent());
    name_ = releaseNameOf(stem);
    key_ = keyOfTitle(name_.title);
    for (Word& word : wordsOf(stem)) words_.push_back(std::move(word.folded));
    std::ranges::sort(words_);
    words_.erase(std::unique(words_.begin(), words_.end()), words_.end());
  }

  /// Absent if the hit doesn't match.
  std::optional<Candidate> candidateFrom(const std::shared_ptr<const Subtitle>& hit) const {
    const Evidence evidence = evidenceOf(*hit);
    const std::string title = comparable(titleOf(*hit));
    const auto year = yearBeside(title);
    const bool isOfMovie = isMovie(*hit);
    if (!(isOfMovie ? allowsMovie(*hit, year) : allowsEpisode(*hit, year, evidence))) return std::nullopt;
    if (evidence == Evidence::title && !isAlike(title)) return std::nullopt;
    const std::string_view file = hit->subFileName();
    const std::vector<Word> fileWords = wordsOf(comparable(file.substr(0, file.rfind('.'))));
    if (!isOfSameLength(*hit, discIn(fileWords), evidence)) return std::nullopt;

    const std::size_t common = wordsInCommon(fileWords);
    std::string reason = evidence == Evidence::content    ? "found by content"
                         : evidence == Evidence::release  ? "same release"
                         : !isOfMovie                     ? "same title and episode"
                         : year && movieYearOf(*hit) != 0 ? "same title and year"
                                                          : "same title";
    if (common > 0)
      reason += ", " + std::to_string(common) + (common == 1 ? " word" : " words") + " in common";
    const bool isOfOtherYear = name_.laterYear && std::abs(movieYearOf(*hit) - *name_.laterYear) > 1;
    return Candidate{{hit, evidence, std::move(reason)}, isNumberUnknown(*hit), common, isOfOtherYear};
  }

 private:
  /// A match by file name proves nothing if the name is generic: there are many "movie.mkv".
  Evidence evidenceOf(const Subtitle& hit) const {
    if (hit.matchedBy() == "moviehash") return Evidence::content;
    return hit.matchedBy() == "tag" && name_.isOfRelease ? Evidence::release : Evidence::title;
  }

  /// The year in the name, unless it is rather a word of the hit's title ("Wonder Woman 1984", from 2020).
  std::optional<int> yearBeside(std::string_view title) const {
    if (!name_.year) return std::nullopt;
    const auto isIn = [year = std::to_string(*name_.year)](std::string_view text) {
      return std::ranges::count(wordsOf(text), year, &Word::folded) > 0;
    };
    return isIn(title) && !isIn(name_.title) ? std::nullopt : name_.year;
  }

  bool allowsMovie(const Subtitle& hit, std::optional<int> year) const {
    if (name_.season) return false;
    return !year || movieYearOf(hit) == 0 || std::abs(movieYearOf(hit) - *year) <= 1;
  }

  bool allowsEpisode(const Subtitle& hit, std::optional<int> year, Evidence evidence) const {
    const auto season = numberIn(hit.seriesSeason());
    const auto episode = numberIn(hit.seriesEpisode());
    // For a hit found by its title, only the numbers tell which episode it is.
    const bool mayBeUnknown = evidence != Evidence::title;
    const auto isUnknown = [&](auto number) { return mayBeUnknown && number.value_or(0) == 0; };
    if (name_.season && !isUnknown(season) && season != name_.season) return false;
    if (!isUnknown(episode) && !isEpisode(episode)) return false;
    if (isNumberUnknown(hit) && !isAllowedByFile(hit)) return false;
    if (name_.episodes.empty() && (evidence != Evidence::content || (year && !name_.season))) return false;
    // A year in the name tells the series from an older one of the same title, and no episode predates its
    // series.
    return !year || movieYearOf(hit) == 0 || movieYearOf(hit) >= *year - 1;
  }

  /// Whether it is one of the name's episodes, or the name has none.
  bool isEpisode(std::optional<int> number) const {
    return name_.episodes.empty() ||
           (number && std::ranges::find(name_.episodes, *number) != name_.episodes.end());
  }

  /// Whether the service's numbers don't confirm the name's season and episode.
  bool isNumberUnknown(const Subtitle& hit) const {
    return name_.season &&
           !(numberIn(hit.seriesSeason()) == name_.season && isEpisode(numberIn(hit.seriesEpisode())));
  }

  /// Whether the subtitle file's name is consistent with the name's season and episode.
  bool isAllowedByFile(const Subtitle& hit) const {
    const ReleaseName file = releaseNameOf(stemOf(hit.subFileName()));
    return (!file.season || file.season == name_.season) &&
           (file.episodes.empty() ||
            std::ranges::any_of(file.episodes, [&](int episode) { return isEpisode(episode); }));
  }

  /// Whether the subtitle covers the same part as the video: the whole movie, or the same disc. `disc` is
  /// that in the subtitle file's name. A content match may be for the right disc of several.
  bool isOfSameLength(const Subtitle& hit, std::optional<int> disc, Evidence evidence) const {
    if (name_.isExcerpt) return false;
    const bool isWhole = !disc && numberIn(hit.subSumCD()).value_or(1) <= 1;
    if (!name_.disc) return isWhole || evidence == Evidence::content;
    return disc ? disc == name_.disc : !isWhole && evidence == Evidence::content;
  }

  /// How many words of the video's name occur in the subtitle file's name.
  std::size_t wordsInCommon(const std::vector<Word>& fileWords) const {
    std::vector<bool> isCommon(words_.size());
    for (const Word& word : fileWords) {
      const auto found = std::ranges::lower_bound(words_, word.folded);
      if (found != words_.end() && *found == word.folded)
        isCommon[std::size_t(found - words_.begin())] = true;
    }
    return std::size_t(std::ranges::count(isCommon, true));
  }

  bool isAlike(std::string_view title) const {
    const std::string key = keyOfTitle(title);
    if (key.empty()) return false;
    // What looks like the year may be the title's last word.
    return key == key_ || (name_.year && key == key_ + std::to_string(*name_.year));
  }

  DetailedName name_;
  std::string key_;
  std::vector<std::string> words_;
};

}  // namespace

Result<std::vector<RankedSubtitle>> rankedSubtitles(const std::vector<std::shared_ptr<const Subtitle>>& hits,
                                                    const URL& video) noexcept {
  try {
    const Video compared(video);
    std::vector<Candidate> candidates;
    for (const auto& hit : hits) {
      auto candidate = hit == nullptr ? std::nullopt : compared.candidateFrom(hit);
      if (!candidate) continue;
      candidate->position = candidates.size();
      candidates.push_back(std::move(*candidate));
    }
    std::sort(candidates.begin(), candidates.end());
    std::vector<RankedSubtitle> ranked;
    ranked.reserve(candidates.size());
    for (Candidate& candidate : candidates) ranked.push_back(std::move(candidate.ranked));
    return ranked;
  } catch (const std::bad_alloc&) {
    return posixError(ENOMEM);
  }
}

}  // namespace CAPRION_NAMESPACE
