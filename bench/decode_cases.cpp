#include "comparison.hpp"

#include <caprion/query_result.hpp>

#include <simdjson.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace caprion::bench {

namespace {

constexpr std::array<const char*, 17> keys{
    "IDSubtitle",   "MatchedBy",     "SubFileName",     "SubLanguageID",   "LanguageName", "ISO639",
    "SubFormat",    "MovieName",     "MovieYear",       "MovieKind",       "IDMovieImdb",  "SeriesIMDBParent",
    "SeriesSeason", "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"};

/// The same record as the library's: a shared one with all its texts in one piece.
struct Record {
  explicit Record(const simdjson::dom::element& hit) {
    std::array<std::string_view, keys.size()> found;
    std::size_t size = 0;
    for (std::size_t key = 0; key < keys.size(); ++key) {
      found[key] = hit[keys[key]];
      size += found[key].size() + 1;
    }
    texts.reserve(size);
    for (std::size_t key = 0; key < keys.size(); ++key) {
      texts.append(found[key]).push_back('\0');
      ends[key] = static_cast<std::uint32_t>(texts.size());
    }
    kind = found[9] == "movie" ? MovieKind::movie : MovieKind::episode;
  }
  virtual ~Record() = default;

  std::string texts;
  std::array<std::uint32_t, keys.size()> ends;
  MovieKind kind;
};

/// Decodes an answer so many times over, and keeps all the records.
void decode(benchmark::State& state, const std::string& json, std::size_t times = 1) {
  std::vector<QueryResult> results(times);
  for (auto _ : state) {
    for (QueryResult& result : results) result = QueryResult::decode(json).value();
  }
}

/// By the DOM, with everything that simdjson lets be reused.
void decodeBySimdjson(benchmark::State& state, const std::string& json) {
  const simdjson::padded_string padded(json);
  simdjson::dom::parser parser;
  const auto decode = [&] {
    std::vector<std::shared_ptr<const Record>> records;
    for (const simdjson::dom::element hit : simdjson::dom::array(parser.parse(padded)))
      records.push_back(std::make_shared<Record>(hit));
    return records;
  };
  const auto expected = QueryResult::decode(json).value().subtitles;
  const auto records = decode();
  for (std::size_t i = 0; i < expected.size(); ++i)
    check(records.at(i)->texts.starts_with(expected[i]->subtitleID()), "decoding");
  for (auto _ : state) benchmark::DoNotOptimize(decode());
}

}  // namespace

std::vector<Case> decodeCases() {
  return {{.name = "decode 500 hits",
           .aim = 1.1,
           .ours = [json = answer(500)](auto& state) { decode(state, json); },
           .baseline = [json = answer(500)](auto& state) { decodeBySimdjson(state, json); }},
          {.name = "decode 20,000 hits, to 40 times 500",
           .aim = 1.2,
           .ours = [json = answer(20'000)](auto& state) { decode(state, json); },
           .baseline = [json = answer(500)](auto& state) { decode(state, json, 40); }}};
}

}  // namespace caprion::bench
