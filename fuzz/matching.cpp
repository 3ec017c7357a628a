// Any bytes as the name of a video followed by lines with two records to rank for it; and as a language.
#include "records.hpp"

#include <caprion/language.hpp>
#include <caprion/ranking.hpp>
#include <caprion/release_name.hpp>

#include <cassert>

using namespace caprion;

namespace {

using Hits = std::vector<std::shared_ptr<const Subtitle>>;

std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

std::vector<const Subtitle*> order(const Hits& hits, const URL& video) {
  std::vector<const Subtitle*> subtitles;
  const auto ranked = *rankedSubtitles(hits, video);
  for (std::size_t i = 0; i < ranked.size(); ++i) {
    assert(!ranked[i].reason.empty());
    assert(i == 0 || ranked[i - 1].evidence <= ranked[i].evidence);
    subtitles.push_back(ranked[i].subtitle.get());
  }
  return subtitles;
}

void checkName(const ReleaseName& name) {
  assert(!name.year || (*name.year >= 1900 && *name.year <= 2099));
  assert(name.episodes.empty() || name.season);
  for (const int episode : name.episodes) assert(episode >= 0 && episode <= 9999);
  assert(!name.title.starts_with(' ') && !name.title.ends_with(' ') && name.title.size() <= 3 * 1024);
}

void checkSuitable(const Subtitle& hit, const ReleaseName& name) {
  const bool isEpisode = hit.movieKind() == MovieKind::episode;
  assert(isEpisode || !name.season);
  if (!isEpisode || name.episodes.empty()) return;
  const auto is = [](std::string_view text, int number) { return text == std::to_string(number); };
  const auto isKnown = [](std::string_view text) {
    return !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == text.npos &&
           text[0] != '0';
  };
  assert(!isKnown(hit.seriesSeason()) || is(hit.seriesSeason(), *name.season));
  const auto isEpisodeOfHit = [&](int episode) { return is(hit.seriesEpisode(), episode); };
  assert(!isKnown(hit.seriesEpisode()) || std::ranges::any_of(name.episodes, isEpisodeOfHit));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  std::string_view rest(data, size);
  if (const auto language = Language::from(rest)) assert(Language::from(language->identifier) == language);
  const URL video = URL::fileURLWithPath("/" + std::string(takeLine(rest)));
  const ReleaseName name = ReleaseName::from(video);
  checkName(name);

  Hits hits;
  for (int i = 0; i < 2; ++i) {
    const auto json = fuzz::recordOf(rest, '\n');
    if (!json) return 0;
    hits.push_back(*Subtitle::decode(*json));
    for (std::size_t key = 0; key < SubtitleRecord::keys.size(); ++key) takeLine(rest);
  }
  const auto both = order(hits, video);
  for (const Subtitle* hit : both) checkSuitable(*hit, name);
  // Whether a hit suits doesn't depend on other hits.
  assert(both.size() == order({hits[0]}, video).size() + order({nullptr, hits[1]}, video).size());
  return 0;
}
