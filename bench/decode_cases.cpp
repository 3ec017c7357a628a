#include "comparison.hpp"

#include <caprion/query_result.hpp>

#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace caprion::bench {

namespace {

constexpr std::array<const char*, 17> keys{
    "IDSubtitle",   "MatchedBy",     "SubFileName",     "SubLanguageID",   "LanguageName", "ISO639",
    "SubFormat",    "MovieName",     "MovieYear",       "MovieKind",       "IDMovieImdb",  "SeriesIMDBParent",
    "SeriesSeason", "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"};

/// The same record as the library's: a shared one with all its texts in one piece.
class Record {
 public:
  /// `textOf` gives the text under a key.
  template <typename TextOf>
  explicit Record(const TextOf& textOf) {
    std::array<std::string_view, keys.size()> texts;
    std::size_t size = 0;
    for (std::size_t key = 0; key < keys.size(); ++key) {
      texts[key] = textOf(keys[key]);
      size += texts[key].size() + 1;
    }
    texts_.reserve(size);
    for (std::size_t key = 0; key < keys.size(); ++key) {
      texts_.append(texts[key]).push_back('\0');
      begins_[key + 1] = static_cast<std::uint32_t>(texts_.size());
    }
    kind_ = texts[9] == "movie" ? MovieKind::movie : MovieKind::episode;
  }
  virtual ~Record() = default;

  std::string_view text(std::size_t key) const {
    return std::string_view(texts_).substr(begins_[key], begins_[key + 1] - begins_[key] - 1);
  }

 private:
  std::string texts_;
  std::array<std::uint32_t, keys.size() + 1> begins_{};
  MovieKind kind_;
};
using Records = std::vector<std::shared_ptr<const Record>>;

bool areRight(const Records& records, const std::string& json) {
  const auto ours = QueryResult::decode(json);
  if (!ours || ours->subtitles.size() != records.size()) return false;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Subtitle& subtitle = *ours->subtitles[i];
    if (subtitle.subtitleID() != records[i]->text(0) || subtitle.movieName() != records[i]->text(7) ||
        subtitle.zipDownloadLink() != records[i]->text(14) || subtitle.subSumCD() != records[i]->text(16))
      return false;
  }
  return true;
}

/// Decodes an answer of `hits` hits, `times` times over, and keeps all the records.
Body decoding(std::size_t hits, std::size_t times = 1) {
  return [json = answer(hits), hits, times](benchmark::State& state) {
    check(QueryResult::decode(json)->subtitles.size() == hits, "decoding");
    std::vector<QueryResult> results(times);
    for (auto _ : state) {
      for (QueryResult& result : results) result = *QueryResult::decode(json);
    }
  };
}

/// With everything that simdjson lets be reused.
void decodeBySimdjson(benchmark::State& state, const std::string& json) {
  const simdjson::padded_string padded(json);
  simdjson::dom::parser parser;
  const auto decode = [&] {
    Records records;
    for (const simdjson::dom::element hit : simdjson::dom::array(parser.parse(padded))) {
      records.push_back(
          std::make_shared<Record>([&](const char* key) { return std::string_view(hit[key]); }));
    }
    return records;
  };
  check(areRight(decode(), json), "decoding by simdjson");
  for (auto _ : state) benchmark::DoNotOptimize(decode());
}

void decodeByNlohmann(benchmark::State& state, const std::string& json) {
  const auto decode = [&] {
    Records records;
    for (const nlohmann::json& hit : nlohmann::json::parse(json)) {
      records.push_back(std::make_shared<Record>(
          [&](const char* key) -> std::string_view { return hit.at(key).get_ref<const std::string&>(); }));
    }
    return records;
  };
  check(areRight(decode(), json), "decoding by nlohmann/json");
  for (auto _ : state) benchmark::DoNotOptimize(decode());
}

}  // namespace

std::vector<Case> decodeCases() {
  const std::string json = answer(500);
  return {{.name = "decode 500 hits",
           .aim = 1.3,
           .ours = decoding(500),
           .limit = [json](auto& state) { decodeBySimdjson(state, json); },
           .alternativeName = "nlohmann/json",
           .alternative = [json](auto& state) { decodeByNlohmann(state, json); },
           .alternativeAim = 10},
          {.name = "decode 20,000 hits, to 40 times 500",
           .aim = 1.2,
           .ours = decoding(20'000),
           .limit = decoding(500, 40)}};
}

}  // namespace caprion::bench
