#include "reports.hpp"
#include "service.hpp"

#include <caprion/query_result.hpp>

namespace caprion::test {

using namespace std::string_literals;

TEST(Subtitle, ReportsTheFirstFaultInKeyOrder) {
  using enum DecodingErrorKind;
  const struct {
    std::string json;
    DecodingErrorKind kind;
    std::string key = {};
  } cases[] = {
      {"", dataCorrupted},
      {record() + "x", dataCorrupted},
      {"null", valueNotFound},
      {"[" + record() + "]", typeMismatch},
      {"\"IDSubtitle\"", typeMismatch},
      {"{}", keyNotFound, "IDSubtitle"},
      {record({{"SubSumCD", ""}, {"MatchedBy", ""}}), keyNotFound, "MatchedBy"},
      {record({{"MovieYear", "1979"}, {"SubSumCD", "null"}}), typeMismatch, "MovieYear"},
      {record({{"ISO639", "null"}}), valueNotFound, "ISO639"},
      {record({{"MovieKind", R"("Movie")"}}), dataCorrupted, "MovieKind"},
      {record({{"MovieKind", "3"}}), typeMismatch, "MovieKind"},
      {record({{"ZipDownloadLink", "5"}}), typeMismatch, "ZipDownloadLink"},
      {record({{"SubFormat", R"({"SubFormat":"srt"})"}}), typeMismatch, "SubFormat"},
      {record({{"IDSubtitle", R"(["x"])"}}), typeMismatch, "IDSubtitle"},
      {record({{"idsubtitle", "\"x\""}, {"IDSubtitle", ""}}), keyNotFound, "IDSubtitle"},
  };
  for (const auto& c : cases) {
    const auto decoded = Subtitle::decode(c.json);
    ASSERT_FALSE(decoded) << c.json;
    EXPECT_EQ(decoded.error().domain(), DecodingErrorDomain) << c.json;
    EXPECT_EQ(decoded.error().code(), static_cast<std::int64_t>(c.kind)) << c.json;
    EXPECT_EQ(keyAtFault(decoded.error()), c.key) << c.json;
  }
}

TEST(Subtitle, LeavesAbsentLinksOutAndKeepsTextsAsTheyAre) {
  const auto subtitle = Subtitle::decode(record({{"ZipDownloadLink", "null"},
                                                 {"SubDownloadLink", ""},
                                                 {"MovieName", R"("\u0000\ud83d\ude00\"\\\n")"},
                                                 {"MovieYear", "\"\""}}))
                            .value();
  EXPECT_EQ(subtitle->zipDownloadLink(), std::nullopt);
  EXPECT_EQ(subtitle->subDownloadLink(), std::nullopt);
  EXPECT_EQ(subtitle->movieName(), "\0\xF0\x9F\x98\x80\"\\\n"s);
  EXPECT_EQ(subtitle->movieYear(), "");
  const std::string encoded = subtitle->encode().value();
  EXPECT_EQ(encoded.find("DownloadLink"), std::string::npos);
  EXPECT_EQ(Subtitle::decode(encoded).value()->movieName(), subtitle->movieName());
  EXPECT_EQ(Subtitle::decode(record({{"ZipDownloadLink", "\"\""}})).value()->zipDownloadLink(), "");
}

TEST(Subtitle, DerivesItsDisplayValues) {
  const std::string movie = "The \"Name\" (99)";
  const struct {
    std::string kind, numbers;  // separated by |
    std::string series, imdbID, detail;
  } cases[] = {
      {"movie", "133", "9", "tt0000133", movie},
      {"episode", "1", "903", "tt0000903", movie + ", season 1, episode "},
      {"movie", "|tt0000133| 42|42 |+-42|++1|9223372036854775808|0x1f", "", "tt0000000", movie},
      {"movie", "+42|0000042", "", "tt0000042", movie},
      {"movie", "-42", "", "tt-000042", movie},
      {"movie", "12345678", "", "tt12345678", movie},
  };
  for (const auto& [kind, numbers, series, imdbID, detail] : cases) {
    for (const std::string& number : split(numbers, '|')) {
      const auto changes =
          texts("MovieName MovieYear MovieKind IDMovieImdb SeriesIMDBParent SeriesSeason SeriesEpisode",
                {"The \"Name\"", "99", kind, number, series, "1", ""});
      const auto subtitle = Subtitle::decode(record(changes)).value();
      EXPECT_EQ(subtitle->imdbID(), imdbID) << number;
      EXPECT_EQ(subtitle->detailString(), detail);
    }
  }
}

TEST(QueryResult, KeepsTheGoodElementsInTheirOrder) {
  const auto id = [](const char* text) { return record({{"IDSubtitle", text}}); };
  const struct {
    std::string json;
    std::string ids;
  } cases[] = {
      {"[]", ""},
      {" [ ] \n", ""},
      {"[" + id("\"a\"") + "," + record({{"SubSumCD", ""}}) + "," + id("\"b\"") + "]", "ab"},
      {"[null,1,\"x\",[" + id("\"a\"") + "],{}," + id("\"c\"") + ",true]", "c"},
      {"[" + id("1") + "," + id("null") + "]", ""},
      {"[" + record({{"IDSubtitle", "\"x\""}, {"nested", record()}}) + "]", "x"},
      {"[" + id("\"a\"") + ",1e-99999999999," + id("\"1e99999\"") + "]", "a1e99999"},
      {R"([{"ID\u0053ubtitle":"e",)" + record({{"IDSubtitle", ""}}).substr(1) + "]", "e"},
      // Values of one element must not complete the next.
      {"[" + id("\"a\"") + ",{\"IDSubtitle\":\"b\"}]", "a"},
  };
  for (const auto& c : cases) {
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
  const std::string ignored = "[{\"ignored\":", many(1'000'000, '['), deep(500, '[');
  const auto check = [](const std::string& begin, const std::string& values, const std::string& end,
                        bool isTaken) {
    for (const std::string& value : split(values, '|')) {
      const auto result = QueryResult::decode(begin + value + end);
      EXPECT_EQ(result.has_value(), isTaken) << begin << value.substr(0, 80);
      EXPECT_TRUE(isTaken || result.error().domain() == DecodingErrorDomain) << begin << value.substr(0, 80);
    }
  };
  check("", "{\"subtitles\":[]}||null|[] x|[]]|\xEF\xBB\xBF\xEF\xBB\xBF[]", "", false);
  check("", "[" + record() + "|[" + record() + ",]|" + record(), "", false);
  check("", many + "|[" + std::string(1'000'000, '{'), "", false);
  check("[", "'a'|1,/* */2|\"\xED\xA0\x80\"|1e|\0"s, "]", false);
  check(ignored, "nul|01|\"\xFF\"|\"\\ud800\"|\"\n\"|NaN", "}]", false);
  check("", deep + std::string(500, ']') + "|\xEF\xBB\xBF[]", "", true);
  check(ignored, "123456789012345678901234567890|1e400|-0.0E-0|\"\\u0000\xF4\x8F\xBF\xBF\"", "}]", true);
  check(ignored, "[1e99999999999,-2.5E+2147483648,\"1\\\"1e99999\"]", "}]", true);
}

TEST(Result, ChainsAsAnExpectedDoes) {
  const Result<std::string> text("12");
  const Result<std::string> failed(Error("domain", 7));
  const auto half = [](std::size_t n) {
    return n % 2 == 0 ? Result(n / 2) : Result<std::size_t>(Error("odd", 0));
  };
  EXPECT_EQ(text.transform(&std::string::size).and_then(half), std::size_t(1));
  EXPECT_EQ(text.transform(&std::string::size).and_then(half).and_then(half).error().domain(), "odd");
  EXPECT_EQ(failed.transform(&std::string::size).and_then(half).error(), failed.error());
  EXPECT_EQ(text.or_else([](const Error&) { return Result<std::string>("other"); }), text);
  EXPECT_EQ(failed.or_else([](const Error& e) { return Result<std::string>(e.domain()); }), "domain"s);
  EXPECT_EQ(text.value_or("none") + failed.value_or("none"), "12none");
  EXPECT_NE(text, failed);

  Result<std::unique_ptr<int>> owner(std::make_unique<int>(3));
  EXPECT_EQ(std::move(owner).transform([](auto pointer) { return *pointer; }).value_or(0), 3);
}

}  // namespace caprion::test
