#include "records/subtitle_coding.hpp"
#include "service.hpp"

#include <caprion/query_result.hpp>
#include <caprion/search_request.hpp>
#include <caprion/subtitle.hpp>

#include <gtest/gtest.h>

#include <utility>

namespace caprion::test {

TEST(Subtitle, DecodesEachKeyIntoItsField) {
  const auto decoded = Subtitle::decode(record({{"ignored", "[1e400, 123456789012345678901234567890, {}]"}}));
  ASSERT_TRUE(decoded);
  const Subtitle& subtitle = **decoded;
  EXPECT_EQ(subtitle.subtitleID(), "the IDSubtitle");
  EXPECT_EQ(subtitle.matchedBy(), "the MatchedBy");
  EXPECT_EQ(subtitle.subFileName(), "the SubFileName");
  EXPECT_EQ(subtitle.subLanguageID(), "the SubLanguageID");
  EXPECT_EQ(subtitle.languageName(), "the LanguageName");
  EXPECT_EQ(subtitle.iso639(), "the ISO639");
  EXPECT_EQ(subtitle.subFormat(), "the SubFormat");
  EXPECT_EQ(subtitle.movieName(), "the MovieName");
  EXPECT_EQ(subtitle.movieYear(), "the MovieYear");
  EXPECT_EQ(subtitle.movieKind(), MovieKind::movie);
  EXPECT_EQ(SubtitleCoding::imdbIDMovie(subtitle), "the IDMovieImdb");
  EXPECT_EQ(SubtitleCoding::imdbIDSeries(subtitle), "the SeriesIMDBParent");
  EXPECT_EQ(subtitle.seriesSeason(), "the SeriesSeason");
  EXPECT_EQ(subtitle.seriesEpisode(), "the SeriesEpisode");
  EXPECT_EQ(subtitle.zipDownloadLink(), "the ZipDownloadLink");
  EXPECT_EQ(subtitle.subDownloadLink(), "the SubDownloadLink");
  EXPECT_EQ(subtitle.subSumCD(), "the SubSumCD");
  EXPECT_EQ(*subtitle.encode(), record());
}

TEST(Subtitle, ReportsTheFirstFaultInKeyOrder) {
  struct Case {
    std::string json;
    DecodingErrorKind kind;
    std::optional<std::string> key;
  };
  using enum DecodingErrorKind;
  const auto with = [](auto... changes) { return record({changes...}); };
  using Change = std::pair<std::string, std::string>;
  for (const Case& c : {
           Case{"", dataCorrupted, {}},
           Case{record() + "x", dataCorrupted, {}},
           Case{"null", valueNotFound, {}},
           Case{"[" + record() + "]", typeMismatch, {}},
           Case{"\"IDSubtitle\"", typeMismatch, {}},
           Case{"{}", keyNotFound, "IDSubtitle"},
           Case{with(Change("SubSumCD", ""), Change("MatchedBy", "")), keyNotFound, "MatchedBy"},
           Case{with(Change("MovieYear", "1979"), Change("SubSumCD", "null")), typeMismatch, "MovieYear"},
           Case{with(Change("ISO639", "null")), valueNotFound, "ISO639"},
           Case{with(Change("MovieKind", R"("Movie")")), dataCorrupted, "MovieKind"},
           Case{with(Change("MovieKind", "3")), typeMismatch, "MovieKind"},
           Case{with(Change("ZipDownloadLink", "5")), typeMismatch, "ZipDownloadLink"},
           Case{with(Change("SubFormat", R"({"SubFormat":"srt"})")), typeMismatch, "SubFormat"},
           Case{with(Change("IDSubtitle", R"(["x"])")), typeMismatch, "IDSubtitle"},
           Case{with(Change("idsubtitle", "\"x\""), Change("IDSubtitle", "")), keyNotFound, "IDSubtitle"},
       }) {
    const auto decoded = Subtitle::decode(c.json);
    ASSERT_FALSE(decoded) << c.json;
    EXPECT_EQ(decoded.error().domain(), DecodingErrorDomain) << c.json;
    EXPECT_EQ(decoded.error().code(), static_cast<std::int64_t>(c.kind)) << c.json;
    const auto key = decoded.error().userInfo().find(CodingKeyKey);
    const bool hasKey = key != decoded.error().userInfo().end();
    EXPECT_EQ(hasKey ? std::optional(std::get<std::string>(key->second)) : std::nullopt, c.key) << c.json;
  }
}

TEST(Subtitle, LeavesAbsentLinksOutAndKeepsTextsAsTheyAre) {
  const auto decoded = Subtitle::decode(record({{"ZipDownloadLink", "null"},
                                                {"SubDownloadLink", ""},
                                                {"MovieName", R"("\u0000\ud83d\ude00\"\\\n")"},
                                                {"MovieYear", "\"\""}}));
  ASSERT_TRUE(decoded);
  EXPECT_EQ((*decoded)->zipDownloadLink(), std::nullopt);
  EXPECT_EQ((*decoded)->subDownloadLink(), std::nullopt);
  EXPECT_EQ((*decoded)->movieName(), std::string_view("\0\xF0\x9F\x98\x80\"\\\n", 8));
  EXPECT_EQ((*decoded)->movieYear(), "");
  const auto encoded = (*decoded)->encode();
  ASSERT_TRUE(encoded);
  EXPECT_EQ(encoded->find("DownloadLink"), std::string::npos);
  EXPECT_EQ((*Subtitle::decode(*encoded))->movieName(), (*decoded)->movieName());
  EXPECT_EQ((*Subtitle::decode(record({{"ZipDownloadLink", "\"\""}})))->zipDownloadLink(), "");
}

TEST(Subtitle, DerivesItsDisplayValues) {
  struct Case {
    const char *kind, *movie, *series, *imdbID;
  };
  for (const Case& c : {
           Case{"movie", "133", "9", "tt0000133"},
           Case{"episode", "1", "903", "tt0000903"},
           Case{"movie", "", "", "tt0000000"},
           Case{"movie", "tt0000133", "", "tt0000000"},
           Case{"movie", " 42", "", "tt0000000"},
           Case{"movie", "42 ", "", "tt0000000"},
           Case{"movie", "+42", "", "tt0000042"},
           Case{"movie", "-42", "", "tt-000042"},
           Case{"movie", "+-42", "", "tt0000000"},
           Case{"movie", "++1", "", "tt0000000"},
           Case{"movie", "0000042", "", "tt0000042"},
           Case{"movie", "12345678", "", "tt12345678"},
           Case{"movie", "9223372036854775808", "", "tt0000000"},
           Case{"movie", "0x1f", "", "tt0000000"},
       }) {
    const auto quoted = [](std::string text) { return '"' + text + '"'; };
    const auto subtitle = Subtitle::decode(record({{"MovieKind", quoted(c.kind)},
                                                   {"IDMovieImdb", quoted(c.movie)},
                                                   {"SeriesIMDBParent", quoted(c.series)}}));
    ASSERT_TRUE(subtitle);
    EXPECT_EQ((*subtitle)->imdbID(), c.imdbID) << c.kind << " " << c.movie;
  }
  const std::vector<std::pair<std::string, std::string>> pilot{{"MovieName", "\"Pilot\""},
                                                               {"MovieYear", "\"99\""},
                                                               {"SeriesSeason", "\"1\""},
                                                               {"SeriesEpisode", "\"\""}};
  EXPECT_EQ((*Subtitle::decode(record(pilot)))->detailString(), "Pilot (99)");
  auto episode = pilot;
  episode.emplace_back("MovieKind", "\"episode\"");
  EXPECT_EQ((*Subtitle::decode(record(episode)))->detailString(), "Pilot (99), season 1, episode ");
}

TEST(QueryResult, KeepsTheGoodElementsInTheirOrder) {
  const auto id = [](const char* text) { return record({{"IDSubtitle", text}}); };
  struct Case {
    std::string json;
    std::string ids;
  };
  for (const Case& c : {
           Case{"[]", ""},
           Case{" [ ] \n", ""},
           Case{"[" + id("\"a\"") + "," + record({{"SubSumCD", ""}}) + "," + id("\"b\"") + "]", "ab"},
           Case{"[null,1,\"x\",[" + id("\"a\"") + "],{}," + id("\"c\"") + ",true]", "c"},
           Case{"[" + id("1") + "," + id("null") + "]", ""},
           Case{"[" + record({{"IDSubtitle", "\"x\""}, {"nested", record()}}) + "]", "x"},
           Case{"[" + id("\"a\"") + ",1e-99999999999," + id("\"1e99999\"") + "]", "a1e99999"},
           Case{R"([{"ID\u0053ubtitle":"e",)" + record({{"IDSubtitle", ""}}).substr(1) + "]", "e"},
           // What one element left behind must not complete the next.
           Case{"[" + id("\"a\"") + ",{\"IDSubtitle\":\"b\"}]", "a"},
       }) {
    const auto result = QueryResult::decode(c.json);
    ASSERT_TRUE(result) << c.json;
    std::string ids;
    for (const auto& subtitle : result->subtitles) ids += subtitle->subtitleID();
    EXPECT_EQ(ids, c.ids) << c.json;
  }
  const auto encoded = QueryResult::decode("[" + record() + "," + record() + "]")->encode();
  EXPECT_EQ(*encoded, "{\"subtitles\":[" + record() + "," + record() + "]}");
  EXPECT_EQ(QueryResult{{nullptr}}.encode().error().domain(), EncodingErrorDomain);
}

TEST(QueryResult, TakesNothingButAWholeArrayOfValidJSON) {
  const std::string ignored = "[{\"ignored\":";
  for (const std::string& json : {std::string(),
                                  std::string("{\"subtitles\":[]}"),
                                  "[" + record(),
                                  "[" + record() + ",]",
                                  record(),
                                  std::string("null"),
                                  std::string("[] x"),
                                  std::string("[]]"),
                                  ignored + "nul}]",
                                  ignored + "01}]",
                                  ignored + "\"\xFF\"}]",
                                  ignored + "\"\\ud800\"}]",
                                  ignored + "\"\n\"}]",
                                  ignored + "NaN}]",
                                  std::string("['a']"),
                                  std::string("[1,/* */2]"),
                                  std::string("[\"\xED\xA0\x80\"]"),
                                  std::string("[1e]"),
                                  std::string("\xEF\xBB\xBF\xEF\xBB\xBF[]"),
                                  std::string("[\0]", 3),
                                  std::string(1'000'000, '['),
                                  std::string("[") + std::string(1'000'000, '{')}) {
    const auto result = QueryResult::decode(json);
    ASSERT_FALSE(result) << json.substr(0, 80);
    EXPECT_EQ(result.error().domain(), DecodingErrorDomain) << json.substr(0, 80);
  }
  const std::string deep = std::string(500, '[') + std::string(500, ']');
  for (const std::string& json :
       {deep, std::string("\xEF\xBB\xBF[]"), ignored + "123456789012345678901234567890}]",
        ignored + "1e400}]", ignored + "-0.0E-0}]",
        ignored + "[1e99999999999,-2.5E+2147483648,\"1\\\"1e99999\"]}]",
        ignored + "\"\\u0000\xF4\x8F\xBF\xBF\"}]"}) {
    EXPECT_TRUE(QueryResult::decode(json)) << json.substr(0, 80);
  }
}

TEST(Param, IsMadeFromItsOwnKeyAlone) {
  EXPECT_EQ(paramFrom("moviehash"), Param::moviehash);
  for (const char* key :
       {"episode", "imdbid", "moviebytesize", "moviehash", "query", "season", "sublanguageid", "tag"}) {
    ASSERT_TRUE(paramFrom(key)) << key;
    EXPECT_EQ(rawValue(*paramFrom(key)), key);
  }
  for (const char* text : {"", "Moviehash", "moviehash ", " tag", "unknown"})
    EXPECT_FALSE(paramFrom(text)) << text;
}

}  // namespace caprion::test
